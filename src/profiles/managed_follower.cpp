#include "profiles/managed_follower.h"

#include <filesystem>

#include "platform/failures.h"
#include "platform/files.h"

namespace ombrix::profiles {

ManagedFollower::ManagedFollower(platform::Registry& registry, platform::FolderWatch& watch, std::string storePath)
    : registry_(registry), watch_(watch), storePath_(std::move(storePath)) {}

ManagedFollower::~ManagedFollower() {
    watch_.stop();
    if (thread_.joinable()) thread_.join();
}

void ManagedFollower::start() {
    thread_ = std::thread([this] { platform::guarded([this] { run(); }); });
}

void ManagedFollower::run() {
    for (;;) {
        (void)checkOnce();
        platform::FolderWatch::Wake wake = watch_.wait(kManagedRecheck);
        // A file being copied changes many times: look once it is quiet.
        while (wake == platform::FolderWatch::Wake::Changed) wake = watch_.wait(kManagedSettle);
        if (wake == platform::FolderWatch::Wake::Stopped) return;
    }
}

bool ManagedFollower::openStore() {
    if (db_.isOpen()) return true;
    if (!db_.open(storePath_)) {
        platform::recordFailure("the managed profiles cannot open the store", db_.lastError());
        return false;
    }
    // The program's own reads wait for an import's commit, not for all of it:
    // a cache this large keeps a million entries out of the file until then.
    db_.setBusyTimeout(10000);
    if (!db_.exec("PRAGMA cache_size = -262144;")) {
        platform::recordFailure("the managed profiles' connection keeps the store's cache", db_.lastError());
    }
    managed_.emplace(db_);
    return true;
}

ManagedCheck ManagedFollower::checkOnce() {
    const ManagedSource source = readManagedSource(registry_);
    // The file's folder, or the folder itself.
    std::string folder = source.path;
    std::error_code ec;
    if (!folder.empty() && !std::filesystem::is_directory(pathFromUtf8(folder), ec)) {
        folder = pathToUtf8(pathFromUtf8(folder).parent_path());
    }
    if (folder != watched_) {
        watched_ = folder;
        if (!folder.empty()) (void)watch_.watch(folder);
    }
    if (!openStore()) return {ManagedCheck::Outcome::Refused, "the store cannot be opened", storePath_, {}, {}};
    ManagedCheck r = managed_->check(source);
    if (r.outcome == ManagedCheck::Outcome::Refused) {
        const std::string refusal = r.reason + r.subject;
        if (refusal != lastRefusal_) {
            traceRefusal(r);
            const std::lock_guard<std::mutex> hold(lock_);
            refusals_.push_back(r);
        }
        lastRefusal_ = refusal;
        return r;
    }
    lastRefusal_.clear();
    if (!r.changed.empty()) {
        const std::lock_guard<std::mutex> hold(lock_);
        if (!changes_) changes_.emplace();
        changes_->insert(changes_->end(), r.changed.begin(), r.changed.end());
    }
    return r;
}

std::optional<std::vector<long long>> ManagedFollower::takeChanges() {
    const std::lock_guard<std::mutex> hold(lock_);
    return std::exchange(changes_, std::nullopt);
}

std::vector<ManagedCheck> ManagedFollower::takeRefusals() {
    const std::lock_guard<std::mutex> hold(lock_);
    return std::exchange(refusals_, {});
}

}  // namespace ombrix::profiles

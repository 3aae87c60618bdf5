#include "platform/process_view.h"

namespace ombrix::platform {

std::vector<ProcessEntry> SharedProcessView::snapshot() {
    const std::uint64_t now = clock_.tickMilliseconds();
    if (stale_ || now - takenAt_ >= maxAgeMs_) {
        view_ = system_.snapshot();
        // The names of processes that ended go: their ids will be given again.
        std::map<ProcessKey, std::vector<std::string>> kept;
        for (const auto& p : view_) {
            if (const auto it = names_.find({p.id, p.startTime}); it != names_.end()) kept.insert(names_.extract(it));
        }
        names_ = std::move(kept);
        takenAt_ = now;
        stale_ = false;
        ++taken_;
    }
    return view_;
}

bool SharedProcessView::terminate(std::uint32_t id) {
    // Whether it ended or was already gone, the view no longer holds.
    stale_ = true;
    return system_.terminate(id);
}

std::vector<std::string> SharedProcessView::originalNames(const ProcessEntry& process) {
    const ProcessKey key{process.id, process.startTime};
    auto it = names_.find(key);
    if (it == names_.end()) {
        ++nameReads_;
        // None read is kept too: a program without a version resource is not opened again.
        it = names_.emplace(key, system_.originalNames(process)).first;
    }
    return it->second;
}

}  // namespace ombrix::platform

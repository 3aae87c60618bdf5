#pragma once
// Follows the managed profiles while the program runs: a thread of its own,
// with its own connection to the store, checks the file at start, whenever
// its folder reports a change, and every five minutes (a share's
// notifications may never come). An import runs there, so the timers go on
// enforcing the lists loaded last until the new ones are in the store; the
// program's loop then takes the changes (takeChanges) and reloads the
// profile in use when the import touched it.

#include <chrono>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "core/database.h"
#include "platform/folder_watch.h"
#include "platform/registry.h"
#include "profiles/managed_profiles.h"

namespace ombrix::profiles {

inline constexpr std::chrono::minutes kManagedRecheck{5};
// Changes come in bursts while a file is copied: the check waits for this
// much quiet first.
inline constexpr std::chrono::milliseconds kManagedSettle{300};

class ManagedFollower {
public:
    ManagedFollower(platform::Registry& registry, platform::FolderWatch& watch, std::string storePath);
    ~ManagedFollower();
    ManagedFollower(const ManagedFollower&) = delete;
    ManagedFollower& operator=(const ManagedFollower&) = delete;

    // The thread: a check, then one after every wake, until the destructor.
    void start();
    // One check as the thread makes it (tests call it directly): the
    // policy read, the folder watched, the set imported when it changed; a
    // refusal is traced when it differs from the last one.
    ManagedCheck checkOnce();
    // On the program's thread: the profiles the imports since the last
    // call wrote or removed; nullopt when there was none.
    [[nodiscard]] std::optional<std::vector<long long>> takeChanges();
    // On the program's thread: the refusals traced since the last call, for
    // the event log, which belongs to that thread.
    [[nodiscard]] std::vector<ManagedCheck> takeRefusals();

private:
    void run();
    bool openStore();

    platform::Registry& registry_;
    platform::FolderWatch& watch_;
    std::string storePath_;
    core::Database db_;
    std::optional<ManagedProfiles> managed_;
    std::string watched_;
    std::string lastRefusal_;
    std::mutex lock_;
    std::optional<std::vector<long long>> changes_;  // under lock_
    std::vector<ManagedCheck> refusals_;             // under lock_
    std::thread thread_;
};

}  // namespace ombrix::profiles

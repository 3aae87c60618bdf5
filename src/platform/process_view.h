#pragma once
// One view of the running processes shared by everyone who asks, so that a
// tick whose timers and readers each ask "is it running?" costs one system
// snapshot, not one each. The view is taken when first asked after it went
// stale: after a termination (the list changed), after refresh() (a window
// appeared, or a tick that must see the machine as it is now), or once it is
// older than its age limit, the net for a change nobody reported.
//
// The names a program keeps inside its executable are read once per process
// (its id and start time), not on every tick, and forgotten once the process
// is no longer in the system's list.

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/clock.h"
#include "platform/processes.h"

namespace ombrix::platform {

class SharedProcessView final : public Processes {
public:
    SharedProcessView(Processes& system, Clock& clock, std::uint64_t maxAgeMs)
        : system_(system), clock_(clock), maxAgeMs_(maxAgeMs) {}

    [[nodiscard]] std::vector<ProcessEntry> snapshot() override;
    bool terminate(std::uint32_t id) override;
    [[nodiscard]] std::vector<std::string> originalNames(const ProcessEntry& process) override;

    // The next question asks the system again.
    void refresh() noexcept { stale_ = true; }
    // How many snapshots the system was asked for, for measuring.
    [[nodiscard]] std::uint64_t systemSnapshots() const { return taken_; }
    // How many executables were asked for their names, and how many processes' names are kept.
    [[nodiscard]] std::uint64_t nameReads() const { return nameReads_; }
    [[nodiscard]] std::size_t namesKept() const { return names_.size(); }

private:
    Processes& system_;
    Clock& clock_;
    std::uint64_t maxAgeMs_;
    std::vector<ProcessEntry> view_;
    std::uint64_t takenAt_ = 0;
    std::uint64_t taken_ = 0;
    bool stale_ = true;
    using ProcessKey = std::pair<std::uint32_t, std::uint64_t>;  // id, start time
    std::map<ProcessKey, std::vector<std::string>> names_;
    std::uint64_t nameReads_ = 0;
};

}  // namespace ombrix::platform

#pragma once
// One view of the running processes shared by everyone who asks, so that a
// tick whose timers and readers each ask "is it running?" costs one system
// snapshot, not one each. The view is taken when first asked after it went
// stale: after a termination (the list changed), after refresh() (a window
// appeared, or a tick that must see the machine as it is now), or once it is
// older than its age limit, the net for a change nobody reported.

#include <cstdint>
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

    // The next question asks the system again.
    void refresh() noexcept { stale_ = true; }
    // How many snapshots the system was asked for, for measuring.
    [[nodiscard]] std::uint64_t systemSnapshots() const { return taken_; }

private:
    Processes& system_;
    Clock& clock_;
    std::uint64_t maxAgeMs_;
    std::vector<ProcessEntry> view_;
    std::uint64_t takenAt_ = 0;
    std::uint64_t taken_ = 0;
    bool stale_ = true;
};

}  // namespace ombrix::platform

#pragma once
// The program's timers on one system timer. Each enabled timer falls due
// every interval from when it was enabled, on a grid of kTimerGridMs shared
// by all of them, so that timers due together cost one wake-up: the site
// timer's 50 ms carries the 100, 250, 300 and 500 ms ones. A timer is served
// by the first wake-up at or after its due time.

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "core/timers.h"

namespace ombrix::core {

inline constexpr std::uint64_t kTimerGridMs = 50;

class TimerWheel {
public:
    // Enabling an enabled timer starts its interval again, as SetTimer does.
    void enable(TimerId id, std::uint64_t now);
    void disable(TimerId id);
    [[nodiscard]] bool enabled(TimerId id) const;
    // The timers due at `now`, in the order of TimerId; each is then due an
    // interval later. A timer that fell behind fires once, not once for
    // every interval it missed, as WM_TIMER does.
    [[nodiscard]] std::vector<TimerId> takeDue(std::uint64_t now);
    // The period of the one system timer that serves every enabled timer:
    // the greatest common divisor of their intervals, so that it is set
    // again only when a timer of another interval comes or goes; none when
    // all are off.
    [[nodiscard]] std::optional<std::uint64_t> period() const;

private:
    // The time each enabled timer is next due.
    std::array<std::optional<std::uint64_t>, static_cast<std::size_t>(TimerId::Count)> next_{};
};

}  // namespace ombrix::core

#include "app/timer_wheel.h"

#include <numeric>

namespace ombrix::core {
namespace {

static_assert([] {
    for (const TimerEntry& timer : kTimers) {
        if (timer.intervalMs == 0 || timer.intervalMs % kTimerGridMs != 0) return false;
    }
    return true;
}(), "every interval lies on the grid, or timers due together would wake apart");

std::size_t slot(TimerId id) { return static_cast<std::size_t>(id); }

// The first grid point at or after `t`.
std::uint64_t onGrid(std::uint64_t t) { return (t + kTimerGridMs - 1) / kTimerGridMs * kTimerGridMs; }

}  // namespace

void TimerWheel::enable(TimerId id, std::uint64_t now) { next_[slot(id)] = onGrid(now + timerEntry(id).intervalMs); }

void TimerWheel::disable(TimerId id) { next_[slot(id)].reset(); }

bool TimerWheel::enabled(TimerId id) const { return next_[slot(id)].has_value(); }

std::vector<TimerId> TimerWheel::takeDue(std::uint64_t now) {
    std::vector<TimerId> due;
    for (std::size_t i = 0; i < next_.size(); ++i) {
        std::optional<std::uint64_t>& next = next_[i];
        if (!next || *next > now) continue;
        const std::uint64_t interval = timerEntry(static_cast<TimerId>(i)).intervalMs;
        *next += interval;
        if (*next <= now) *next = onGrid(now + interval);
        due.push_back(static_cast<TimerId>(i));
    }
    return due;
}

std::optional<std::uint64_t> TimerWheel::period() const {
    std::optional<std::uint64_t> gcd;
    for (std::size_t i = 0; i < next_.size(); ++i) {
        if (!next_[i]) continue;
        const std::uint64_t interval = timerEntry(static_cast<TimerId>(i)).intervalMs;
        gcd = gcd ? std::gcd(*gcd, interval) : interval;
    }
    return gcd;
}

}  // namespace ombrix::core

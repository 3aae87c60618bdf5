#include "app/timer_wheel.h"

#include <gtest/gtest.h>

#include <map>

namespace ombrix::core {
namespace {

using Ids = std::vector<TimerId>;
constexpr TimerId kSites = TimerId::SiteCheck;                // 50 ms
constexpr TimerId kTaskManager = TimerId::KillTaskManager;    // 100 ms
constexpr TimerId kLog = TimerId::SiteLog;                    // 250 ms
constexpr TimerId kProcesses = TimerId::ForbiddenProcesses;   // 500 ms

// Timers enabled at odd moments, served by one periodic system timer: a
// second of the five enforcement timers costs 20 wake-ups, not 37, and every
// wake-up serves at least one of them.
TEST(TimerWheel, TimersEnabledApartShareOnePeriodicWakeUp) {
    TimerWheel wheel;
    EXPECT_EQ(wheel.period(), std::nullopt);
    wheel.enable(kTaskManager, 1017);
    wheel.enable(kProcesses, 1042);
    EXPECT_EQ(wheel.period(), 100u);
    wheel.enable(kSites, 1003);
    wheel.enable(kLog, 1029);
    wheel.enable(TimerId::CloseWindows, 1041);
    ASSERT_EQ(wheel.period(), 50u);
    int idle = 0;
    std::map<TimerId, int> ticks;
    for (std::uint64_t now = 1042 + 50; now <= 11042; now += 50) {  // the system timer, set at 1042
        const Ids due = wheel.takeDue(now);
        if (due.empty()) ++idle;
        for (const TimerId id : due) ++ticks[id];
    }
    EXPECT_LE(idle, 1) << "only the first, before anything is due";
    for (const TimerId id : {kSites, kTaskManager, kLog, TimerId::CloseWindows, kProcesses}) {
        EXPECT_NEAR(ticks[id], 10000.0 / timerEntry(id).intervalMs, 1.0) << timerEntry(id).name;
    }
    wheel.disable(kSites);
    wheel.disable(kLog);
    EXPECT_EQ(wheel.period(), 100u) << "the 100, 300 and 500 ms timers";
}

TEST(TimerWheel, DueInIdOrderOnceEvenWhenLateAndNeverWhenOff) {
    TimerWheel wheel;
    wheel.enable(kProcesses, 0);
    wheel.enable(kSites, 0);
    EXPECT_EQ(wheel.takeDue(49), Ids{});
    EXPECT_EQ(wheel.takeDue(500), (Ids{kSites, kProcesses})) << "ten missed ticks give one";
    EXPECT_EQ(wheel.takeDue(549), Ids{});
    EXPECT_EQ(wheel.takeDue(550), Ids{kSites});

    wheel.enable(kSites, 560);  // enabling again starts the interval again
    EXPECT_EQ(wheel.takeDue(600), Ids{});
    EXPECT_EQ(wheel.takeDue(650), Ids{kSites});
    wheel.disable(kSites);
    EXPECT_FALSE(wheel.enabled(kSites));
    EXPECT_EQ(wheel.takeDue(1000), Ids{kProcesses});
}

}  // namespace
}  // namespace ombrix::core

#include "core/timer_wheel.h"

#include <gtest/gtest.h>

namespace ombrix::core {
namespace {

using Ids = std::vector<TimerId>;
constexpr TimerId kSites = TimerId::SitiVietatiConsentiti;     // 50 ms
constexpr TimerId kTaskManager = TimerId::KillTaskManager;     // 100 ms
constexpr TimerId kLog = TimerId::LogSitiVisitati;             // 250 ms
constexpr TimerId kProcesses = TimerId::ProcessiVietati;       // 500 ms

// Timers enabled at odd moments still fall due together on the grid, so a
// second of the five enforcement timers costs 20 wake-ups, not 37.
TEST(TimerWheel, TimersEnabledApartWakeTogether) {
    TimerWheel wheel;
    wheel.enable(kSites, 1003);
    wheel.enable(kTaskManager, 1017);
    wheel.enable(kLog, 1029);
    wheel.enable(TimerId::ChiudiFinestre, 1041);
    wheel.enable(kProcesses, 1042);
    int wakeUps = 0;
    int ticks = 0;
    for (std::uint64_t now = 1042; now < 11042;) {
        now += *wheel.wait(now);
        const Ids due = wheel.takeDue(now);
        ASSERT_FALSE(due.empty()) << now;
        ++wakeUps;
        ticks += static_cast<int>(due.size());
    }
    EXPECT_EQ(wakeUps, 200);
    EXPECT_EQ(ticks, 200 + 100 + 40 + 33 + 20);
}

TEST(TimerWheel, DueInIdOrderOnceEvenWhenLateAndNeverWhenOff) {
    TimerWheel wheel;
    EXPECT_EQ(wheel.wait(0), std::nullopt);
    wheel.enable(kProcesses, 0);
    wheel.enable(kSites, 0);
    EXPECT_EQ(wheel.wait(0), 50u);
    EXPECT_EQ(wheel.takeDue(49), Ids{});
    EXPECT_EQ(wheel.takeDue(500), (Ids{kSites, kProcesses})) << "ten missed ticks give one";
    EXPECT_EQ(wheel.wait(500), 50u);
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

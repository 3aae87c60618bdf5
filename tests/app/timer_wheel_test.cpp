// The program's timers on one system timer, and the notice form's life.
#include "app/timer_wheel.h"
#include <gtest/gtest.h>
#include <map>
#include "app/notices.h"

namespace ombrix::core {
namespace {
using Ids = std::vector<TimerId>;
constexpr TimerId kSites = TimerId::SiteCheck, kTaskManager = TimerId::KillTaskManager;  // 50, 100 ms
constexpr TimerId kLog = TimerId::SiteLog, kProcesses = TimerId::ForbiddenProcesses;     // 250, 500 ms

// Timers enabled at odd moments share one periodic wake-up, and every wake-up serves at least one.
TEST(TimerWheel, TimersEnabledApartShareOnePeriodicWakeUp) {
    TimerWheel wheel;
    EXPECT_EQ(wheel.period(), std::nullopt);
    for (const auto& [id, at] : {std::pair<TimerId, std::uint64_t>{kTaskManager, 1017}, {kProcesses, 1042}, {kSites, 1003},
                                 {kLog, 1029}, {TimerId::CloseWindows, 1041}}) wheel.enable(id, at);
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
    wheel.disable(kSites), wheel.disable(kLog);
    EXPECT_EQ(wheel.period(), 100u) << "the 100, 300 and 500 ms timers";
}

TEST(TimerWheel, DueInIdOrderOnceEvenWhenLateAndNeverWhenOff) {
    TimerWheel wheel;
    wheel.enable(kProcesses, 0), wheel.enable(kSites, 0);
    EXPECT_EQ(wheel.takeDue(49), Ids{});
    EXPECT_EQ(wheel.takeDue(500), (Ids{kSites, kProcesses})) << "ten missed ticks give one";
    EXPECT_EQ(wheel.takeDue(549), Ids{});
    EXPECT_EQ(wheel.takeDue(550), Ids{kSites});
    wheel.enable(kSites, 560);  // enabling again starts the interval again
    EXPECT_EQ(wheel.takeDue(600), Ids{});
    wheel.disable(kSites);
    EXPECT_FALSE(wheel.enabled(kSites));
    EXPECT_EQ(wheel.takeDue(1000), Ids{kProcesses});
}

// A notice every second still lets the form close about 10 s after it was loaded.
TEST(NoticeLife, AStreamOfNoticesDoesNotKeepItOpen) {
    NoticeLife life;
    EXPECT_TRUE(life.show(0));
    std::uint64_t closedAt = 0;
    for (std::uint64_t t = 500; t <= 30000 && !closedAt; t += 500) {
        EXPECT_TRUE(t % 1000 != 0 || !life.show(t)) << t;
        if (life.tick(t)) closedAt = t;
    }
    EXPECT_EQ(closedAt, 10500u) << "more than 10 whole seconds, rounded";
    EXPECT_TRUE(!life.loaded() && life.show(11200) && life.caption(11200) == "OK (11)");
    life.closed();  // OK pressed
    EXPECT_TRUE(life.show(12000));
}
}  // namespace
}  // namespace ombrix::core

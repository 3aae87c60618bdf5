// The guard service's decisions, the program's timers on one system timer, and the notice form's life.
#include "app/guard.h"
#include <gtest/gtest.h>
#include <map>
#include "app/notices.h"
#include "app/timer_wheel.h"

namespace ombrix::app {
namespace {
using Ids = std::vector<SessionId>;

// One step of a session's life, what takeDue starts right after it and, for an end, the wait it announces.
struct Step {
    enum Kind { In, Out, Ended, StandDown, Tick } kind;
    SessionId session;
    std::uint64_t at;
    Ids started;
    std::optional<std::uint64_t> wait{};
};

TEST(Guard, StartsRestartsAndStandsDownBySession) {
    using enum Step::Kind;
    const std::pair<const char*, std::vector<Step>> cases[] = {
        {"an end starts again at once", {{In, 1, 0, {1}}, {Ended, 1, 500, {1}, 0}, {Tick, 1, 600, {}}}},
        {"a stand-down holds until the next sign-in",
         {{In, 1, 0, {1}}, {StandDown, 1, 5, {}}, {Ended, 1, 10, {}, std::nullopt}, {Tick, 0, 100'000, {}},
          {In, 1, 100'001, {1}}, {Ended, 1, 100'002, {1}, 0}}},
        {"a stand-down leaves the other session guarded",
         {{In, 1, 0, {1}}, {In, 2, 0, {2}}, {StandDown, 1, 1, {}}, {Ended, 1, 2, {}, std::nullopt}, {Ended, 2, 3, {2}, 0}}},
        {"a session signed out is forgotten",
         {{In, 1, 0, {1}}, {Out, 1, 5, {}}, {Ended, 1, 6, {}, std::nullopt}, {StandDown, 1, 7, {}}}},
        {"a second sign-in notice starts no second program", {{In, 1, 0, {1}}, {In, 1, 5, {}}}},
    };
    for (const auto& [name, steps] : cases) {
        SCOPED_TRACE(name);
        Guard guard;
        for (const Step& step : steps) {
            switch (step.kind) {
                case In: guard.signedIn(step.session, step.at); break;
                case Out: guard.signedOut(step.session); break;
                case Ended: EXPECT_EQ(guard.programEnded(step.session, step.at), step.wait); break;
                case StandDown: guard.standDown(step.session); break;
                case Tick: break;
            }
            EXPECT_EQ(guard.takeDue(step.at), step.started) << "at " << step.at;
        }
    }
}

TEST(Guard, QuickEndsBackOffGrowingAndCappedButNeverStop) {
    Guard guard;
    guard.signedIn(7, 0);
    ASSERT_EQ(guard.takeDue(0), Ids{7});
    std::uint64_t now = 0;
    std::vector<std::uint64_t> waits;
    for (int i = 0; i < 11; ++i) {
        now += 100;  // each run ends 100 ms after its start
        const auto wait = guard.programEnded(7, now);
        ASSERT_TRUE(wait.has_value());
        waits.push_back(*wait);
        EXPECT_TRUE(*wait == 0 || (guard.takeDue(now + *wait - 1).empty() && guard.nextDueIn(now) == *wait)) << "not before";
        now += *wait;
        EXPECT_EQ(guard.takeDue(now), Ids{7});
    }
    EXPECT_EQ(waits, (std::vector<std::uint64_t>{0, 0, 0, 0, 0, 1'000, 2'000, 4'000, 8'000, 8'000, 8'000}));
    // A run that got going was enforcing: its end is followed at once, and the quick ends before it no longer count.
    for (const std::uint64_t ran : {kGuardQuickRunMs, std::uint64_t{100}, std::uint64_t{100}}) {
        now += ran;
        EXPECT_EQ(guard.programEnded(7, now), 0u) << ran;
        ASSERT_EQ(guard.takeDue(now), Ids{7});
    }
}

using core::NoticeLife, core::TimerId, core::TimerWheel, core::timerEntry;
using TimerIds = std::vector<TimerId>;
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
        const TimerIds due = wheel.takeDue(now);
        if (due.empty()) ++idle;
        for (const TimerId id : due) ++ticks[id];
    }
    EXPECT_LE(idle, 1) << "only the first, before anything is due";
    for (const TimerId id : {kSites, kTaskManager, kLog, TimerId::CloseWindows, kProcesses}) {
        EXPECT_NEAR(ticks[id], 10000.0 / timerEntry(id).intervalMs, 1.0) << timerEntry(id).name;
    }
    wheel.disable(kSites); wheel.disable(kLog);
    EXPECT_EQ(wheel.period(), 100u) << "the 100, 300 and 500 ms timers";
}

TEST(TimerWheel, DueInIdOrderOnceEvenWhenLateAndNeverWhenOff) {
    TimerWheel wheel;
    wheel.enable(kProcesses, 0); wheel.enable(kSites, 0);
    EXPECT_EQ(wheel.takeDue(49), TimerIds{});
    EXPECT_EQ(wheel.takeDue(500), (TimerIds{kSites, kProcesses})) << "ten missed ticks give one";
    EXPECT_EQ(wheel.takeDue(549), TimerIds{});
    EXPECT_EQ(wheel.takeDue(550), TimerIds{kSites});
    wheel.enable(kSites, 560);  // enabling again starts the interval again
    EXPECT_EQ(wheel.takeDue(600), TimerIds{});
    wheel.disable(kSites);
    EXPECT_FALSE(wheel.enabled(kSites));
    EXPECT_EQ(wheel.takeDue(1000), TimerIds{kProcesses});
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
}  // namespace ombrix::app

#include "app/guard.h"
#include <gtest/gtest.h>

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
        {"sessions are apart", {{In, 1, 0, {1}}, {In, 2, 10, {2}}, {Ended, 2, 20, {2}, 0}, {Tick, 0, 30, {}}}},
        {"a stand-down holds until the next sign-in",
         {{In, 1, 0, {1}}, {StandDown, 1, 5, {}}, {Ended, 1, 10, {}, std::nullopt}, {Tick, 0, 100'000, {}},
          {In, 1, 100'001, {1}}, {Ended, 1, 100'002, {1}, 0}}},
        {"a stand-down leaves the other session guarded",
         {{In, 1, 0, {1}}, {In, 2, 0, {2}}, {StandDown, 1, 1, {}}, {Ended, 1, 2, {}, std::nullopt}, {Ended, 2, 3, {2}, 0}}},
        {"a session signed out is forgotten",
         {{In, 1, 0, {1}}, {Out, 1, 5, {}}, {Ended, 1, 6, {}, std::nullopt}, {StandDown, 1, 7, {}}}},
        {"a sign-out ends a stand-down too", {{In, 3, 0, {3}}, {StandDown, 3, 1, {}}, {Out, 3, 2, {}}, {In, 3, 3, {3}}}},
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

// The session comes from the system, never from the request.
TEST(Guard, ChannelStandsDownOnlyTheAskingSession) {
    Guard guard;
    guard.signedIn(1, 0);
    guard.signedIn(2, 0);
    (void)guard.takeDue(0);
    EXPECT_EQ(answerGuardRequest(guard, "stand-down", 2), "ok");
    EXPECT_EQ(answerGuardRequest(guard, "status", 0), "session 1 running\nsession 2 stood-down\n");
    EXPECT_EQ(answerGuardRequest(guard, "stand-down", 5), "refused: session 5 is not guarded");
    for (const char* forged : {"stand-down 1", "STAND-DOWN"}) {
        EXPECT_EQ(answerGuardRequest(guard, forged, 1), "refused: unknown request") << forged;
    }
    EXPECT_EQ(guard.programEnded(1, 5), 0u) << "session 1 is still guarded";
    EXPECT_EQ(guard.programEnded(2, 5), std::nullopt);
    EXPECT_EQ(answerGuardRequest(guard, "status", 0), "session 1 waiting\nsession 2 stood-down\n");
}
}  // namespace
}  // namespace ombrix::app

#include "app/guard.h"

#include <gtest/gtest.h>

namespace ombrix::app {
namespace {

using Ids = std::vector<SessionId>;

// One step of a session's life and what the guard starts right after it.
struct Step {
    enum Kind { In, Out, Ended, StandDown, Tick } kind;
    SessionId session;
    std::uint64_t at;
    Ids started;                          // takeDue(at) after the step
    std::optional<std::uint64_t> wait{};  // for Ended: the wait it announces
};

struct Case {
    const char* name;
    std::vector<Step> steps;
};

TEST(Guard, StartsRestartsAndStandsDownBySession) {
    const std::vector<Case> cases = {
        {"a sign-in starts at once, an end starts again at once",
         {{Step::In, 1, 0, {1}}, {Step::Ended, 1, 500, {1}, 0}, {Step::Tick, 1, 600, {}}}},
        {"sessions are apart",
         {{Step::In, 1, 0, {1}}, {Step::In, 2, 10, {2}}, {Step::Ended, 2, 20, {2}, 0}, {Step::Tick, 0, 30, {}}}},
        {"a stand-down holds until the next sign-in",
         {{Step::In, 1, 0, {1}},
          {Step::StandDown, 1, 5, {}},
          {Step::Ended, 1, 10, {}, std::nullopt},
          {Step::Tick, 0, 100'000, {}},
          {Step::In, 1, 100'001, {1}},
          {Step::Ended, 1, 100'002, {1}, 0}}},
        {"a stand-down in one session leaves the other guarded",
         {{Step::In, 1, 0, {1}}, {Step::In, 2, 0, {2}}, {Step::StandDown, 1, 1, {}},
          {Step::Ended, 1, 2, {}, std::nullopt}, {Step::Ended, 2, 3, {2}, 0}}},
        {"a session signed out is forgotten: its end starts nothing",
         {{Step::In, 1, 0, {1}}, {Step::Out, 1, 5, {}}, {Step::Ended, 1, 6, {}, std::nullopt},
          {Step::StandDown, 1, 7, {}}}},
        {"a sign-out ends a stand-down too",
         {{Step::In, 3, 0, {3}}, {Step::StandDown, 3, 1, {}}, {Step::Out, 3, 2, {}}, {Step::In, 3, 3, {3}}}},
        {"a second sign-in notice while it runs starts no second program",
         {{Step::In, 1, 0, {1}}, {Step::In, 1, 5, {}}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Guard guard;
        for (const Step& step : c.steps) {
            switch (step.kind) {
                case Step::In: guard.signedIn(step.session, step.at); break;
                case Step::Out: guard.signedOut(step.session); break;
                case Step::Ended: EXPECT_EQ(guard.programEnded(step.session, step.at), step.wait); break;
                case Step::StandDown: guard.standDown(step.session); break;
                case Step::Tick: break;
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
        if (*wait > 0) {
            EXPECT_EQ(guard.takeDue(now + *wait - 1), Ids{}) << "not before the wait";
            EXPECT_EQ(guard.nextDueIn(now), *wait);
        }
        now += *wait;
        EXPECT_EQ(guard.takeDue(now), Ids{7});
    }
    const std::vector<std::uint64_t> expected = {0, 0, 0, 0, 0, 1'000, 2'000, 4'000, 8'000, 8'000, 8'000};
    EXPECT_EQ(waits, expected);

    // A run that got going was enforcing: its end is followed at once, and
    // the quick ends before it no longer count.
    for (const std::uint64_t ran : {kGuardQuickRunMs, std::uint64_t{100}, std::uint64_t{100}}) {
        now += ran;
        EXPECT_EQ(guard.programEnded(7, now), 0u) << ran;
        ASSERT_EQ(guard.takeDue(now), Ids{7});
    }
}

// The session comes from the system, never from the request: the exit of
// one session's administrator leaves the others guarded.
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

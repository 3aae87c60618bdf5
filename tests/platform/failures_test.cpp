#include "platform/failures.h"
#include "platform/trace_file.h"

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <string>

namespace ombrix::platform {
namespace {

int sinkCalls = 0;
char sinkWhat[256] = {};

void countingSink(const char*, const char* what) noexcept {
    ++sinkCalls;
    std::strncpy(sinkWhat, what, sizeof sinkWhat - 1);
}

TEST(Failures, AreKeptNewestLastInABoundedRingAndReachTheSink) {
    setTraceFolder({}, {});  // the sink hears of failures only, never of the trace
    setFailureSink(&countingSink);
    // More than the ring keeps, then one that is no std::exception.
    for (int i = 0; i < 70; ++i) {
        guarded([&] { throw std::runtime_error("boom " + std::to_string(i)); });
    }
    const int line = __LINE__ + 1;
    const int answer = guarded([]() -> int { throw 42; }, -1);
    EXPECT_EQ(answer, -1);
    EXPECT_EQ(sinkCalls, 71);
    EXPECT_STREQ(sinkWhat, "unknown");

    const std::vector<Failure> kept = recentFailures();
    ASSERT_EQ(kept.size(), kFailuresKept);
    EXPECT_EQ(kept.back().what, "unknown");
    EXPECT_EQ(kept.back().where, "failures_test.cpp:" + std::to_string(line));
    for (std::size_t i = 0; i + 1 < kept.size(); ++i) {
        EXPECT_EQ(kept[i].what, "boom " + std::to_string(i + 7)) << "not the newest, or out of order, at " << i;
    }

    // Results: passed through when nothing fails, value-initialised when something does.
    EXPECT_EQ(guarded([] { return std::string("read"); }), "read");
    EXPECT_EQ(guarded([]() -> std::string { throw std::bad_alloc(); }), "");

    // A long message is cut, never inside a character.
    std::string accented;
    for (int i = 0; i < 300; ++i) accented += "\xC3\xA8";  // è
    guarded([&] { throw std::runtime_error(accented); });
    const std::string cut = recentFailures().back().what;
    EXPECT_LT(cut.size(), accented.size());
    EXPECT_GT(cut.size(), 100u);
    EXPECT_EQ(cut.size() % 2, 0u) << "cut inside a character";
    EXPECT_EQ(accented.compare(0, cut.size(), cut), 0);

    setFailureSink(nullptr);
    guarded([] { throw std::logic_error("unseen"); });
    EXPECT_EQ(sinkCalls, 73);
}

}  // namespace
}  // namespace ombrix::platform

#include "app/notices.h"

#include <gtest/gtest.h>

namespace ombrix::core {
namespace {

// A window that keeps reappearing sends a notice every second: the form still
// closes about 10 s after it was loaded, and the next notice loads it again.
TEST(NoticeLife, AStreamOfNoticesDoesNotKeepItOpen) {
    NoticeLife life;
    EXPECT_TRUE(life.show(0));
    std::uint64_t closedAt = 0;
    for (std::uint64_t t = 500; t <= 30000 && !closedAt; t += 500) {
        if (t % 1000 == 0) {
            EXPECT_FALSE(life.show(t)) << t;
        }
        if (life.tick(t)) closedAt = t;
    }
    EXPECT_EQ(closedAt, 10500u) << "more than 10 whole seconds, rounded";
    EXPECT_FALSE(life.loaded());
    EXPECT_TRUE(life.show(11200));
    EXPECT_EQ(life.caption(11200), "OK (11)");
    life.closed();  // OK pressed
    EXPECT_TRUE(life.show(12000));
}

}  // namespace
}  // namespace ombrix::core

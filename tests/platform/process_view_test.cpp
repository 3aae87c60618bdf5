#include "platform/process_view.h"

#include <gtest/gtest.h>

#include "fakes/fake_controller.h"

namespace ombrix::platform {
namespace {

class MovingClock final : public Clock {
public:
    LocalTime now() override { return {}; }
    std::uint64_t tickMilliseconds() override { return ms; }
    std::uint64_t ms = 1000;
};

TEST(SharedProcessView, OneSnapshotUntilATerminationARefreshOrItsAgeLimit) {
    test::Journal journal;
    test::FakeProcesses system(journal);
    MovingClock clock;
    SharedProcessView view(system, clock, 500);
    system.start("notepad.exe");
    EXPECT_EQ(view.snapshot().size(), 1u);
    system.start("calc.exe");
    EXPECT_EQ(view.snapshot().size(), 1u) << "the same view within its age";
    EXPECT_EQ(view.systemSnapshots(), 1u);

    clock.ms += 499;
    EXPECT_EQ(view.snapshot().size(), 1u);
    clock.ms += 1;
    EXPECT_EQ(view.snapshot().size(), 2u) << "too old: asked again";

    EXPECT_TRUE(view.terminate(system.running[0].id));
    EXPECT_EQ(view.snapshot().size(), 1u) << "a termination changes the list";
    system.start("giochi.exe");
    view.refresh();
    EXPECT_EQ(view.snapshot().size(), 2u);
    EXPECT_EQ(view.systemSnapshots(), 4u);
}

}  // namespace
}  // namespace ombrix::platform

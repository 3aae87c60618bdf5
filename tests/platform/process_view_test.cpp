#include "platform/process_view.h"

#include <gtest/gtest.h>

#include "fakes/fake_enforcement.h"

namespace ombrix::platform {
namespace {

TEST(SharedProcessView, OneSnapshotUntilATerminationARefreshOrItsAgeAndNamesReadOncePerProcess) {
    test::Journal journal;
    test::FakeProcesses system(journal);
    test::FakeClock clock;
    SharedProcessView view(system, clock, 500);
    system.start("notepad.exe");
    EXPECT_EQ(view.snapshot().size(), 1u);
    system.start("calc.exe");
    clock.ms += 499;
    EXPECT_EQ(view.snapshot().size(), 1u) << "the same view within its age";
    clock.ms += 1;
    EXPECT_EQ(view.snapshot().size(), 2u) << "too old: asked again";
    EXPECT_TRUE(view.terminate(system.running[0].id));
    EXPECT_EQ(view.snapshot().size(), 1u) << "a termination changes the list";
    system.start("giochi.exe");
    view.refresh();
    EXPECT_EQ(view.snapshot().size(), 2u);
    EXPECT_EQ(view.systemSnapshots(), 4u);

    // The names inside are read once per process and forgotten when it ends;
    // an id given again to a later process is told apart by its start time.
    system.running.clear();
    system.startRenamed("appunti.exe", "gioco.exe");
    system.start("explorer.exe");
    for (int tick = 0; tick < 5; ++tick) {
        clock.ms += 500;
        for (const auto& p : view.snapshot()) (void)view.originalNames(p);
    }
    EXPECT_EQ(system.nameReads, 2) << "once per process, not per tick";
    system.running[0] = {system.running[0].id, "appunti.exe", 0, {"lettore.exe"}, 7};
    view.refresh();
    EXPECT_EQ(view.originalNames(view.snapshot()[0]), std::vector<std::string>{"lettore.exe"});
    system.running.clear();
    view.refresh();
    EXPECT_TRUE(view.snapshot().empty());
    EXPECT_EQ(view.namesKept(), 0u);
}

}  // namespace
}  // namespace ombrix::platform

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
    const auto sizeAfter = [&](std::uint64_t ms) { return clock.ms += ms, view.snapshot().size(); };
    EXPECT_EQ(sizeAfter(0), 1u);
    system.start("calc.exe");
    EXPECT_EQ(sizeAfter(499), 1u) << "the same view within its age";
    EXPECT_EQ(sizeAfter(1), 2u) << "too old: asked again";
    EXPECT_TRUE(view.terminate(system.running[0].id));
    EXPECT_EQ(sizeAfter(0), 1u) << "a termination changes the list";
    system.start("giochi.exe");
    view.refresh();
    EXPECT_EQ(sizeAfter(0), 2u);
    EXPECT_EQ(view.systemSnapshots(), 4u);
    system.running.clear();  // names: read once per process, forgotten at its end; a reused id told by its start
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
    EXPECT_TRUE(view.snapshot().empty() && view.namesKept() == 0u);
}

}  // namespace
}  // namespace ombrix::platform

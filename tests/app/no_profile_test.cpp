// "No profile" in the running program: every way it comes to be in use
// (an IDProfiloInUso that names none, a time slot's empty fallback) blocks
// every page; only the shutdown's lifts everything.
#include <gtest/gtest.h>

#include "app/program_host.h"
#include "fakes/controller_rig.h"
#include "fakes/fake_enforcement.h"
#include "fakes/fake_machine_profile.h"
#include "schedule/daily_slots.h"

namespace ombrix::app {
namespace {

using core::TimerId;

// The controller, the enforcement on the controller's own store, and the
// host between them, as the program wires them.
class NoProfile : public ::testing::Test, protected test::ControllerRig {
protected:
    NoProfile() : ControllerRig(test::numberedTexts()) {
        host.setEnforcement(&enforcement);
        controller.setProfileLists(&enforcement);
        controller.setTimeSlotSchedule(&schedule);
    }
    // Chrome shows a page and Opera runs; true when a tick of each timer ended both.
    bool everyPageBlocked() {
        browsers.open(browsers.chrome, "http://scuola.example/");
        processes.start("opera.exe");
        host.onTimer(TimerId::SiteCheck);
        host.onTimer(TimerId::ForbiddenProcesses);
        return journal.count("kill chrome.exe") == 1 && journal.count("kill opera.exe") == 1;
    }

    test::FakeClock clock;
    test::FakeDesktop windows{&journal};
    test::FakeKeyboard keyboard;
    test::FakeBrowsers browsers{processes, journal};
    test::FakeShell shell{journal};
    platform::SharedProcessView processView{processes, clock, 500};
    core::Controller controller{machine(), store};
    ProgramHost host{{controller, view, timers, system, shell, platform::realFileSystem(), processView}};
    enforce::VisitedSitesLog log{platform::realFileSystem(), clock, store.connection, [this] { return store.folder; },
                                 platform::pathSeparator()};
    enforce::Enforcement enforcement{{store.connection, language, processes, windows, keyboard, browsers, browsers,
                                      clock, pump, timers, host, log}};
    schedule::StoredSchedule schedule{store.connection, clock};
};

class NoProfileAtStart : public NoProfile, public ::testing::WithParamInterface<const char*> {};

TEST_P(NoProfileAtStart, AnIdProfiloInUsoThatNamesNoneBlocksEveryPage) {
    sql(std::string("UPDATE Opzioni SET IDProfiloInUso = ") + GetParam() + ";");
    ASSERT_EQ(controller.startUp(), core::Controller::StartResult::Running);
    EXPECT_EQ(controller.profileInUse(), 0);
    EXPECT_TRUE(everyPageBlocked()) << ::testing::PrintToString(journal.entries);
}

INSTANTIATE_TEST_SUITE_P(Stored, NoProfileAtStart, ::testing::Values("NULL", "0", "'abc'"),
                         [](const auto& p) { return p.index == 0 ? "null" : p.index == 1 ? "zero" : "text"; });

TEST_F(NoProfile, OutsideTheSlotsAnEmptyFallbackBlocksEveryPageAndTheShutdownLiftsIt) {
    sql("UPDATE Opzioni SET FasceOrarie = -1;"
        "UPDATE Fasce SET Fascia1Dalle = '08:00:00', Fascia1Alle = '12:00:00', Fascia1Profilo = 1;");
    clock.time = {2026, 11, 23, 9, 0, 0};
    ASSERT_EQ(controller.startUp(), core::Controller::StartResult::Running);
    controller.tickTimeSlots();
    ASSERT_EQ(controller.profileInUse(), 1);
    EXPECT_FALSE(timers.isEnabled(TimerId::SiteCheck)) << "profile 1 has no site list";

    clock.time = {2026, 11, 23, 13, 0, 0};
    controller.tickTimeSlots();
    ASSERT_EQ(controller.profileInUse(), 0);
    EXPECT_TRUE(everyPageBlocked()) << ::testing::PrintToString(journal.entries);

    controller.beginShutdown();
    for (const TimerId id : {TimerId::SiteCheck, TimerId::ForbiddenProcesses}) {
        EXPECT_FALSE(timers.isEnabled(id)) << core::timerEntry(id).name << ": the shutdown lifts everything";
    }
}

}  // namespace
}  // namespace ombrix::app

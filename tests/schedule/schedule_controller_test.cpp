// The schedule plugged into the controller: the check on the task-manager
// timer's tick, start-up with the switch on, and the editor's close.
#include <gtest/gtest.h>

#include "core/store.h"
#include "fakes/controller_rig.h"
#include "fakes/fake_enforcement.h"
#include "schedule/daily_slots.h"
#include "schedule/schedule_texts.h"

namespace ombrix::schedule {
namespace {

class ScheduledController : public ::testing::Test, protected test::ControllerRig {
protected:
    ScheduledController() : ControllerRig(test::scheduleTexts()) {
        sql("INSERT INTO Profili (IDProfilo, Profilo) VALUES (2, 'Mattina'), (3, 'Pomeriggio');"
            "UPDATE Fasce SET Fascia1Dalle = '08:00:00', Fascia1Alle = '12:00:00', Fascia1Profilo = 2,"
            " Fascia2Dalle = '12:00:00', Fascia2Alle = '16:00:00', Fascia2Profilo = 3, ProfiloFasceNonDefinite = 1;");
        controller.setProfileLists(&lists);
        controller.setTimeSlotSchedule(&schedule);
    }
    long long storedProfile() {
        core::Database db;
        EXPECT_TRUE(db.open(dir.file("DataBase/DataBase.db")));
        return core::ReadField(db, "Opzioni", "IDProfiloInUso", core::kOptionsRow).toInteger();
    }
    void at(int h, int m, int s) { clock.time = {2026, 11, 23, h, m, s}; }

    test::FakeClock clock;
    StoredSchedule schedule{store.connection, clock};
    core::Controller controller{machine(), store};
};

TEST_F(ScheduledController, WithTheSwitchOnTheProgramStartsMinimisedAndEachBoundarySwitchesOnce) {
    sql("UPDATE Opzioni SET FasceOrarie = -1;");
    ASSERT_EQ(controller.startUp(), core::Controller::StartResult::Running);
    EXPECT_TRUE(controller.timeSlotScheduleInForce());
    EXPECT_NE(journal.find("view minimise"), -1);
    EXPECT_EQ(journal.find("view topmost"), -1) << "never topmost with time slots";

    struct Tick {
        int day, h, m, s;
        long long profile;
    };
    const Tick ticks[] = {{23, 7, 59, 59, 1}, {23, 8, 0, 0, 2},  {23, 8, 0, 0, 2},  {23, 11, 59, 59, 2},
                 {23, 12, 0, 0, 3},  {23, 16, 0, 0, 3}, {23, 16, 0, 1, 1}};
    for (const auto& t : ticks) {
        clock.time = {2026, 11, t.day, t.h, t.m, t.s};
        controller.tickTimeSlots();
        controller.tickTimeSlots();
        EXPECT_EQ(controller.profileInUse(), t.profile) << t.h << ":" << t.m << ":" << t.s;
        EXPECT_EQ(storedProfile(), t.profile) << t.h << ":" << t.m << ":" << t.s;
    }
    EXPECT_EQ(journal.count("lists profile 2"), 1) << "one switch per boundary";
    EXPECT_EQ(journal.count("lists profile 3"), 1);
    EXPECT_TRUE(journal.inOrder({"lists profile 3", "load sites 3", "load processes", "load windows"}));
    ASSERT_EQ(view.profiles.size(), 3u);
    EXPECT_EQ(view.selected, 0) << "the combo follows the profile the slots put in use";

    // A clock set by hand, forward or back, a machine waking after the slot
    // changed while it slept, or a daylight-saving night (an hour skipped
    // across a slot's start, or repeated before its end): the slots follow
    // the clock on the wall, and the next tick puts their profile in use.
    const Tick jumps[] = {ticks[0], {23, 9, 0, 0, 2},  {23, 14, 0, 0, 3}, {23, 9, 30, 0, 2},
                          {23, 20, 0, 0, 1}, {22, 15, 0, 0, 3}, {24, 11, 59, 0, 2}, {23, 0, 0, 0, 1}};
    for (const Tick& t : jumps) {
        clock.time = {2026, 11, t.day, t.h, t.m, t.s};
        controller.tickTimeSlots();
        EXPECT_EQ(controller.profileInUse(), t.profile) << t.day << " " << t.h << ":" << t.m;
    }
}

TEST_F(ScheduledController, TheEditorsCloseReadsTheSlotsAndTheSwitchAgain) {
    controller.startUp();
    EXPECT_EQ(view.timeSlotsOn, false) << "cmdPeriodi shows the switch from the start";
    EXPECT_EQ(view.timeSlotsCaption, "T0358");
    at(9, 0, 0);
    controller.tickTimeSlots();
    EXPECT_EQ(controller.profileInUse(), 1) << "switch off";

    sql("UPDATE Opzioni SET FasceOrarie = -1; UPDATE Fasce SET Fascia2Alle = 'sedici';");
    controller.afterTimeSlotEditor();
    EXPECT_EQ(view.timeSlotsOn, true) << "cmdPeriodi follows the switch the editor left";
    EXPECT_EQ(view.timeSlotsCaption, "T0357");
    controller.tickTimeSlots();
    EXPECT_EQ(controller.profileInUse(), 1) << "a schedule that cannot be read is none";

    // Every slot emptied, the fallback left on no profile.
    sql("UPDATE Fasce SET Fascia1Dalle = NULL, Fascia1Alle = NULL, Fascia2Dalle = NULL, Fascia2Alle = NULL,"
        " ProfiloFasceNonDefinite = NULL;");
    controller.tickTimeSlots();
    EXPECT_EQ(controller.profileInUse(), 1) << "nothing new is read until the editor closes";
    controller.afterTimeSlotEditor();
    controller.tickTimeSlots();
    EXPECT_EQ(controller.profileInUse(), 0) << "a fallback of 0 is compared and put in use like any other";
    EXPECT_EQ(storedProfile(), 0);
}

// Another process holds the store's write lock (an administrator's SQLite
// shell, a backup) when a slot changes the profile: what is in force stays,
// and the change is tried again every 300 ticks until the store reads.
TEST_F(ScheduledController, AStoreLockedAtABoundaryLiftsNothingAndIsTriedAgain) {
    sql("UPDATE Opzioni SET FasceOrarie = -1; UPDATE Profili SET Kiosk = -1 WHERE IDProfilo = 2;");
    at(9, 0, 0);
    ASSERT_EQ(controller.startUp(), core::Controller::StartResult::Running);
    controller.tickTimeSlots();
    ASSERT_TRUE(controller.switches().kiosk);

    core::Database other;
    ASSERT_TRUE(other.open(dir.file("DataBase/DataBase.db")));
    ASSERT_TRUE(other.exec("BEGIN EXCLUSIVE;"));
    store.connection.setBusyTimeout(20);
    at(12, 30, 0);
    controller.tickTimeSlots();
    EXPECT_TRUE(controller.switches().kiosk) << "a store that cannot be read lifts nothing";
    for (int i = 0; i < core::Controller::kProfileRetryTicks; ++i) controller.tickProfileRetry();
    EXPECT_TRUE(controller.switches().kiosk) << "still locked at the retry";
    ASSERT_TRUE(other.exec("COMMIT;"));
    for (int i = 1; i < core::Controller::kProfileRetryTicks; ++i) controller.tickProfileRetry();
    EXPECT_TRUE(controller.switches().kiosk) << "not before its time";
    controller.tickProfileRetry();
    EXPECT_FALSE(controller.switches().kiosk) << "the slot's profile, once the store reads";
    EXPECT_EQ(storedProfile(), 3);
}

}  // namespace
}  // namespace ombrix::schedule

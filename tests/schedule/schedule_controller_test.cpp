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

    const struct {
        int h, m, s;
        long long profile;
    } ticks[] = {{7, 59, 59, 1}, {8, 0, 0, 2}, {8, 0, 0, 2}, {11, 59, 59, 2}, {12, 0, 0, 3}, {16, 0, 0, 3},
                 {16, 0, 1, 1}};
    for (const auto& t : ticks) {
        at(t.h, t.m, t.s);
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

}  // namespace
}  // namespace ombrix::schedule

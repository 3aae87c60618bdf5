// The schedule plugged into the controller: the check on the task-manager
// timer's tick, start-up with the switch on, and the editor's close.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>
#include <utility>
#include <vector>

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

// A clock set by hand, forward or back, or a machine waking after the slot
// changed while it slept: the next tick puts the slots' profile in use.
TEST_F(ScheduledController, AClockMovedByHandIsFollowedAtTheNextTick) {
    sql("UPDATE Opzioni SET FasceOrarie = -1;");
    ASSERT_EQ(controller.startUp(), core::Controller::StartResult::Running);
    const struct {
        int day, h, m;
        long long profile;
    } jumps[] = {{23, 9, 0, 2}, {23, 14, 0, 3}, {23, 9, 30, 2}, {23, 20, 0, 1},
                 {23, 7, 0, 1}, {22, 15, 0, 3}, {24, 11, 59, 2}, {23, 0, 0, 1}};
    for (const auto& j : jumps) {
        clock.time = {2026, 11, j.day, j.h, j.m, 0};
        controller.tickTimeSlots();
        EXPECT_EQ(controller.profileInUse(), j.profile) << j.day << " " << j.h << ":" << j.m;
    }
}

#ifndef _WIN32  // the C runtime there knows no rule of Europe/Rome's form
// The local time a Windows PC in Italy shows at each second of a night,
// walked in UTC; Europe/Rome's rule written out, so no zone files are needed.
class RomeNight : public ScheduledController {
protected:
    RomeNight() {
        if (const char* tz = std::getenv("TZ")) oldTz_ = tz;
        setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
        tzset();
    }
    ~RomeNight() override {
        if (oldTz_) {
            setenv("TZ", oldTz_->c_str(), 1);
        } else {
            unsetenv("TZ");
        }
        tzset();
    }
    // Each change of the profile in use, as the local time it happened at.
    std::vector<std::pair<std::string, long long>> walk(std::time_t fromUtc, std::time_t toUtc) {
        std::vector<std::pair<std::string, long long>> changes;
        long long last = -1;  // the first tick counts as a change
        for (std::time_t t = fromUtc; t <= toUtc; ++t) {
            std::tm local{};
            localtime_r(&t, &local);
            clock.time = {local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min,
                          local.tm_sec};
            controller.tickTimeSlots();
            if (controller.profileInUse() != last) {
                char shown[32];
                std::strftime(shown, sizeof shown, "%H:%M:%S %Z", &local);
                changes.emplace_back(shown, last = controller.profileInUse());
            }
        }
        return changes;
    }
    std::optional<std::string> oldTz_;
};

using Changes = std::vector<std::pair<std::string, long long>>;

// The slots follow the clock on the wall: a slot starting in the hour the
// spring day skips starts when the clock jumps past its start; on the autumn
// day the repeated half hour before a slot's end is in the slot both times.
TEST_F(RomeNight, DaylightSavingDaysFollowTheWallClock) {
    sql("UPDATE Opzioni SET FasceOrarie = -1;"
        "UPDATE Fasce SET Fascia1Dalle = '02:30:00', Fascia1Alle = '04:00:00', Fascia1Profilo = 2,"
        " Fascia2Dalle = NULL, Fascia2Alle = NULL, Fascia2Profilo = NULL;");
    ASSERT_EQ(controller.startUp(), core::Controller::StartResult::Running);
    // 29 March 2026, 00:00 to 03:00 UTC: 01:00 CET to 05:00 CEST.
    EXPECT_EQ(walk(1774742400, 1774753200),
              (Changes{{"01:00:00 CET", 1}, {"03:00:00 CEST", 2}, {"04:00:01 CEST", 1}}));

    sql("UPDATE Fasce SET Fascia1Dalle = '01:00:00', Fascia1Alle = '02:30:00';");
    controller.afterTimeSlotEditor();
    // 24 October 2026 22:30 UTC to 25 October 02:00 UTC: 00:30 CEST to 03:00 CET.
    EXPECT_EQ(walk(1792881000, 1792893600), (Changes{{"00:30:00 CEST", 1},
                                                     {"01:00:00 CEST", 2},
                                                     {"02:30:01 CEST", 1},
                                                     {"02:00:00 CET", 2},
                                                     {"02:30:01 CET", 1}}));
}
#endif

}  // namespace
}  // namespace ombrix::schedule

// The slots and the policy key in the controller: what the policy sets wins, and its change needs no restart.
#include <gtest/gtest.h>

#include "core/password.h"
#include "core/policy_names.h"
#include "core/store.h"
#include "fakes/controller_rig.h"
#include "fakes/fake_enforcement.h"
#include "schedule/daily_slots.h"
#include "schedule/schedule_texts.h"
#include "support/messages.h"

namespace ombrix::schedule {
namespace {

namespace policy = core::policy;

class ScheduledController : public ::testing::Test, protected test::ControllerRig {
protected:
    ScheduledController() : ControllerRig(test::scheduleTexts() + "0365=T0365\r\n0450=T0450\r\n") {
        sql("INSERT INTO Profili (IDProfilo, Profilo) VALUES (2, 'Mattina'), (3, 'Pomeriggio');"
            "UPDATE Fasce SET Fascia1Dalle = '08:00:00', Fascia1Alle = '12:00:00', Fascia1Profilo = 2,"
            " Fascia2Dalle = '12:00:00', Fascia2Alle = '16:00:00', Fascia2Profilo = 3, ProfiloFasceNonDefinite = 1;");
        controller.setProfileLists(&lists);
        controller.setTimeSlotSchedule(&schedule);
        schedule.setPolicy(&controller.machinePolicy());
    }
    void set(std::initializer_list<std::pair<std::string_view, std::string>> values) {
        for (const auto& [name, value] : values) ASSERT_TRUE(registry.writeString(platform::RegRoot::LocalMachine, policy::kPolicyKey, name, value));
    }
    std::string stored(const char* column) { return core::ReadField(store.connection, "Opzioni", column, core::kOptionsRow).toText(); }
    void tickAt(int h, int m, int s) { clock.time = {2026, 11, 23, h, m, s}, controller.tickTimeSlots(); }

    test::QuickPasswords quick;
    test::FakeClock clock;
    StoredSchedule schedule{store.connection, clock};
    core::Controller controller{machine(), store};
};

// Each boundary switches once; a clock set by hand, a waking machine or a daylight-saving night: the wall clock rules.
TEST_F(ScheduledController, WithTheSwitchOnTheProgramStartsMinimisedAndEachBoundarySwitchesOnce) {
    sql("UPDATE Opzioni SET FasceOrarie = -1;");
    ASSERT_EQ(controller.startUp(), core::Controller::StartResult::Running);
    EXPECT_TRUE(journal.find("view minimise") != -1 && journal.find("view topmost") == -1) << "never topmost with time slots";
    const std::array<int, 5> walk[] = {{23, 7, 59, 59, 1}, {23, 8, 0, 0, 2},  {23, 11, 59, 59, 2}, {23, 12, 0, 0, 3},
                                       {23, 16, 0, 0, 3},  {23, 16, 0, 1, 1}, {23, 9, 30, 0, 2},   {22, 15, 0, 0, 3},
                                       {24, 11, 59, 0, 2}, {23, 0, 0, 0, 1}};
    for (std::size_t i = 0; i < std::size(walk); ++i) {
        const auto [day, h, m, s, profile] = walk[i];
        clock.time = {2026, 11, day, h, m, s};
        controller.tickTimeSlots(); controller.tickTimeSlots();
        EXPECT_EQ(std::pair(controller.profileInUse(), stored("IDProfiloInUso")), std::pair(static_cast<long long>(profile), std::to_string(profile)))
            << day << " " << h << ":" << m << ":" << s;
        EXPECT_TRUE(i != 5 || (journal.count("lists profile 2") + journal.count("lists profile 3") == 2 && view.selected == 0))
            << "once per boundary; the combo follows the profile the slots put in use";
    }
}

TEST_F(ScheduledController, TheEditorsCloseReadsTheSlotsAndTheSwitchAgain) {
    controller.startUp();
    EXPECT_EQ(view.timeSlotsCaption, "T0358") << "cmdPeriodi shows the switch from the start";
    tickAt(9, 0, 0);
    EXPECT_EQ(controller.profileInUse(), 1) << "switch off";
    sql("UPDATE Opzioni SET FasceOrarie = -1; UPDATE Fasce SET Fascia2Alle = 'sedici';");
    controller.afterTimeSlotEditor();
    EXPECT_TRUE(view.timeSlotsOn && view.timeSlotsCaption == "T0357") << "cmdPeriodi follows the editor's switch";
    controller.tickTimeSlots();
    EXPECT_EQ(controller.profileInUse(), 1) << "a schedule that cannot be read is none";
    sql("UPDATE Fasce SET Fascia1Dalle = NULL, Fascia1Alle = NULL, Fascia2Dalle = NULL, Fascia2Alle = NULL, ProfiloFasceNonDefinite = NULL;");
    controller.tickTimeSlots();
    EXPECT_EQ(controller.profileInUse(), 1) << "every slot emptied, no fallback: read once the editor closes";
    controller.afterTimeSlotEditor();
    controller.tickTimeSlots();
    EXPECT_EQ(stored("IDProfiloInUso"), "0") << "a fallback of 0 is put in use like any other";
}

// Another process holds the store's write lock at a boundary: what is in force stays, tried again every so many ticks.
TEST_F(ScheduledController, AStoreLockedAtABoundaryLiftsNothingAndIsTriedAgain) {
    sql("UPDATE Opzioni SET FasceOrarie = -1; UPDATE Profili SET Kiosk = -1 WHERE IDProfilo = 2;");
    controller.startUp();
    tickAt(9, 0, 0);
    core::Database other;
    ASSERT_TRUE(other.open(dir.file("DataBase/DataBase.db")) && other.exec("BEGIN EXCLUSIVE;"));
    store.connection.setBusyTimeout(20);
    tickAt(12, 30, 0);
    for (int i = 1; i < 2 * core::Controller::kProfileRetryTicks; ++i) {
        EXPECT_TRUE(i != core::Controller::kProfileRetryTicks + 1 || other.exec("COMMIT;"));
        controller.tickProfileRetry();
    }
    EXPECT_TRUE(controller.switches().kiosk) << "a store that cannot be read lifts nothing";
    controller.tickProfileRetry();
    EXPECT_EQ(stored("IDProfiloInUso"), "3") << "read at the second retry, not before";
}

TEST_F(ScheduledController, ThePolicysProfileWinsAndAChangeOfTheKeyIsInForceWithoutARestart) {
    // The policy's password is the only one: a store with none leaves no pupil's session waiting.
    sql("UPDATE Opzioni SET IDProfiloInUso = 2, PasswordAdmin = '';");
    // An unusable keyboard value: the store's switch stays, and may change.
    set({{policy::kAdminPasswordHash, core::hashPassword("Preside").value()}, {policy::kProfileInUse, "pomeriggio"},
         {policy::kVisitedSitesLog, "1"}, {policy::kOnScreenKeyboard, "on"}});
    controller.startUp();
    EXPECT_EQ(view.policyLocked, (core::PolicyLockedControls{true, false, false}));
    EXPECT_TRUE(view.policyText == "T0450 ProfileInUse" && !controller.storeLost());
    ASSERT_TRUE(controller.login("Preside") && !controller.savePassword("Nuova", "Nuova"));
    EXPECT_TRUE(dialogs.shown.back().messageId == msg::PasswordManaged && stored("PasswordAdmin").empty()) << "not changed here";
    controller.onProfileChosen("Mattina");
    EXPECT_EQ(controller.profileInUse(), 3) << "the combo cannot change the policy's profile";
    EXPECT_EQ(stored("IDProfiloInUso"), "2") << "the PC's own choice stays in the store";
    sql("UPDATE Opzioni SET IDProfiloInUso = 1, LogSiti = 0, TastieraVirtuale = -1;");
    controller.tickStoreChanges();
    EXPECT_TRUE(controller.profileInUse() == 3 && controller.logSwitch() && view.keyboardChecked)
        << "another process's change is followed, except where the policy speaks";
    sql("UPDATE Opzioni SET IDProfiloInUso = 2;");
    set({{policy::kProfileInUse, "Sera"}});
    controller.policyChanged();
    EXPECT_NE(journal.find("load sites -1"), -1) << "unknown: every page blocked";
    ASSERT_TRUE(registry.deleteValue(platform::RegRoot::LocalMachine, policy::kPolicyKey, policy::kProfileInUse));
    set({{policy::kAutostart, "0"}, {policy::kOnScreenKeyboard, "1"}});
    journal.entries.clear(); controller.policyChanged();
    EXPECT_EQ(view.policyText, "T0450 Autostart, OnScreenKeyboard");
    EXPECT_EQ(controller.profileInUse(), 2) << "the store's profile again";
    journal.entries.clear(); controller.policyChanged();
    EXPECT_EQ(journal.find("load sites 2"), -1) << "an unchanged key changes nothing";
    // The policy's slots choose, the store's switch off; an unknown slot profile blocks.
    set({{policy::kTimeSlots, "1"}, {policy::kSlot1From, "08:00"}, {policy::kSlot1To, "10:00"}, {policy::kSlot1Profile, "Pomeriggio"},
         {policy::kSlot2From, "10:00:01"}, {policy::kSlot2To, "12:00"}, {policy::kSlot2Profile, "Sera"}, {policy::kFallbackProfile, "Mattina"}});
    controller.policyChanged();
    for (const auto& [hour, profile] : {std::pair{9, 3LL}, {11, policy::kUnusableProfile}, {13, 2LL}}) {
        clock.time.hour = hour;
        controller.tickTimeSlots();
        EXPECT_EQ(controller.profileInUse(), profile) << hour;
    }
}

}  // namespace
}  // namespace ombrix::schedule

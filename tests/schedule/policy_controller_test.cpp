// The running program under the policy key: what it sets wins over the
// store, what it cannot use never lifts a restriction, and a change of the
// key is put in force without a restart.
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

class PolicyController : public ::testing::Test, protected test::ControllerRig {
protected:
    PolicyController() : ControllerRig(test::scheduleTexts() + "0365=T0365\r\n0450=T0450\r\n") {
        sql("INSERT INTO Profili (IDProfilo, Profilo) VALUES (2, 'Mattina'), (3, 'Pomeriggio');"
            "UPDATE Opzioni SET IDProfiloInUso = 2, PasswordAdmin = '" + core::hashPassword("Locale").value() + "';");
        controller.setProfileLists(&lists);
        controller.setTimeSlotSchedule(&schedule);
        schedule.setPolicy(&controller.machinePolicy());
    }
    void set(std::string_view name, const std::string& value) {
        ASSERT_TRUE(registry.writeString(platform::RegRoot::LocalMachine, policy::kPolicyKey, name, value));
    }
    std::string stored(const char* column) {
        return core::ReadField(store.connection, "Opzioni", column, core::kOptionsRow).toText();
    }

    test::QuickPasswords quick;
    test::FakeClock clock;
    StoredSchedule schedule{store.connection, clock};
    core::Controller controller{machine(), store};
};

TEST_F(PolicyController, ThePolicysProfileWinsAndAChangeOfTheKeyIsInForceWithoutARestart) {
    set(policy::kProfileInUse, "pomeriggio");
    set(policy::kVisitedSitesLog, "1");
    set(policy::kOnScreenKeyboard, "on");  // unusable: the store's switch stays, and may change
    controller.startUp();
    EXPECT_EQ(view.policyLocked, (core::PolicyLockedControls{true, false, false}));
    EXPECT_EQ(view.policyText, "T0450 ProfileInUse");
    EXPECT_EQ(controller.profileInUse(), 3);
    EXPECT_TRUE(controller.logSwitch());
    controller.onProfileChosen("Mattina");
    EXPECT_EQ(controller.profileInUse(), 3) << "the combo cannot change the policy's profile";
    EXPECT_EQ(stored("IDProfiloInUso"), "2") << "the PC's own choice stays in the store";
    // What another process commits is followed, except where the policy speaks.
    sql("UPDATE Opzioni SET IDProfiloInUso = 1, LogSiti = 0, TastieraVirtuale = -1;");
    controller.tickStoreChanges();
    EXPECT_EQ(controller.profileInUse(), 3);
    EXPECT_TRUE(controller.logSwitch());
    EXPECT_TRUE(view.keyboardChecked);
    sql("UPDATE Opzioni SET IDProfiloInUso = 2;");

    set(policy::kProfileInUse, "Sera");
    journal.entries.clear();
    controller.policyChanged();
    EXPECT_TRUE(journal.inOrder({"lists profile 2", "load sites -1", "load processes"}))
        << "unknown: every page blocked, the store's profile's programs forbidden";
    ASSERT_TRUE(registry.deleteValue(platform::RegRoot::LocalMachine, policy::kPolicyKey, policy::kProfileInUse));
    set(policy::kAutostart, "0");
    set(policy::kOnScreenKeyboard, "1");
    journal.entries.clear();
    controller.policyChanged();
    EXPECT_EQ(view.policyLocked, (core::PolicyLockedControls{false, true, true}));
    EXPECT_EQ(view.policyText, "T0450 Autostart, OnScreenKeyboard");
    EXPECT_TRUE(journal.inOrder({"lists profile 2", "load sites 2"})) << "the store's profile again";
    journal.entries.clear();
    controller.policyChanged();
    EXPECT_EQ(journal.find("load sites 2"), -1) << "an unchanged key changes nothing";
}

TEST_F(PolicyController, ThePolicysSlotsChooseAndAnUnknownSlotProfileBlocks) {
    for (const auto& [name, value] : {std::pair{policy::kTimeSlots, "1"}, {policy::kSlot1From, "08:00"},
                                      {policy::kSlot1To, "10:00"}, {policy::kSlot1Profile, "Pomeriggio"},
                                      {policy::kSlot2From, "10:00:01"}, {policy::kSlot2To, "12:00"},
                                      {policy::kSlot2Profile, "Sera"}, {policy::kFallbackProfile, "Mattina"}}) {
        set(name, value);
    }
    controller.startUp();
    ASSERT_TRUE(controller.timeSlotScheduleInForce()) << "the store's switch is off";
    for (const auto& [hour, profile] : {std::pair{9, 3LL}, {11, policy::kUnusableProfile}, {13, 2LL}}) {
        clock.time.hour = hour;
        controller.tickTimeSlots();
        EXPECT_EQ(controller.profileInUse(), profile) << hour;
    }
}

// A password the policy sets is the only one, and chosen: a pupil's session
// on a PC whose store has none yet is not left waiting for an administrator.
TEST_F(PolicyController, ThePolicysPasswordIsTheOnlyOneAndCannotBeChangedHere) {
    sql("UPDATE Opzioni SET PasswordAdmin = '';");
    set(policy::kAdminPasswordHash, core::hashPassword("Preside").value());
    controller.startUp();
    EXPECT_FALSE(controller.storeLost());
    EXPECT_FALSE(controller.login("Locale"));
    EXPECT_TRUE(controller.login("Preside"));
    EXPECT_FALSE(controller.savePassword("Nuova", "Nuova"));
    ASSERT_EQ(dialogs.shown.size(), 1u);
    EXPECT_EQ(dialogs.shown[0].messageId, msg::PasswordManaged);
    EXPECT_EQ(stored("PasswordAdmin"), "");

    // An unusable hash leaves the PC's password in force, still not to be changed here.
    controller.lock();
    sql("UPDATE Opzioni SET PasswordAdmin = '" + core::hashPassword("Locale").value() + "';");
    set(policy::kAdminPasswordHash, "Preside");
    controller.policyChanged();
    EXPECT_FALSE(controller.login("Preside"));
    EXPECT_TRUE(controller.login("Locale"));
    EXPECT_FALSE(controller.savePassword("Nuova", "Nuova"));
}

}  // namespace
}  // namespace ombrix::schedule

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
    PolicyController() : ControllerRig(test::scheduleTexts() + "0365=T0365\r\n") {
        sql("INSERT INTO Profili (IDProfilo, Profilo) VALUES (2, 'Mattina'), (3, 'Pomeriggio');"
            "UPDATE Opzioni SET IDProfiloInUso = 2, PasswordAdmin = '" + core::hashPassword("Locale").value() + "';");
        controller.setProfileLists(&lists);
        controller.setTimeSlotSchedule(&schedule);
        schedule.setPolicy(&controller.machinePolicy());
        clock.time = {2026, 11, 23, 9, 0, 0};
    }
    void set(std::string_view name, const std::string& value) {
        ASSERT_TRUE(registry.writeString(platform::RegRoot::LocalMachine, policy::kPolicyKey, name, value));
    }
    long long storedProfile() {
        core::Database db;
        EXPECT_TRUE(db.open(dir.file("DataBase/DataBase.db")));
        return core::ReadField(db, "Opzioni", "IDProfiloInUso", core::kOptionsRow).toInteger();
    }

    test::QuickPasswords quick;
    test::FakeClock clock;
    StoredSchedule schedule{store.connection, clock};
    core::Controller controller{machine(), store};
};

TEST_F(PolicyController, ThePolicysProfileWinsAndTheComboCannotChangeIt) {
    set(policy::kProfileInUse, "pomeriggio");
    set(policy::kVisitedSitesLog, "1");
    set(policy::kOnScreenKeyboard, "1");
    ASSERT_EQ(controller.startUp(), core::Controller::StartResult::Running);
    EXPECT_EQ(controller.profileInUse(), 3);
    EXPECT_NE(journal.find("load sites 3"), -1);
    EXPECT_TRUE(controller.logSwitch());
    EXPECT_TRUE(view.keyboardChecked);

    controller.onProfileChosen("Mattina");
    EXPECT_EQ(controller.profileInUse(), 3);
    EXPECT_EQ(storedProfile(), 2) << "the PC's own choice stays in the store";
}

TEST_F(PolicyController, AnUnknownProfileBlocksEveryPageAndKeepsTheStoresProgramsForbidden) {
    set(policy::kProfileInUse, "Sera");
    controller.startUp();
    EXPECT_EQ(controller.profileInUse(), 2);
    EXPECT_TRUE(journal.inOrder({"lists profile 2", "load sites -1", "load processes"}));
}

TEST_F(PolicyController, ThePolicysSlotsChooseAndAnUnknownSlotProfileBlocks) {
    set(policy::kTimeSlots, "1");
    set(policy::kSlot1From, "08:00");
    set(policy::kSlot1To, "10:00");
    set(policy::kSlot1Profile, "Pomeriggio");
    set(policy::kSlot2From, "10:00:01");
    set(policy::kSlot2To, "12:00");
    set(policy::kSlot2Profile, "Sera");
    set(policy::kFallbackProfile, "Mattina");
    controller.startUp();
    ASSERT_TRUE(controller.timeSlotScheduleInForce()) << "the store's switch is off";
    const struct {
        int h;
        long long profile;
    } ticks[] = {{9, 3}, {11, policy::kUnusableProfile}, {13, 2}};
    for (const auto& t : ticks) {
        clock.time.hour = t.h;
        controller.tickTimeSlots();
        EXPECT_EQ(controller.profileInUse(), t.profile) << t.h;
    }
}

TEST_F(PolicyController, AChangeOfTheKeyIsInForceWithoutARestart) {
    controller.startUp();
    ASSERT_EQ(controller.profileInUse(), 2);
    set(policy::kProfileInUse, "Pomeriggio");
    controller.policyChanged();
    EXPECT_EQ(controller.profileInUse(), 3);
    EXPECT_NE(journal.find("load sites 3"), -1);

    set(policy::kProfileInUse, "Sera");
    journal.entries.clear();
    controller.policyChanged();
    EXPECT_TRUE(journal.inOrder({"lists profile 2", "load sites -1"})) << "unknown: every page blocked";

    ASSERT_TRUE(registry.deleteValue(platform::RegRoot::LocalMachine, policy::kPolicyKey, policy::kProfileInUse));
    journal.entries.clear();
    controller.policyChanged();
    EXPECT_EQ(controller.profileInUse(), 2) << "the store's profile again";
    EXPECT_NE(journal.find("load sites 2"), -1);
    journal.entries.clear();
    controller.policyChanged();
    EXPECT_EQ(journal.find("load sites 2"), -1) << "an unchanged key changes nothing";
}

TEST_F(PolicyController, ThePolicysPasswordIsTheOnlyOneAndCannotBeChangedHere) {
    set(policy::kAdminPasswordHash, core::hashPassword("Preside").value());
    controller.startUp();
    EXPECT_FALSE(controller.login("Locale"));
    EXPECT_TRUE(controller.login("Preside"));
    EXPECT_FALSE(controller.savePassword("Nuova", "Nuova"));
    ASSERT_EQ(dialogs.shown.size(), 1u);
    EXPECT_EQ(dialogs.shown[0].messageId, msg::PasswordManaged);
    EXPECT_TRUE(core::passwordMatches(core::ReadField(store.connection, "Opzioni", "PasswordAdmin", core::kOptionsRow).toText(),
                                      "Locale"));

    // An unusable hash leaves the PC's password in force, still not to be changed here.
    controller.lock();
    set(policy::kAdminPasswordHash, "Preside");
    controller.policyChanged();
    EXPECT_FALSE(controller.login("Preside"));
    EXPECT_TRUE(controller.login("Locale"));
    EXPECT_FALSE(controller.savePassword("Nuova", "Nuova"));
}

}  // namespace
}  // namespace ombrix::schedule

// The policy key as Group Policy leaves it, read against a store's profiles.
#include "core/machine_policy.h"

#include <gtest/gtest.h>

#include "core/password.h"
#include "core/policy_names.h"
#include "core/schema.h"
#include "core/store.h"
#include "fakes/fixtures.h"
#include "platform/file_registry.h"

namespace ombrix::core::policy {
namespace {

class MachinePolicyTest : public ::testing::Test {
protected:
    MachinePolicyTest() {
        EXPECT_TRUE(createDeliveredDatabase(path));
        EXPECT_TRUE(db.open(path));
        EXPECT_TRUE(db.exec("INSERT INTO Profili (IDProfilo, Profilo) VALUES (2, 'Scuola'), (3, 'Città'), (4, 'doppio'),"
                            " (5, 'DOPPIO');"));
    }
    void set(std::string_view name, const std::string& value) {
        ASSERT_TRUE(registry.writeString(platform::RegRoot::LocalMachine, kPolicyKey, name, value));
    }

    test::QuickPasswords quick;
    test::TempDir dir;
    std::string path = dir.file("DataBase.db");
    Database db;
    platform::FileRegistry registry;
};

TEST_F(MachinePolicyTest, NothingSetLeavesEverySettingToTheStore) {
    const MachinePolicy p = readMachinePolicy(registry, db);
    EXPECT_EQ(p, MachinePolicy{});
    EXPECT_FALSE(passwordManaged(registry));
}

TEST_F(MachinePolicyTest, EachValueIsUsedOrRefusedOnItsOwn) {
    const std::string hash = hashPassword("Preside").value();
    set(kAdminPasswordHash, hash);
    set(kProfileInUse, "città");
    set(kTimeSlots, "1");
    set(kSlot1From, "08:00");
    set(kSlot1To, "12:30:15");
    set(kSlot1Profile, "SCUOLA");
    set(kSlot2From, "");
    set(kSlot2Profile, "");
    set(kSlot3From, "8:00");    // one digit: refused
    set(kSlot3To, "24:00");     // no such time
    set(kSlot3Profile, "doppio");  // two profiles answer
    set(kFallbackProfile, "Nessuno");
    set(kAutostart, "0");
    set(kOnScreenKeyboard, "yes");
    set(kManagedProfilesSha256, std::string(63, 'a') + "g");

    const MachinePolicy p = readMachinePolicy(registry, db);
    EXPECT_EQ(p.passwordHash, hash);
    EXPECT_EQ(p.profileInUse, 3) << "names compare as the store compares them";
    EXPECT_EQ(p.timeSlots, true);
    EXPECT_EQ(p.slots[0].from, 8 * 3600);
    EXPECT_EQ(p.slots[0].to, 12 * 3600 + 30 * 60 + 15);
    EXPECT_EQ(p.slots[0].profile, 2);
    EXPECT_EQ(p.slots[1].from, 0) << "empty: the slot is not used";
    EXPECT_EQ(p.slots[1].to, std::nullopt) << "missing: the store's";
    EXPECT_EQ(p.slots[1].profile, 0);
    EXPECT_EQ(p.slots[2].from, std::nullopt) << "malformed: the store's";
    EXPECT_EQ(p.slots[2].to, std::nullopt);
    EXPECT_EQ(p.slots[2].profile, kUnusableProfile) << "an unusable profile blocks";
    EXPECT_EQ(p.fallbackProfile, kUnusableProfile);
    EXPECT_EQ(p.autostart, false);
    EXPECT_EQ(p.onScreenKeyboard, std::nullopt);
    EXPECT_EQ(p.visitedSitesLog, std::nullopt);

    std::vector<std::string_view> refused;
    for (const Refusal& r : p.refusals) refused.push_back(r.value);
    EXPECT_EQ(refused, (std::vector<std::string_view>{kSlot3From, kSlot3To, kSlot3Profile, kFallbackProfile,
                                                      kOnScreenKeyboard, kManagedProfilesSha256}));
}

TEST_F(MachinePolicyTest, AnUnusableProfileInUseOrHashIsMarked) {
    struct Case {
        const char* hash;
        bool usable;
    };
    const std::string good = hashPassword("Preside").value();
    const Case cases[] = {{"Preside", false},
                          {"pbkdf2-sha256$10$00$zz", false},
                          {good.c_str(), true},
                          {"", false}};
    set(kProfileInUse, "Sconosciuto");
    for (const Case& c : cases) {
        set(kAdminPasswordHash, c.hash);
        const MachinePolicy p = readMachinePolicy(registry, db);
        EXPECT_TRUE(p.passwordManaged) << c.hash;
        EXPECT_EQ(p.passwordHash.has_value(), c.usable) << c.hash;
        EXPECT_EQ(passwordHashInForce(registry).has_value(), c.usable) << c.hash;
        EXPECT_EQ(p.profileInUse, std::nullopt);
        EXPECT_TRUE(p.profileInUseUnusable);
    }
    // A hash made with less work than the program's is refused too.
    setPasswordWorkForTests(kPasswordIterations);
    EXPECT_FALSE(readMachinePolicy(registry, db).passwordHash.has_value());
}

}  // namespace
}  // namespace ombrix::core::policy

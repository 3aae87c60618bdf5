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
struct MachinePolicyTest : ::testing::Test {
    MachinePolicyTest() {
        EXPECT_TRUE(createDeliveredDatabase(path) && db.open(path) &&
                    db.exec("INSERT INTO Profili (IDProfilo, Profilo) VALUES (2, 'Scuola'), (3, 'Città'), (4, 'doppio'), (5, 'DOPPIO');"));
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

TEST_F(MachinePolicyTest, EachValueIsUsedOrRefusedOnItsOwn) {
    const std::string hash = hashPassword("Preside").value();
    // Slot 3: one digit, no such time, two profiles answer.
    for (const auto& [name, value] : std::initializer_list<std::pair<std::string_view, std::string>>{
             {kAdminPasswordHash, hash}, {kProfileInUse, "città"}, {kTimeSlots, "1"}, {kSlot1From, "08:00"},
             {kSlot1To, "12:30:15"}, {kSlot1Profile, "SCUOLA"}, {kSlot2From, ""}, {kSlot2Profile, ""},
             {kSlot3From, "8:00"}, {kSlot3To, "24:00"}, {kSlot3Profile, "doppio"}, {kFallbackProfile, "Nessuno"},
             {kAutostart, "0"}, {kOnScreenKeyboard, "yes"}, {kManagedProfilesSha256, std::string(63, 'a') + "g"}}) {
        set(name, value);
    }
    const MachinePolicy p = readMachinePolicy(registry, db);
    EXPECT_TRUE(p.passwordHash == hash && p.timeSlots == true);
    EXPECT_EQ(p.profileInUse, 3) << "names compare as the store compares them";
    // Empty: not used; missing or malformed: the store's; an unusable profile blocks.
    EXPECT_EQ(p.slots, (std::array<Slot, 3>{{{8 * 3600, 12 * 3600 + 30 * 60 + 15, 2}, {0, std::nullopt, 0},
                                             {std::nullopt, std::nullopt, kUnusableProfile}}}));
    EXPECT_TRUE(p.fallbackProfile == kUnusableProfile && p.autostart == false && !p.onScreenKeyboard);
    std::vector<std::string_view> refused;
    for (const Refusal& r : p.refusals) refused.push_back(r.value);
    EXPECT_EQ(refused, (std::vector<std::string_view>{kSlot3From, kSlot3To, kSlot3Profile, kFallbackProfile,
                                                      kOnScreenKeyboard, kManagedProfilesSha256}));
}

// A slot the slots' editor would refuse is refused whole, and its hours block.
TEST_F(MachinePolicyTest, ASlotTheEditorWouldRefuseIsRefusedWhole) {
    const std::array<std::string_view, 6> names{kSlot1From, kSlot1To, kSlot2From, kSlot2To, kSlot3From, kSlot3To};
    const std::pair<std::array<const char*, 6>, std::size_t> cases[] = {  // the times; the slot refused, 1-based
        {{"10:00", "08:00", "", "", "", ""}, 1},          {{"08:00", "08:00", "", "", "", ""}, 1},
        {{"08:00", "10:00", "09:59:59", "12:00", "", ""}, 2}, {{"", "", "09:00", "12:00", "", ""}, 2},
        {{"08:00", "10:00", "10:00", "12:00", "11:00", "13:00"}, 3},
        {{"00:00", "10:00", "10:00", "12:00", "12:00", "13:00"}, 0},
    };
    for (const auto& [times, slot] : cases) {
        for (std::size_t i = 0; i < names.size(); ++i) set(names[i], times[i]);
        set(kSlot2Profile, "Scuola");
        const MachinePolicy p = readMachinePolicy(registry, db);
        std::vector<std::string_view> refused;
        for (const Refusal& r : p.refusals) refused.push_back(r.value);
        EXPECT_EQ(refused, slot == 0 ? std::vector<std::string_view>{} : std::vector{names[(slot - 1) * 2]}) << times[2];
        EXPECT_TRUE(slot == 0 || p.slots[slot - 1] == (Slot{std::nullopt, std::nullopt, kUnusableProfile})) << times[2];
    }
}
}  // namespace
}  // namespace ombrix::core::policy

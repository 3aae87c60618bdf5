// ombrixctl policy show, and the commands refused while the policy sets their value.
#include <gtest/gtest.h>

#include "app/ctl_fixture.h"
#include "core/controller.h"
#include "core/guard_service.h"
#include "core/policy_names.h"
#include "core/schema.h"
#include "core/settings_reg.h"

namespace ombrix::app {
namespace {

namespace policy = core::policy;

class CtlPolicy : public CtlFixture {
protected:
    CtlPolicy() {
        EXPECT_TRUE(core::createDeliveredDatabase(db));
        sql(db, "INSERT INTO Profili (IDProfilo, Profilo) VALUES (2, 'Scuola');"
                "UPDATE Fasce SET Fascia1Dalle = '08:00:00', Fascia1Alle = '12:00:00', Fascia1Profilo = 2;");
    }
    void set(std::string_view name, const std::string& value) {
        ASSERT_TRUE(registry.writeString(platform::RegRoot::LocalMachine, policy::kPolicyKey, name, value));
    }
    // The line of one setting in policy show's output.
    std::string line(std::string_view name) {
        const std::string text = out.str();
        const std::size_t at = text.find(std::string(name) + "\t");
        return at == std::string::npos ? "" : text.substr(at, text.find('\n', at) - at);
    }
};

TEST_F(CtlPolicy, ShowGivesEachSettingWithItsSourceAndFailsOnAnUnusableValue) {
    ASSERT_EQ(run({"policy", "show"}), kOk) << err.str();
    EXPECT_EQ(line(policy::kProfileInUse), "ProfileInUse\tstore\tNessuna restrizione #1");
    EXPECT_EQ(line(policy::kSlot1Profile), "Slot1Profile\tstore\tScuola #2");
    set(policy::kProfileInUse, "scuola");
    set(policy::kSlot1To, "11:30");
    set(policy::kAdminPasswordHash, "segreta");
    set(policy::kManagedProfilesPath, "\\\\server\\ombrix\\scuola.txt");
    EXPECT_EQ(run({"policy", "show"}), kRefused);
    EXPECT_EQ(line(policy::kProfileInUse), "ProfileInUse\tpolicy\tScuola #2");
    EXPECT_EQ(line(policy::kSlot1From), "Slot1From\tstore\t08:00:00");
    EXPECT_EQ(line(policy::kSlot1To), "Slot1To\tpolicy\t11:30:00");
    EXPECT_EQ(line(policy::kAdminPasswordHash), "AdminPasswordHash\tstore\tnot set");
    // Backslashes escaped, as everything ombrixctl prints from outside.
    EXPECT_EQ(line(policy::kManagedProfilesPath), "ManagedProfilesPath\tpolicy\t" R"(\\\\server\\ombrix\\scuola.txt)");
    EXPECT_NE(err.str().find("AdminPasswordHash (\"...\") is not used: not a password hash"), std::string::npos)
        << err.str();
    EXPECT_EQ(err.str().find("segreta"), std::string::npos) << "what stands for a password is never shown";
    registry.writeString(platform::RegRoot::LocalMachine, core::kGuardServiceKey, "ImagePath", "ombrixguard.exe");
    set(policy::kAutostart, "0");
    run({"policy", "show"});
    EXPECT_EQ(line(policy::kAutostart), "Autostart\tservice\ton") << "the service starts it all the same";
}

// While the policy sets a value, a change of the store's is refused with
// the value's name, and the store and the Run entry stay as they were.
TEST_F(CtlPolicy, ChangesToWhatThePolicySetsAreRefused) {
    const struct {
        std::string_view value;
        const char* setting;
        std::vector<std::string> command;
    } cases[] = {
        {policy::kAutostart, "1", {"autostart", "off"}},
        {policy::kOnScreenKeyboard, "0", {"option", "keyboard", "on"}},
        {policy::kProfileInUse, "Sconosciuto", {"use", "Scuola"}},
        {policy::kTimeSlots, "1", {"slots", "off"}},
        {policy::kSlot2Profile, "Scuola", {"slots", "clear", "2"}},
        {policy::kFallbackProfile, "", {"slots", "fallback", "Scuola"}},
    };
    ASSERT_TRUE(registry.writeString(platform::RegRoot::LocalMachine, core::kRunKey, core::kProgramTitle, "x"));
    for (const auto& c : cases) {
        set(c.value, c.setting);
        const auto entry = registry.readValue(platform::RegRoot::LocalMachine, core::kRunKey, core::kProgramTitle);
        refused(c.command, "0450: ");
        EXPECT_NE(err.str().find(std::string(c.value)), std::string::npos) << err.str();
        EXPECT_EQ(registry.readValue(platform::RegRoot::LocalMachine, core::kRunKey, core::kProgramTitle), entry);
        ASSERT_TRUE(registry.deleteValue(platform::RegRoot::LocalMachine, policy::kPolicyKey, c.value));
        EXPECT_EQ(run(c.command), kOk) << c.value << ": " << err.str();
    }
}

}  // namespace
}  // namespace ombrix::app

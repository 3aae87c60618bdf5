// ombrixctl slots and policy show, and the commands refused while the policy sets their value.
#include <gtest/gtest.h>
#include "app/ctl_fixture.h"
#include "core/controller.h"
#include "core/policy_names.h"
#include "core/schema.h"
#include "core/settings_reg.h"
#include "schedule/schedule_texts.h"

namespace ombrix::app {
namespace {
namespace policy = core::policy;

struct CtlSlots : CtlFixture {
    CtlSlots() : CtlFixture(test::scheduleTexts()) {
        EXPECT_TRUE(core::createDeliveredDatabase(db));
        sql(db, "INSERT INTO Profili (IDProfilo, Profilo) VALUES (2, 'Scuola'), (3, 'Chiosco'), (4, '" +
                    std::string(test::kEmpty) + "');");
    }
    int slots(std::vector<std::string> args) { return args.insert(args.begin(), "slots"), run(args); }
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

// A profile may bear the name of the editor's empty entry: it is chosen as any other.
TEST_F(CtlSlots, SetClearFallbackAndTheSwitch) {
    refused({"slots", "on"}, "0250: T0250\n");  // no slot 1 yet
    for (const std::vector<std::string>& args :
         {std::vector<std::string>{"set", "1", "8:00", "12:00", "scuola"}, {"set", "2", "12:00", "13:00:15", test::kEmpty},
          {"set", "3", "13:30", "14:00", "#3"}, {"fallback", "Nessuna restrizione"}, {"on"}}) {
        EXPECT_EQ(slots(args), kOk) << err.str();
    }
    EXPECT_EQ(said({"slots", "show"}), std::string("0 FasceOrarie\ton\n1\t08:00\t12:00\tScuola\n2\t12:00\t13:00:15\t") +
                                           test::kEmpty + "\n3\t13:30\t14:00\tChiosco\nProfiloFasceNonDefinite\tNessuna restrizione\n");
    // Switched on, no fallback profile is said to block every page outside the slots.
    EXPECT_TRUE(slots({"fallback", "-"}) == kOk && err.str() == "0356: T0356\n");
    refused({"slots", "clear", "2"}, "0276: ");  // slot 3 would stand without slot 2
    EXPECT_TRUE(slots({"clear", "3"}) == kOk && slots({"clear", "2"}) == kOk && slots({"off"}) == kOk) << err.str();
    EXPECT_EQ(said({"slots", "show"}), "0 FasceOrarie\toff\n1\t08:00\t12:00\tScuola\n2\t-\t-\t-\n3\t-\t-\t-\nProfiloFasceNonDefinite\t-\n");
}

TEST_F(CtlSlots, RefusalsNameTheEditorsMessagesAndStoreNothing) {
    ASSERT_EQ(slots({"set", "1", "08:00", "12:00", "Scuola"}), kOk);
    const struct {
        std::vector<std::string> args;
        const char* said;
        int status = kRefused;
    } cases[] = {
        {{"set", "4", "12:00", "12:30", "-"}, "the slot is 1, 2 or 3", kUsage}, {{"clear", "0"}, "the slot is 1, 2 or 3", kUsage},
        {{"set", "1", "12:00"}, "slots set: wrong arguments", kUsage}, {{"show", "1"}, "slots show: wrong arguments", kUsage},
        {{"on", "1"}, "slots on: wrong arguments", kUsage}, {{"fallback"}, "slots fallback: wrong arguments", kUsage},
        {{"fallback", "Nessuno"}, "no profile is named Nessuno"}, {{"sometimes"}, "slots sometimes", kUsage},
    };
    for (auto c : cases) c.args.insert(c.args.begin(), "slots"), refused(c.args, "ombrixctl: " + std::string(c.said), {}, c.status);
}

TEST_F(CtlSlots, ShowGivesEachSettingWithItsSourceAndFailsOnAnUnusableValue) {
    sql(db, "UPDATE Fasce SET Fascia1Dalle = '08:00:00', Fascia1Alle = '12:00:00', Fascia1Profilo = 2;");
    ASSERT_EQ(run({"policy", "show"}), kOk) << err.str();
    EXPECT_EQ(line(policy::kProfileInUse), "ProfileInUse\tstore\tNessuna restrizione #1");
    EXPECT_EQ(line(policy::kSlot1Profile), "Slot1Profile\tstore\tScuola #2");
    set(policy::kSlot1To, "11:30"), set(policy::kAdminPasswordHash, "segreta");
    set(policy::kManagedProfilesPath, "\\\\server\\ombrix\\scuola.txt");
    EXPECT_EQ(run({"policy", "show"}), kRefused);
    EXPECT_EQ(line(policy::kSlot1To), "Slot1To\tpolicy\t11:30:00");
    EXPECT_EQ(line(policy::kAdminPasswordHash), "AdminPasswordHash\tstore\tnot set");
    // Backslashes escaped, as everything ombrixctl prints from outside.
    EXPECT_EQ(line(policy::kManagedProfilesPath), "ManagedProfilesPath\tpolicy\t" R"(\\\\server\\ombrix\\scuola.txt)");
    EXPECT_NE(err.str().find("AdminPasswordHash (\"...\") is not used: not a password hash"), std::string::npos) << err.str();
    EXPECT_EQ(err.str().find("segreta"), std::string::npos) << "what stands for a password is never shown";
}

// While the policy sets a value, a change is refused with its name; the store and the Run entry stay as they were.
TEST_F(CtlSlots, ChangesToWhatThePolicySetsAreRefused) {
    const std::tuple<std::string_view, const char*, std::vector<std::string>> cases[] = {  // value, setting, command
        {policy::kOnScreenKeyboard, "0", {"option", "keyboard", "on"}},
        {policy::kProfileInUse, "Sconosciuto", {"use", "Scuola"}},
        {policy::kSlot2Profile, "Scuola", {"slots", "clear", "2"}},
        {policy::kFallbackProfile, "", {"slots", "fallback", "Scuola"}},
        {policy::kAutostart, "1", {"autostart", "off"}},
    };
    ASSERT_TRUE(registry.writeString(platform::RegRoot::LocalMachine, core::kRunKey, core::kProgramTitle, "x"));
    for (const auto& [value, setting, command] : cases) {
        set(value, setting);
        refused(command, "0450: ");
        EXPECT_NE(err.str().find(std::string(value)), std::string::npos) << err.str();
        EXPECT_EQ(registry.readValue(platform::RegRoot::LocalMachine, core::kRunKey, core::kProgramTitle), "x");
        ASSERT_TRUE(registry.deleteValue(platform::RegRoot::LocalMachine, policy::kPolicyKey, value));
        EXPECT_EQ(run(command), kOk) << value << ": " << err.str();
    }
}
}  // namespace
}  // namespace ombrix::app

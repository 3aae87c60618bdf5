// ombrixctl install, protect, restore, password, service, option, autostart, slots and policy: the machine's own.
#include <gtest/gtest.h>
#include <filesystem>
#include "app/ctl_fixture.h"
#include "core/guard_service.h"
#include "core/password.h"
#include "core/policy_names.h"
#include "core/schema.h"
#include "core/settings_reg.h"
#include "core/store.h"
#include "core/store_location.h"
#include "schedule/schedule_texts.h"

namespace ombrix::app {
namespace {
using platform::RegRoot;

struct CtlInstall : CtlFixture {
    CtlInstall() : CtlFixture("0090=Database non trovato\r\n0395=Impronta non valida.\r\n") {
        std::filesystem::create_directory(dir.path() / "C");
        system.env = {{"SYSTEMDRIVE", dir.file("C")}};
    }
    std::string machineValue(std::string_view name) { return registry.readValue(RegRoot::LocalMachine, machineKey, name).value_or("-"); }
    const std::string machineKey = core::settingsKey(core::kProgramTitle, core::kStoreSection);
    std::string folder = pathToUtf8(dir.path() / "C" / "Ombrix" / "DataBase");
    std::string store = pathToUtf8(dir.path() / "C" / "Ombrix" / "DataBase" / "DataBase.db");
};

// Made where the machine's key names no store, with the hash; a later run without one keeps both.
TEST_F(CtlInstall, MakesTheStoreInTheMachinesFolderThenKeepsItAndARefusedHashChangesNothing) {
    const std::string hash = core::hashPassword("Prova Uno1", "salt", 10).value();
    EXPECT_EQ(shown(ctl({"install", "--password-hash", hash + "0"})), "1 0395: Impronta non valida.\n");
    EXPECT_TRUE(!std::filesystem::exists(dir.path() / "C" / "Ombrix") && machineValue(core::kStoreKey) == "-");
    ASSERT_TRUE(registry.writeString(RegRoot::LocalMachine, machineKey, core::kStoreKey, dir.file("altrove")));
    EXPECT_EQ(shown(ctl({"install", "--password-hash", hash})), "0 made\t" + store + "\n");
    EXPECT_EQ(machineValue(core::kStoreKey) + machineValue(core::kPasswordChosenValue), folder + "1");
    EXPECT_TRUE(std::filesystem::is_directory(folder + "/Registro"));
    sql(store, "INSERT INTO Profili (IDProfilo, Profilo) VALUES (2, 'Classe');");
    EXPECT_EQ(shown(ctl({"install", "--password-hash", ""})), "0 kept\t" + store + "\n");
    {  // closed before the folder goes: Windows removes no open file
        core::Database d;
        EXPECT_TRUE(d.open(store) && d.scalar("SELECT PasswordAdmin || Profilo FROM Opzioni, Profili WHERE IDProfilo = 2;")
                                             .toText() == hash + "Classe");
    }
    system.env.clear(); std::filesystem::remove_all(dir.path() / "C" / "Ombrix");
    EXPECT_TRUE(ctl({"install"}) == kRefused && err.str().find("HOMEDRIVE") != std::string::npos) << err.str();
}

TEST_F(CtlInstall, ProtectMakesTheStoresFolderReadOnlyAndItsLogFolderWritableForUsers) {
    const std::string own = pathToUtf8(dir.path()), logFolder = dir.file("Registro");
    test::FakeFolderAccess fake;
    folderAccess = &fake;  // each failure told, and it stops there
    refused({"protect"}, "0090: Database non trovato " + db + "\n");
    ASSERT_TRUE(core::createDeliveredDatabase(db));
    for (int twice = 0; twice < 2; ++twice)  // an existing log folder is fine
        EXPECT_EQ(said({"protect"}), "0 read-only for users\t" + own + "\nwritable for users\t" + logFolder + "\n");
    std::filesystem::remove(logFolder);
    fake.refused[own] = "Access is denied.";
    EXPECT_EQ(said({"protect"}), "1 0345: The access list of the folder could not be set: " + own + ": Access is denied.\n");
    EXPECT_FALSE(std::filesystem::exists(logFolder)) << "nothing after the store's folder";
}

using State = GuardControl::State;

// The service as the control manager and its channel would answer; a non-empty `failure` fails start, stop and ask.
struct FakeGuard final : GuardControl {
    std::optional<State> now;
    std::string failure, reply, calls;
    std::optional<State> state(std::string& error) override { return error = "access denied", now; }
    bool start(std::string& error) override { return act("start", error); }
    bool stop(std::string& error) override { return act("stop", error); }
    std::optional<std::string> ask(const std::string& request, std::string& error) override {
        if (!act(request, error)) return std::nullopt;
        return request == "status" ? "session 1 running\n" : reply;
    }
    bool act(const std::string& what, std::string& error) { return calls += what, error = failure, failure.empty(); }
};

TEST_F(CtlFixture, ServiceStatusStartStopAndStandDown) {
    const std::tuple<std::string, std::optional<State>, std::string, std::string, std::string, std::string> cases[] = {
        {"status", State::Running, "", "", "0 service running\nsession 1 running\n", "status"},
        // Without the channel it still says the service runs.
        {"status", State::Running, "access denied", "", "0 service running\nsessions: unknown (access denied)\n", "status"},
        {"status", std::nullopt, "", "", "1 0441:", ""},
        {"start", State::Stopped, "access denied", "", "1 0441:", "start"},
        {"stand-down", State::Running, "", "ok", "0 ", "stand-down"},
        {"stand-down", State::Running, "", "refused: session 4 is not guarded", "1 0441:", "stand-down"},
        {"stand-down", State::Running, "not served by the guard", "", "1 0441:", "stand-down"},
        {"stand-down", State::Stopped, "", "", "0 ", ""},  // nothing to do
        {"pause", State::Running, "", "", "2 ombrixctl:", ""},
    };
    for (const auto& [word, state, failure, reply, said, calls] : cases) {  // said: a message by its number
        FakeGuard fake;
        fake.now = state; fake.failure = failure; fake.reply = reply; guard = &fake;
        const std::string all = shown(ctl({"service", word}));
        EXPECT_EQ(said.ends_with(':') ? all.substr(0, said.size()) : all, said) << word;
        EXPECT_EQ(fake.calls, calls) << word;
    }
    guard = nullptr;
}

TEST_F(CtlFixture, OptionsShowAndSetAndAStoreWithoutTheColumnIsSaid) {
    ASSERT_TRUE(core::createDeliveredDatabase(db));
    EXPECT_TRUE(run({"option", "keyboard", "on"}) == kOk && run({"option", "noprint", "off"}) == kOk);
    EXPECT_EQ(said({"option"}), "0 keyboard on\nnopopup off\nnoprint off\n");
    refused({"option", "colour", "on"}, "ombrixctl:", {}, kUsage);
    refused({"option", "keyboard", "si"}, "ombrixctl:", {}, kUsage);
    // A store of an older structure has no such column: said, and nothing written.
    sql(db, "ALTER TABLE Opzioni DROP COLUMN NoPopup;");
    refused({"option", "nopopup", "on"}, "0310:");
    EXPECT_EQ(said({"option"}).substr(0, 19), "1 keyboard on\n0313:");
}

// The Run entry names the program beside ombrixctl, only when it is there; not where the service starts it.
TEST_F(CtlFixture, AutostartIsTheRunEntryUnlessTheServiceStartsOmbrix) {
    const std::string program = dir.file("ombrix.exe");
    const auto said = [&](const std::vector<std::string>& args, int status) {
        EXPECT_EQ(ctl(args), status) << err.str();
        return out.str() + registry.readValue(RegRoot::LocalMachine, core::kRunKey, core::kProgramTitle).value_or("-");
    };
    EXPECT_EQ(said({"autostart", "on"}, kRefused), "-") << "no program, no entry";
    test::writeFile(program, "MZ");
    EXPECT_EQ(said({"autostart", "on"}, kOk), program);
    EXPECT_EQ(said({"autostart"}, kOk), "autostart on\n" + program);
    EXPECT_EQ(said({"autostart", "off"}, kOk), "-");
    EXPECT_EQ(said({"autostart"}, kOk), "autostart off\n-");
    EXPECT_EQ(said({"autostart", "yes"}, kUsage), "-");
    registry.writeString(RegRoot::LocalMachine, core::kGuardServiceKey, "ImagePath", "ombrixguard.exe");
    EXPECT_EQ(said({"autostart"}, kOk), "autostart service\n-");
    EXPECT_TRUE(said({"autostart", "on"}, kRefused) == "-" && err.str().rfind("0440: ", 0) == 0) << err.str();
}

struct CtlPassword : CtlFixture {
    CtlPassword() : CtlFixture("0143=La password non pu\xF2 essere vuota.\r\n0365=Gestita.\r\n") {
        EXPECT_TRUE(core::createDeliveredDatabase(db));
    }
    int password(const std::string& verb, const std::string& input) { return run({"password", verb}, input); }
    std::string stored() {
        core::Database d;
        return d.open(db) ? core::ReadField(d, "Opzioni", "PasswordAdmin", core::kOptionsRow).toText() : "";
    }
};

// One line, its break optional; UTF-16 as Notepad saves it. Refusals change nothing.
TEST_F(CtlPassword, SetThenCheckAndRefusalsChangeNothing) {
    EXPECT_EQ(password("check", "anything\n"), kRefused) << "no password set: nothing matches";
    EXPECT_TRUE(password("set", "Pass Word\r\n") == kOk && core::isPasswordHash(stored())) << err.str();
    for (const auto& [typed, status] : {std::pair<std::string, int>{"Pass Word", kOk}, {"Pass Word\n\n", kRefused},
                                        {"", kRefused}, {"due\nrighe\n", kRefused}, {std::string(1 << 20, 'a'), kRefused}}) {
        EXPECT_EQ(password("check", typed), status) << typed.substr(0, 20);
    }
    refused({"password", "set"}, "0143: La password non può essere vuota.\n", "   \n");
    refused({"password", "set"}, "", "due\nrighe\n");
    refused({"password", "reset"}, "ombrixctl:", "x", kUsage);
    ASSERT_EQ(password("set", std::string("\xFF\xFE" "C\0a\0f\0f\0\xE8\0 \0" "1\0\r\0\n\0", 20)), kOk) << err.str();
    EXPECT_EQ(password("check", "\xEF\xBB\xBF" "Caff\xC3\xA8 1\n"), kOk);
}

// Set on the machine's own store, the password marks the machine (a later store without one was
// replaced); a store named with --db does not. An installer names a variable of its environment.
TEST_F(CtlPassword, TheMachinesOwnStoreMarksTheMachineAndAnInstallerUsesAVariable) {
    const auto marked = [&] { return registry.readValue(RegRoot::LocalMachine, "SOFTWARE\\Ombrix\\Opzioni", "PasswordScelta"); };
    system.env["NUOVA"] = "Dal Setup";
    EXPECT_EQ(run({"password", "set", "--from-environment", "NUOVA"}, "ignored\n"), kOk) << err.str();
    EXPECT_TRUE(password("check", "Dal Setup") == kOk && !marked());
    refused({"password", "set", "--from-environment", "ASSENTE"}, "0143: ");
    std::filesystem::create_directories(dir.path() / "DataBase");
    ASSERT_TRUE(core::createDeliveredDatabase(dir.file("DataBase/DataBase.db")));
    system.major = 5;  // the store beside the program
    ASSERT_EQ(ctl({"password", "set"}, "Della Macchina\n"), kOk) << err.str();
    EXPECT_EQ(marked(), "1");
}

// At a terminal: a prompt on standard error, no echo while typing, one line.
TEST_F(CtlPassword, AtATerminalTheTypingIsNotEchoed) {
    struct : Terminal {
        std::vector<bool> echo;
        bool setEcho(bool on) override { return echo.push_back(on), true; }
    } terminal;
    std::istringstream in("Segreta\nnon letta\n");
    CtlEnvironment env{registry, platform::realFileSystem(), system, in, out, err, &terminal};
    EXPECT_EQ(shown(runCtl({"--db", db, "password", "set"}, env)), "0 Password: \n");
    EXPECT_EQ(terminal.echo, (std::vector<bool>{false, true}));
    EXPECT_EQ(password("check", "Segreta\n"), kOk);
}

TEST_F(CtlPassword, AMatchingCheckRenewsAWeakerHashAndStoreErrorsAreSaid) {
    const std::string weaker = core::hashPassword("Vecchia", "salt", core::passwordWork() - 1).value();
    sql(db, "UPDATE Opzioni SET PasswordAdmin = '" + weaker + "';");
    EXPECT_TRUE(password("check", "vecchia\n") == kRefused && stored() == weaker) << "a wrong password renews nothing";
    EXPECT_TRUE(password("check", "Vecchia\n") == kOk && !core::passwordNeedsRehash(stored())) << err.str();
    sql(db, "DROP TABLE Opzioni;");  // an unreadable store is not a wrong password
    for (const char* verb : {"check", "set"}) {
        EXPECT_TRUE(password(verb, "x\n") == kRefused && err.str().find("no such table: Opzioni") != std::string::npos) << err.str();
    }
}

// password hash prints what the policy takes; while the policy sets one, set is refused.
TEST_F(CtlPassword, HashPrintsWhatThePolicyTakesAndSetIsRefusedWhileItIsSet) {
    const std::pair<const char*, int> cases[] = {{"Preside\r\nPreside\r\n", kOk}, {"Preside", kOk},
                                                 {"Preside\nPresidE\n", kRefused}, {"Preside\nPreside\nx", kRefused}};
    for (const auto& [input, status] : cases) EXPECT_EQ(ctl({"password", "hash"}, input), status) << input;
    ASSERT_EQ(ctl({"password", "hash"}, "Preside"), kOk);
    const std::string hash = out.str().substr(0, out.str().size() - 1);
    EXPECT_TRUE(core::passwordMatches(hash, "Preside")) << hash;
    ASSERT_TRUE(registry.writeString(RegRoot::LocalMachine, core::policy::kPolicyKey, core::policy::kAdminPasswordHash, hash));
    refused({"password", "set"}, "0365: Gestita.\n", "Altra\n");
    EXPECT_TRUE(password("check", "Preside\n") == kOk && password("check", "Altra\n") == kRefused);
}

namespace policy = core::policy;

struct CtlSlots : CtlFixture {
    CtlSlots() : CtlFixture(test::scheduleTexts()) {
        EXPECT_TRUE(core::createDeliveredDatabase(db));
        sql(db, "INSERT INTO Profili (IDProfilo, Profilo) VALUES (2, 'Scuola'), (3, 'Chiosco'), (4, '" + std::string(test::kEmpty) + "');");
    }
    int slots(std::vector<std::string> args) { return args.insert(args.begin(), "slots"), run(args); }
    void set(std::string_view name, const std::string& value) {
        ASSERT_TRUE(registry.writeString(platform::RegRoot::LocalMachine, policy::kPolicyKey, name, value));
    }
    // The line of one setting in policy show's output.
    std::string line(std::string_view name) {
        const std::size_t at = out.str().find(std::string(name) + "\t");
        return at == std::string::npos ? "" : out.str().substr(at, out.str().find('\n', at) - at);
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
    for (auto c : cases) { c.args.insert(c.args.begin(), "slots"); refused(c.args, "ombrixctl: " + std::string(c.said), {}, c.status); }
}

TEST_F(CtlSlots, ShowGivesEachSettingWithItsSourceAndFailsOnAnUnusableValue) {
    sql(db, "UPDATE Fasce SET Fascia1Dalle = '08:00:00', Fascia1Alle = '12:00:00', Fascia1Profilo = 2;");
    ASSERT_EQ(run({"policy", "show"}), kOk) << err.str();
    EXPECT_EQ(line(policy::kSlot1Profile), "Slot1Profile\tstore\tScuola #2");
    set(policy::kSlot1To, "11:30"); set(policy::kAdminPasswordHash, "segreta");
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

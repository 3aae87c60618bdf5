#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "app/ctl_fixture.h"
#include "core/password.h"
#include "core/policy_names.h"
#include "core/schema.h"
#include "core/store.h"

namespace ombrix::app {
namespace {

class CtlPassword : public CtlFixture {
protected:
    CtlPassword() : CtlFixture("0143=La password non pu\xF2 essere vuota.\r\n0365=Gestita.\r\n") {
        EXPECT_TRUE(core::createDeliveredDatabase(db));
    }
    int password(const std::string& verb, const std::string& input) { return run({"password", verb}, input); }
    std::string stored() {
        core::Database d;
        EXPECT_TRUE(d.open(db));
        return core::valueOrDefault(core::ReadField(d, "Opzioni", "PasswordAdmin", core::kOptionsRow)).toText();
    }
};

// One line, its break optional; a file in any Windows encoding (as Notepad
// saves it) gives the text it holds. Refusals change nothing.
TEST_F(CtlPassword, SetThenCheckAndRefusalsChangeNothing) {
    EXPECT_EQ(password("check", "anything\n"), kRefused) << "no password set: nothing matches";
    EXPECT_EQ(password("set", "Pass Word\r\n"), kOk) << err.str();
    EXPECT_TRUE(core::isPasswordHash(stored()));
    for (const std::string& typed : {std::string("Pass Word\n"), std::string("Pass Word")}) {
        EXPECT_EQ(password("check", typed), kOk);
    }
    for (const std::string& bad : {std::string("Pass Word\n\n"), std::string(), std::string("due\nrighe\n"),
                                   std::string(1 << 20, 'a'), std::string("caff\xE8")}) {
        EXPECT_EQ(password("check", bad), kRefused) << bad.substr(0, 20);
    }
    refused({"password", "set"}, "0143: La password non può essere vuota.\n", "   \n");
    refused({"password", "set"}, "0361: ", "caff\xE8\n");  // a code page's bytes, not UTF-8
    refused({"password", "set"}, "", "due\nrighe\n");
    refused({"password", "reset"}, "ombrixctl:", "x", kUsage);
    for (const std::string& input : {std::string("\xEF\xBB\xBF" "Caff\xC3\xA8 1\r\n"),
                                     std::string("\xFF\xFE" "C\0a\0f\0f\0\xE8\0 \0" "1\0\r\0\n\0", 20),
                                     std::string("\xFE\xFF\0C\0a\0f\0f\0\xE8\0 \0" "1", 16)}) {
        ASSERT_EQ(password("set", "Altra\n"), kOk);
        ASSERT_EQ(password("set", input), kOk) << err.str();
        EXPECT_EQ(password("check", "Caff\xC3\xA8 1\n"), kOk);
        EXPECT_EQ(password("check", input), kOk);
    }
}

// Set on the machine's own store, the password marks the machine: a later
// store without one is a replaced store. A store named with --db does not.
// An installer gives the password through a variable of its environment.
TEST_F(CtlPassword, TheMachinesOwnStoreMarksTheMachineAndAnInstallerUsesAVariable) {
    const auto marked = [&] {
        return registry.readValue(platform::RegRoot::LocalMachine, "SOFTWARE\\Ombrix\\Opzioni", "PasswordScelta");
    };
    system.env["NUOVA"] = "Dal Setup";
    EXPECT_EQ(run({"password", "set", "--from-environment", "NUOVA"}, "ignored\n"), kOk) << err.str();
    EXPECT_EQ(password("check", "Dal Setup"), kOk);
    EXPECT_EQ(marked(), std::nullopt);
    refused({"password", "set", "--from-environment", "ASSENTE"}, "0143: ");
    refused({"password", "set", "--from-environment"}, "ombrixctl:", {}, kUsage);
    std::filesystem::create_directories(dir.path() / "DataBase");
    ASSERT_TRUE(core::createDeliveredDatabase(dir.file("DataBase/DataBase.db")));
    system.major = 5;  // the store beside the program
    ASSERT_EQ(ctl({"password", "set"}, "Della Macchina\n"), kOk) << err.str();
    EXPECT_EQ(marked(), "1");
}

class FakeTerminal final : public Terminal {
public:
    std::vector<bool> echo;
    bool setEcho(bool on) override {
        echo.push_back(on);
        return true;
    }
};

// At a terminal: a prompt on standard error, no echo while typing, one line.
TEST_F(CtlPassword, AtATerminalTheTypingIsNotEchoed) {
    FakeTerminal terminal;
    std::istringstream in("Segreta\nnon letta\n");
    CtlEnvironment env{registry, platform::realFileSystem(), system, in, out, err, &terminal};
    EXPECT_EQ(runCtl({"--db", db, "password", "set"}, env), kOk);
    EXPECT_EQ(err.str(), "Password: \n");
    EXPECT_EQ(terminal.echo, (std::vector<bool>{false, true}));
    EXPECT_EQ(password("check", "Segreta\n"), kOk);
}

TEST_F(CtlPassword, AMatchingCheckRenewsAWeakerHashAndStoreErrorsAreSaid) {
    const std::string weaker = core::hashPassword("Vecchia", "salt", core::passwordWork() - 1).value();
    sql(db, "UPDATE Opzioni SET PasswordAdmin = '" + weaker + "';");
    EXPECT_EQ(password("check", "vecchia\n"), kRefused);
    EXPECT_EQ(stored(), weaker);
    EXPECT_EQ(password("check", "Vecchia\n"), kOk) << err.str();
    EXPECT_FALSE(core::passwordNeedsRehash(stored()));
    EXPECT_EQ(password("check", "Vecchia\n"), kOk);
    // A store the password cannot be read from or written to is not a wrong password.
    sql(db, "DROP TABLE Opzioni;");
    for (const char* verb : {"check", "set"}) {
        EXPECT_EQ(password(verb, "x\n"), kRefused);
        EXPECT_NE(err.str().find("no such table: Opzioni"), std::string::npos) << err.str();
    }
}

// password hash prints what the policy takes; while the policy sets one, set is refused.
TEST_F(CtlPassword, HashPrintsWhatThePolicyTakesAndSetIsRefusedWhileItIsSet) {
    const std::pair<const char*, int> cases[] = {{"Preside\n", kOk},          {"Preside\r\nPreside\r\n", kOk},
                                                 {"Preside", kOk},            {"Preside\nPresidE\n", kRefused},
                                                 {"Preside\nPreside\nx", kRefused}, {"\n", kRefused}};
    for (const auto& [input, status] : cases) EXPECT_EQ(ctl({"password", "hash"}, input), status) << input;
    EXPECT_EQ(ctl({"password", "hash", "x"}), kUsage);
    ASSERT_EQ(ctl({"password", "hash"}, "Preside\nPreside\n"), kOk);
    const std::string hash = out.str().substr(0, out.str().size() - 1);
    EXPECT_TRUE(core::passwordMatches(hash, "Preside")) << hash;

    ASSERT_TRUE(registry.writeString(platform::RegRoot::LocalMachine, core::policy::kPolicyKey,
                                     core::policy::kAdminPasswordHash, hash));
    refused({"password", "set"}, "0365: Gestita.\n", "Altra\n");
    EXPECT_EQ(password("check", "Preside\n"), kOk);
    EXPECT_EQ(password("check", "Altra\n"), kRefused);
}

}  // namespace
}  // namespace ombrix::app

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "app/ctl_fixture.h"
#include "core/password.h"
#include "core/schema.h"
#include "core/store.h"

namespace ombrix::app {
namespace {

class CtlPassword : public CtlFixture {
protected:
    CtlPassword() : CtlFixture("0143=La password non pu\xF2 essere vuota.\r\n") {
        EXPECT_TRUE(core::createDeliveredDatabase(db));
    }
    int password(const std::string& verb, const std::string& input) { return run({"password", verb}, input); }
    std::string stored() {
        core::Database d;
        EXPECT_TRUE(d.open(db));
        return core::valueOrDefault(core::ReadField(d, "Opzioni", "PasswordAdmin", core::kOptionsRow)).toText();
    }
};

TEST_F(CtlPassword, SetThenCheck) {
    EXPECT_EQ(password("check", "anything\n"), kRefused) << "no password set: nothing matches";
    EXPECT_EQ(password("set", "Pass Word\r\n"), kOk) << err.str();
    EXPECT_TRUE(core::isPasswordHash(stored()));
    EXPECT_EQ(password("check", "Pass Word\n"), kOk);
    EXPECT_EQ(password("check", "Pass Word"), kOk) << "the line break is optional";
    EXPECT_EQ(password("check", "Pass Word\n\n"), kRefused) << "one line break only";
    EXPECT_EQ(password("check", ""), kRefused);
}

// Set on the machine's own store, the password marks the machine: a later
// store without one is a replaced store. A store named with --db does not.
TEST_F(CtlPassword, TheMachinesOwnStoreMarksTheMachine) {
    const auto marked = [&] {
        return registry.readValue(platform::RegRoot::LocalMachine, "SOFTWARE\\Ombrix\\Opzioni", "PasswordScelta");
    };
    ASSERT_EQ(password("set", "Altrove\n"), kOk);
    EXPECT_EQ(marked(), std::nullopt);
    std::filesystem::create_directories(dir.path() / "DataBase");
    ASSERT_TRUE(core::createDeliveredDatabase(dir.file("DataBase/DataBase.db")));
    system.major = 5;  // the store beside the program
    ASSERT_EQ(ctl({"password", "set"}, "Della Macchina\n"), kOk) << err.str();
    EXPECT_EQ(marked(), "1");
}

// An installer gives the password through a variable of its environment.
TEST_F(CtlPassword, FromTheEnvironment) {
    system.env["NUOVA"] = "Dal Setup";
    EXPECT_EQ(run({"password", "set", "--from-environment", "NUOVA"}, "ignored\n"), kOk) << err.str();
    EXPECT_EQ(password("check", "Dal Setup"), kOk);
    EXPECT_EQ(run({"password", "set", "--from-environment", "ASSENTE"}), kRefused) << "blank: refused";
    EXPECT_EQ(run({"password", "set", "--from-environment"}), kUsage);
    EXPECT_EQ(password("check", "Dal Setup"), kOk);
}

TEST_F(CtlPassword, RefusalsChangeNothing) {
    ASSERT_EQ(password("set", "Prima\n"), kOk);
    const std::string before = stored();
    EXPECT_EQ(password("set", "   \n"), kRefused);
    EXPECT_EQ(err.str(), "0143: La password non può essere vuota.\n");
    EXPECT_EQ(password("set", "caff\xE8\n"), kRefused) << "a code page's bytes, not UTF-8";
    EXPECT_EQ(err.str().rfind("0361: ", 0), 0u) << err.str();
    for (const std::string& bad : {std::string("due\nrighe\n"), std::string(1 << 20, 'a'), std::string("caff\xE8")}) {
        EXPECT_EQ(password("set", bad), kRefused) << bad.substr(0, 20);
        EXPECT_EQ(password("check", bad), kRefused) << bad.substr(0, 20);
    }
    EXPECT_EQ(stored(), before);
    EXPECT_EQ(password("check", "Prima\n"), kOk);
    EXPECT_EQ(password("reset", "x"), kUsage);
}

// A store the password cannot be read from or written to is not a wrong
// password: the command says the store's error.
// A password saved by Notepad reads as the text it holds.
TEST_F(CtlPassword, AFileInAnyWindowsEncodingGivesTheSamePassword) {
    for (const std::string& input : {std::string("\xEF\xBB\xBF" "Caff\xC3\xA8 1\r\n"),
                                     std::string("\xFF\xFE" "C\0a\0f\0f\0\xE8\0 \0" "1\0\r\0\n\0", 20),
                                     std::string("\xFE\xFF\0C\0a\0f\0f\0\xE8\0 \0" "1", 16)}) {
        ASSERT_EQ(password("set", "Altra\n"), kOk);
        ASSERT_EQ(password("set", input), kOk) << err.str();
        EXPECT_EQ(password("check", "Caff\xC3\xA8 1\n"), kOk);
        EXPECT_EQ(password("check", input), kOk);
    }
}

TEST_F(CtlPassword, StoreErrorsAreSaid) {
    sql(db, "DROP TABLE Opzioni;");
    EXPECT_EQ(password("check", "x\n"), kRefused);
    EXPECT_NE(err.str().find("no such table: Opzioni"), std::string::npos) << err.str();
    EXPECT_EQ(password("set", "nuova\n"), kRefused);
    EXPECT_NE(err.str().find("no such table: Opzioni"), std::string::npos) << err.str();
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
    auto typed = [&](const std::string& verb, const std::string& input) {
        std::istringstream in(input);
        err.str({});
        CtlEnvironment env{registry, platform::realFileSystem(), system, in, out, err, &terminal};
        return runCtl({"--db", db, "password", verb}, env);
    };
    EXPECT_EQ(typed("set", "Segreta\nnon letta\n"), kOk);
    EXPECT_EQ(err.str(), "Password: \n");
    EXPECT_EQ(terminal.echo, (std::vector<bool>{false, true}));
    EXPECT_EQ(password("check", "Segreta\n"), kOk);
}

TEST_F(CtlPassword, AMatchingCheckRenewsAWeakerHash) {
    {
        const std::string weaker = core::hashPassword("Vecchia", "salt", core::passwordWork() - 1).value();
        core::Database d;
        ASSERT_TRUE(d.open(db));
        ASSERT_TRUE(core::UpdateField(d, "Opzioni", "PasswordAdmin", core::Value(weaker), core::kOptionsRow));
    }
    const std::string before = stored();
    EXPECT_EQ(password("check", "vecchia\n"), kRefused);
    EXPECT_EQ(stored(), before);
    EXPECT_EQ(password("check", "Vecchia\n"), kOk) << err.str();
    EXPECT_NE(stored(), before);
    EXPECT_FALSE(core::passwordNeedsRehash(stored()));
    EXPECT_EQ(password("check", "Vecchia\n"), kOk);
}

}  // namespace
}  // namespace ombrix::app

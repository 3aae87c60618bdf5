#include <gtest/gtest.h>

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
    int run(const std::string& verb, const std::string& input) { return ctl({"--db", db, "password", verb}, input); }
    std::string stored() {
        core::Database d;
        EXPECT_TRUE(d.open(db));
        return core::ValoreNonNullo(core::ReadField(d, "Opzioni", "PasswordAdmin", core::kOptionsRow)).toText();
    }

    std::string db = dir.file("DataBase.db");
};

TEST_F(CtlPassword, SetThenCheck) {
    EXPECT_EQ(run("check", "anything\n"), kRefused) << "no password set: nothing matches";
    EXPECT_EQ(run("set", "Pass Word\r\n"), kOk) << err.str();
    EXPECT_TRUE(core::isPasswordHash(stored()));
    EXPECT_EQ(run("check", "Pass Word\n"), kOk);
    EXPECT_EQ(run("check", "Pass Word"), kOk) << "the line break is optional";
    for (const char* wrong : {"pass word\n", "Pass Word \n", "Pass Word\n\n", ""}) {
        EXPECT_EQ(run("check", wrong), kRefused) << wrong;
    }
}

TEST_F(CtlPassword, RefusalsChangeNothing) {
    ASSERT_EQ(run("set", "Prima\n"), kOk);
    const std::string before = stored();
    EXPECT_EQ(run("set", "   \n"), kRefused);
    EXPECT_EQ(err.str(), "0143: La password non può essere vuota.\n");
    for (const std::string& bad : {std::string("\n"), std::string("due\nrighe\n"), std::string("a\0b\n", 4),
                                   std::string(core::kPasswordMaxCharacters + 1, 'a'), std::string(1 << 20, 'a')}) {
        EXPECT_EQ(run("set", bad), kRefused) << bad.substr(0, 20);
        EXPECT_EQ(run("check", bad), kRefused) << bad.substr(0, 20);
    }
    EXPECT_EQ(stored(), before);
    EXPECT_EQ(run("check", "Prima\n"), kOk);
    EXPECT_EQ(run("reset", "x"), kUsage);
}

TEST_F(CtlPassword, AMatchingCheckRenewsAWeakerHash) {
    {
        const std::string weaker = core::hashPassword("Vecchia", "salt", core::passwordWork() - 1).value();
        core::Database d;
        ASSERT_TRUE(d.open(db));
        ASSERT_TRUE(core::UpdateField(d, "Opzioni", "PasswordAdmin", core::Value(weaker), core::kOptionsRow));
    }
    const std::string before = stored();
    EXPECT_EQ(run("check", "vecchia\n"), kRefused);
    EXPECT_EQ(stored(), before);
    EXPECT_EQ(run("check", "Vecchia\n"), kOk) << err.str();
    EXPECT_NE(stored(), before);
    EXPECT_FALSE(core::passwordNeedsRehash(stored()));
    EXPECT_EQ(run("check", "Vecchia\n"), kOk);
}

}  // namespace
}  // namespace ombrix::app

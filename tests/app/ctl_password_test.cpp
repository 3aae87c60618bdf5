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
    EXPECT_EQ(run("set", "\n"), kRefused);
    EXPECT_EQ(run("set", "due\nrighe\n"), kRefused);
    EXPECT_EQ(stored(), before);
    EXPECT_EQ(run("check", "Prima\n"), kOk);
    EXPECT_EQ(run("reset", "x"), kUsage);
}

}  // namespace
}  // namespace ombrix::app

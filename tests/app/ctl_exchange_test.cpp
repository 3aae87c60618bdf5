#include <gtest/gtest.h>

#include "app/ctl_fixture.h"
#include "profiles/profile_fixtures.h"

namespace ombrix::app {
namespace {

class CtlExchange : public CtlFixture {
protected:
    CtlExchange() : CtlFixture(test::numberedTexts()) {
        EXPECT_EQ(ctl({"init", a}), kOk);
        EXPECT_EQ(ctl({"init", b}), kOk);
    }
    int on(const std::string& store, std::vector<std::string> args) {
        args.insert(args.begin(), {"--db", store});
        return ctl(args);
    }
    std::string stored(const std::string& store) {
        core::Database d;
        EXPECT_TRUE(d.open(store));
        return test::profileRows(d);
    }
    std::string a = dir.file("a.db"), b = dir.file("b.db"), file = dir.file("scuola.OX");
};

TEST_F(CtlExchange, AProfileMovesToAnotherStore) {
    ASSERT_EQ(on(a, {"profile", "add", "Scuola"}), kOk);
    ASSERT_EQ(on(a, {"site", "add", "Scuola", "scuola.it", ".wiki.org"}), kOk);
    ASSERT_EQ(on(a, {"process", "add", "Scuola", "gioco.exe"}), kOk);
    ASSERT_EQ(on(a, {"profile", "set", "Scuola", "mode", "kiosk"}), kOk);
    ASSERT_EQ(on(a, {"export", "scuola", file}), kOk) << err.str();
    EXPECT_EQ(err.str(), "0053: T0053ScuolaT0054\n");
    ASSERT_EQ(on(b, {"import", file}), kOk) << err.str();
    EXPECT_EQ(out.str(), "2\tScuola\n");
    ASSERT_EQ(on(a, {"profile", "show", "Scuola"}), kOk);
    const std::string shownA = out.str();
    ASSERT_EQ(on(b, {"profile", "show", "Scuola"}), kOk);
    EXPECT_EQ(out.str(), shownA);
}

TEST_F(CtlExchange, RefusalsExitOneAndStoreNothing) {
    ASSERT_EQ(on(a, {"export", "Nessuna restrizione", file}), kOk);
    const std::string before = stored(a);
    ASSERT_TRUE(writeWholeFile(dir.file("broken.ox"), "<NOME>\r\nAltro\r\n</NOME>\r\n"));
    const struct {
        std::vector<std::string> args;
        const char* err;
    } cases[] = {
        {{"import", file}, "0050: T0050Nessuna restrizione.\n"},
        {{"import", dir.file("broken.ox")}, "0332: T0332 T0333\n"},
        {{"import", dir.file("none.OX")}, "0048: T0048 T0049\n"},
        {{"import", dir.file("a.db")}, "0330: T0330\n"},
        {{"export", "Altro", file}, "ombrixctl: no profile is named Altro\n"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(on(a, c.args), kRefused);
        EXPECT_EQ(err.str(), c.err);
    }
    EXPECT_EQ(stored(a), before);
}

}  // namespace
}  // namespace ombrix::app

// ombrixctl export, import and managed sync: profiles that come from files.
#include <gtest/gtest.h>

#include "app/ctl_fixture.h"
#include "core/policy_names.h"
#include "profiles/profile_exchange.h"

namespace ombrix::app {
namespace {

class CtlExchange : public CtlFixture {
protected:
    CtlExchange() {
        EXPECT_EQ(ctl({"init", db}), kOk);
        EXPECT_EQ(ctl({"init", other}), kOk);
    }
    std::string other = dir.file("b.db"), file = dir.file("scuola.OX");
};

TEST_F(CtlExchange, AProfileMovesToAnotherStoreAndRefusalsStoreNothing) {
    ASSERT_EQ(run({"profile", "add", "Scuola"}), kOk);
    ASSERT_EQ(run({"site", "add", "Scuola", "scuola.it", ".wiki.org"}), kOk);
    ASSERT_EQ(run({"profile", "set", "Scuola", "mode", "kiosk"}), kOk);
    ASSERT_EQ(run({"export", "scuola", file}), kOk) << err.str();
    EXPECT_EQ(err.str(), "0053: T0053ScuolaT0054\n");
    ASSERT_EQ(ctl({"--db", other, "import", file}), kOk) << err.str();
    EXPECT_EQ(out.str(), "2\tScuola\n");
    ASSERT_EQ(run({"profile", "show", "Scuola"}), kOk);
    const std::string shown = out.str();
    ASSERT_EQ(ctl({"--db", other, "profile", "show", "Scuola"}), kOk);
    EXPECT_EQ(out.str(), shown);

    ASSERT_TRUE(writeWholeFile(dir.file("broken.ox"), "<NOME>\r\nAltro\r\n</NOME>\r\n"));
    refused({"import", file}, "0050: T0050Scuola.\n");
    refused({"import", dir.file("broken.ox")}, "0332: T0332 T0333\n");
    refused({"import", dir.file("none.OX")}, "0048: T0048 T0049\n");
    refused({"export", "Altro", file}, "ombrixctl: no profile is named Altro\n");
    refused({"export", "Scuola", dir.file("no") + "/x.ox"}, "0");
}

// Synced from the policy's file, the profile refuses every command that
// would change it, and a damaged file leaves it as it was.
TEST_F(CtlExchange, AManagedProfileRefusesEveryChange) {
    registry.writeString(platform::RegRoot::LocalMachine, core::policy::kPolicyKey, core::policy::kManagedProfilesPath,
                         file);
    profiles::ExchangeProfile aula;
    aula.record.name = "Aula";
    aula.processes = {"gioco.exe"};
    test::writeFile(file, profiles::exchangeText(aula).bytes);
    ASSERT_EQ(run({"managed", "sync"}), kOk) << err.str();
    EXPECT_EQ(out.str(), "imported, 1 profiles written or removed\n");
    const std::vector<std::string> commands[] = {
        {"site", "add", "Aula", "scuola.it"}, {"process", "remove", "Aula", "gioco.exe"},
        {"profile", "delete", "Aula"},        {"profile", "set", "Aula", "mode", "kiosk"},
    };
    for (const auto& args : commands) refused(args, "0380: T0380 " + file + "\n");
    test::writeFile(file, "<NOME>\r\nAula\r\n");
    refused({"managed", "sync"}, "ombrixctl: managed profiles refused, the last good set stays: the managed file is "
                                 "damaged");
}

}  // namespace
}  // namespace ombrix::app

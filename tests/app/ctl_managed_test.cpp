#include <gtest/gtest.h>

#include "app/ctl_fixture.h"
#include "core/policy_names.h"
#include "profiles/profile_exchange.h"

namespace ombrix::app {
namespace {

class CtlManaged : public CtlFixture {
protected:
    CtlManaged() : CtlFixture(test::numberedTexts()) {
        EXPECT_EQ(ctl({"init", db}), kOk);
        registry.writeString(platform::RegRoot::LocalMachine, core::policy::kPolicyKey,
                             core::policy::kManagedProfilesPath, file);
    }
    std::string file = dir.file("aula.ox");
};

// Synced from the policy's file, the profile refuses every command that
// would change it, and a damaged file leaves it as it was.
TEST_F(CtlManaged, SyncThenEveryChangeIsRefused) {
    profiles::ExchangeProfile aula;
    aula.record.name = "Aula";
    aula.processes = {"gioco.exe"};
    test::writeFile(file, profiles::exchangeText(aula).bytes);
    ASSERT_EQ(run({"managed", "sync"}), kOk) << err.str();
    EXPECT_EQ(out.str(), "imported, 1 profiles written or removed\n");
    ASSERT_EQ(run({"profile", "show", "Aula"}), kOk);
    const std::string shown = out.str();
    const std::vector<std::string> refused[] = {
        {"site", "add", "Aula", "scuola.it"},    {"process", "remove", "Aula", "gioco.exe"},
        {"window", "add", "Aula", "Chat"},       {"profile", "delete", "Aula"},
        {"profile", "rename", "Aula", "Altro"},  {"profile", "set", "Aula", "mode", "kiosk"},
    };
    for (const auto& args : refused) {
        EXPECT_EQ(run(args), kRefused) << args[0];
        EXPECT_EQ(err.str(), "0380: T0380 " + file + "\n") << args[0];
    }
    test::writeFile(file, "<NOME>\r\nAula\r\n");
    EXPECT_EQ(run({"managed", "sync"}), kRefused);
    EXPECT_EQ(err.str().rfind("ombrixctl: managed profiles refused, the last good set stays: the managed file is damaged", 0), 0u);
    ASSERT_EQ(run({"profile", "show", "Aula"}), kOk);
    EXPECT_EQ(out.str(), shown);
}

}  // namespace
}  // namespace ombrix::app

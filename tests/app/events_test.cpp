// What the program tells the system's event log: identifier, level and data.
#include <gtest/gtest.h>
#include <functional>
#include "core/policy_names.h"
#include "fakes/program_rig.h"

namespace ombrix::app {
namespace {
using core::TimerId;
using platform::EventLevel;
using Written = test::FakeEventLog::Written;

struct Started : test::ProgramRig {
    Started() { EXPECT_EQ(controller.startUp(), core::Controller::StartResult::Running); eventLog.written.clear(); }
    void show(test::FakeBrowsers::Browser& browser, const std::string& address) {
        browsers.open(browser, address), host.onTimer(TimerId::SiteCheck);
    }
    test::QuickPasswords quick;
};

TEST(Events, EachIsReportedWithItsIdentifierLevelAndData) {
    const std::string longAddress = "http://www.giochi.example/" + std::string(300, 'a'), page = "http://giochi.example/";
    constexpr auto info = EventLevel::Information;
    const struct {
        const char* what;
        std::function<void(Started&)> act;
        std::vector<Written> expected;
    } cases[] = {
        {"a forbidden program ended, a forbidden window closed",
         [](Started& r) {
             r.processes.start("gioco.exe"), r.windows.add("Chat");
             r.host.onTimer(TimerId::ForbiddenProcesses), r.host.onTimer(TimerId::CloseWindows);
         },
         {{info, 1000, {"gioco.exe", "Classe"}}, {info, 1001, {"Chat", "Classe"}}}},
        // Cut as the log cuts it; "%%" and digits the event viewer would read as a parameter reference.
        {"a long address, an address like a parameter reference",
         [&](Started& r) { r.show(r.browsers.chrome, longAddress); r.show(r.browsers.edge, "http://giochi.example/%%1%%%20%%x%%"); },
         {{info, 1002, {longAddress.substr(0, 255), "chrome.exe", "Classe"}},
          {info, 1002, {"http://giochi.example/%%\u200b1%%%\u200b20%%x%%", "msedge.exe", "Classe"}}}},
        {"a failed login, nothing typed in it, then the administrator's",
         [](Started& r) { EXPECT_FALSE(r.controller.login("Segreta")); EXPECT_TRUE(r.controller.login("segreta")); },
         {{EventLevel::Warning, 3001, {}}, {info, 3000, {}}}},
        {"a policy value the program cannot use",
         [](Started& r) {
             r.registry.writeString(platform::RegRoot::LocalMachine, core::policy::kPolicyKey, core::policy::kProfileInUse, "Nessuno");
             r.controller.policyChanged();
         },
         {{EventLevel::Warning, 2100, {"ProfileInUse", "no profile has this name"}}}},
        {"lists that cannot be read",
         [](Started& r) { r.sql("DROP TABLE NomiFinestreVietate;"); r.controller.onProfileChosen("Classe"); },
         {{EventLevel::Error, 2001, {"", "no such table: NomiFinestreVietate"}}}},
        // A page shown again and again is one event a minute, per browser.
        {"the same page again, then in another browser, then a minute later",
         [&](Started& r) {
             for (auto* b : {&r.browsers.chrome, &r.browsers.chrome, &r.browsers.edge}) r.show(*b, page);
             r.clock.ms += core::kEventRepeatQuietMs, r.show(r.browsers.chrome, page);
         },
         {{info, 1002, {page, "chrome.exe", "Classe"}}, {info, 1002, {page, "msedge.exe", "Classe"}},
          {info, 1002, {page, "chrome.exe", "Classe"}}}},
    };
    for (const auto& c : cases) {
        Started rig;
        c.act(rig);
        auto expected = c.expected;
        if (expected[0].id == 2001) expected[0].strings[0] = rig.store.connection.path();
        EXPECT_EQ(rig.eventLog.written, expected) << c.what;
    }
}
}  // namespace
}  // namespace ombrix::app

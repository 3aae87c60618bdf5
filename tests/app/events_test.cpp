// What the program tells the system's event log, from where each thing
// happens: the identifier, the level and the data of every event, and the
// message file that gives them their text.
#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "fakes/program_rig.h"

namespace ombrix::app {
namespace {

using core::EventId;
using core::TimerId;
using platform::EventLevel;
using Written = test::FakeEventLog::Written;

// The program started on the rig's store, nothing reported yet.
struct Started : test::ProgramRig {
    Started() {
        EXPECT_EQ(controller.startUp(), core::Controller::StartResult::Running);
        eventLog.written.clear();
    }
    void showInChrome(const std::string& address) {
        browsers.open(browsers.chrome, address);
        host.onTimer(TimerId::SiteCheck);
    }
    test::QuickPasswords quick;
};

TEST(Events, EachIsReportedWithItsIdentifierLevelAndData) {
    const std::string longAddress = "http://www.giochi.example/" + std::string(300, 'a');
    const struct {
        const char* what;
        std::function<void(Started&)> act;
        Written expected;
    } cases[] = {
        {"a forbidden program ended",
         [](Started& r) {
             r.processes.start("gioco.exe");
             r.host.onTimer(TimerId::ForbiddenProcesses);
         },
         {EventLevel::Information, 1000, {"gioco.exe", "Classe"}}},
        {"a forbidden window closed",
         [](Started& r) {
             r.windows.add("Chat");
             r.host.onTimer(TimerId::CloseWindows);
         },
         {EventLevel::Information, 1001, {"Chat", "Classe"}}},
        {"a page blocked", [](Started& r) { r.showInChrome("http://www.giochi.example/l'a"); },
         {EventLevel::Information, 1002, {"http://www.giochi.example/l'a", "chrome.exe", "Classe"}}},
        {"a long address, cut as the log cuts it", [&](Started& r) { r.showInChrome(longAddress); },
         {EventLevel::Information, 1002, {longAddress.substr(0, 255), "chrome.exe", "Classe"}}},
        {"the administrator's login", [](Started& r) { EXPECT_TRUE(r.controller.login("segreta")); },
         {EventLevel::Information, 3000, {}}},
        {"a failed login, nothing typed in it", [](Started& r) { EXPECT_FALSE(r.controller.login("Segreta")); },
         {EventLevel::Warning, 3001, {}}},
        {"a store whose lists cannot be read",
         [](Started& r) {
             r.sql("DROP TABLE NomiFinestreVietate;");
             r.controller.onProfileChosen("Classe");
         },
         {EventLevel::Error, 2001, {"", "no such table: NomiFinestreVietate"}}},
    };
    for (const auto& c : cases) {
        Started rig;
        c.act(rig);
        Written expected = c.expected;
        if (expected.id == 2001) expected.strings[0] = rig.store.connection.path();
        EXPECT_EQ(rig.eventLog.written, std::vector<Written>{expected}) << c.what;
    }
}

// A page reloaded again and again is one event a minute, per browser.
TEST(Events, TheSamePageInTheSameBrowserWithinAMinuteIsOneEvent) {
    Started rig;
    rig.showInChrome("http://giochi.example/");
    rig.showInChrome("http://giochi.example/");
    rig.browsers.open(rig.browsers.edge, "http://giochi.example/");
    rig.host.onTimer(TimerId::SiteCheck);
    ASSERT_EQ(rig.eventLog.written.size(), 2u);
    EXPECT_EQ(rig.eventLog.written[1].strings.at(1), "msedge.exe");
    rig.clock.ms += core::kEventRepeatQuietMs;
    rig.showInChrome("http://giochi.example/");
    EXPECT_EQ(rig.eventLog.written.size(), 3u);
}

TEST(Events, EachKindTakesItsOwnStringsCutToTheLimit) {
    test::FakeEventLog log;
    test::FakeClock clock;
    core::Events events(&log, clock);
    events.report(EventId::StoreLost, {"C:\\DataBase.db"});
    events.report(EventId::LoginFailed, {"anything"});
    events.report(EventId::ProgramEnded, {std::string(core::kEventTextLimit + 1, 'x'), "Classe", "more"});
    EXPECT_EQ(log.written, (std::vector<Written>{
                               {EventLevel::Error, 2000, {"C:\\DataBase.db", ""}},
                               {EventLevel::Warning, 3001, {}},
                               {EventLevel::Information, 1000, {std::string(core::kEventTextLimit, 'x'), "Classe"}},
                           }));
}

// The message file gives every event a text in both languages, with the
// insertion strings the program writes, and no event the program lacks.
TEST(Events, TheMessageFileMatchesTheEvents) {
    std::ifstream file(std::string(OMBRIX_SOURCE_DIR) + "/src/app/win32/events.mc");
    ASSERT_TRUE(file) << "events.mc";
    std::map<std::uint32_t, std::map<std::string, std::size_t>> highest;  // id -> language -> highest %n
    std::uint32_t id = 0;
    std::string language, line;
    const std::regex insertion("%([0-9]+)");
    while (std::getline(file, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.rfind("MessageId=", 0) == 0) id = static_cast<std::uint32_t>(std::stoul(line.substr(10)));
        if (line.rfind("Language=", 0) == 0) highest[id][language = line.substr(9)] = 0;
        if (line == ".") language.clear();
        if (language.empty() || line.rfind("Language=", 0) == 0) continue;
        for (std::sregex_iterator m(line.begin(), line.end(), insertion), end; m != end; ++m) {
            highest[id][language] = std::max<std::size_t>(highest[id][language], std::stoul((*m)[1]));
        }
    }
    std::set<std::uint32_t> ids;
    for (const auto& kind : core::eventKinds()) {
        const auto n = static_cast<std::uint32_t>(kind.id);
        ids.insert(n);
        EXPECT_EQ(highest[n], (std::map<std::string, std::size_t>{{"English", kind.strings}, {"Italian", kind.strings}}))
            << n;
    }
    for (const auto& [n, texts] : highest) EXPECT_TRUE(ids.count(n)) << n << " is in the message file only";
}

}  // namespace
}  // namespace ombrix::app

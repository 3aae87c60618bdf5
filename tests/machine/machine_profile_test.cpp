#include "machine/machine_profile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <utility>

#include "fakes/fake_enforcement.h"
#include "fakes/fake_machine.h"
#include "fakes/fixtures.h"
#include "machine/firefox_prefs.h"
#include "platform/file_registry.h"

namespace ombrix::core {
namespace {

using platform::RegRoot;

// The file registry, with a look at every write before it lands.
struct WatchedRegistry final : platform::Registry {
    platform::FileRegistry inner;
    std::function<void(std::string_view name)> beforeWrite = [](std::string_view) {};
    std::optional<std::string> readValue(RegRoot r, std::string_view p, std::string_view n) override { return inner.readValue(r, p, n); }
    bool writeString(RegRoot r, std::string_view p, std::string_view n, std::string_view v) override { return beforeWrite(n), inner.writeString(r, p, n, v); }
    bool writeDword(RegRoot r, std::string_view p, std::string_view n, std::uint32_t v) override { return beforeWrite(n), inner.writeDword(r, p, n, v); }
    bool deleteValue(RegRoot r, std::string_view p, std::string_view n) override { return inner.deleteValue(r, p, n); }
    bool keyExists(RegRoot r, std::string_view p) override { return inner.keyExists(r, p); }
    bool deleteEmptyKey(RegRoot r, std::string_view p) override { return inner.deleteEmptyKey(r, p); }
};

// One machine; each run of the program is a fresh journal and settings object on it.
struct Rig {
    test::TempDir dir;
    test::Journal log;
    WatchedRegistry registry;
    test::FakeSystem system;
    test::FakePrinters printers{log};
    test::FakeProcesses processes{log};
    test::FakePump pump;
    test::FakeShell shell{log};
    test::FakeFileSystem files;
    test::FakeDesktopLock desktop{log};
    test::SwitchableWriter writer;
    std::unique_ptr<MachineJournal> journal;
    std::unique_ptr<MachineSettings> settings;
    std::string profileFolder = pathToUtf8(dir.path() / "Mozilla" / "Firefox" / "Profiles" / "abc.default");
    std::string journalPath = pathToUtf8(dir.path() / kJournalFileName);

    Rig() {
        system.env = {{"APPDATA", pathToUtf8(dir.path())}, {"ProgramFiles", "C:\\PF"}, {"USERPROFILE", "C:\\U"}};
        test::writeFile(pathToUtf8(dir.path() / "Mozilla" / "Firefox" / "profiles.ini"), "Path=Profiles/abc.default\n");
        test::writeFile(profileFolder + "/prefs.js", "user_pref(\"browser.startup.homepage\", \"http://ff-own/\");\n");
        printers.ports = {{"Old", "olddrv,LPT1:,15,45"}, {"New", "newdrv,Ne01:,15,45"}};
        printers.device = "Old,olddrv,LPT1:";
        registry.writeString(RegRoot::CurrentUser, kInternetExplorerMain, kStartPage, "http://school/");
        newRun();
    }
    void newRun() {
        settings.reset();
        journal = std::make_unique<MachineJournal>(writer, platform::realFileSystem());
        settings = std::make_unique<MachineSettings>(
            MachineSeams{registry, system, printers, processes, pump, shell, files, desktop, *journal},
            [this] { return journalPath; });
    }
    std::optional<std::string> value(const std::string& path, const char* name) { return registry.readValue(RegRoot::CurrentUser, path, name); }
    void expectAsBefore() {  // the download value did not exist before
        EXPECT_EQ(value(kInternetExplorerMain, kStartPage).value_or("") + "|" + value(kZone3, kDownloadValue).value_or("none") + "|" +
                      printers.device + "|" + HomePageFirefox(profileFolder),
                  "http://school/|none|Old,olddrv,LPT1:|http://ff-own/");
        EXPECT_FALSE(platform::realFileSystem().fileExists(journalPath));
    }
};

ProfileSwitches lockingProfile(const char* page = "http://foreign/") {
    ProfileSwitches p;
    p.printer = " New "; p.homePage = page; p.blockDownloads = p.kiosk = true;
    return p;
}

TEST(MachineProfile, AnOrderlyEndGivesEverythingBack) {
    Rig rig;
    rig.settings->rememberSettings();
    rig.settings->applyToMachine(lockingProfile());
    EXPECT_EQ(rig.value(kInternetExplorerMain, kStartPage).value_or("") + rig.value(kZone3, kDownloadValue).value_or("") +
                  HomePageFirefox(rig.profileFolder),
              "http://foreign/3http://foreign/");
    EXPECT_TRUE(rig.log.inOrder({"printer device New,newdrv,Ne01:", "printer rewrite New", "lock 11"}));
    rig.settings->applyToMachine({});  // profile 0 at shutdown
    EXPECT_EQ(rig.value(kZone3, kDownloadValue), "0");
    rig.settings->restoreSettings();
    rig.expectAsBefore();
    EXPECT_EQ(rig.log.entries.back(), "restart shell") << "Windows 10";
    rig.settings->restoreStartButtonAndTaskbar();
    EXPECT_EQ(rig.log.entries.back(), "lock 00");
}

// The journal is written ahead: a crash after any write still knows the value before it.
TEST(MachineProfile, EveryPreviousValueIsOnDiskBeforeItsSettingChanges) {
    Rig rig;
    rig.settings->rememberSettings();
    int checked = 0;
    rig.registry.beforeWrite = [&](std::string_view name) {
        const auto disk = rig.journal->read().settings;
        EXPECT_TRUE(std::any_of(disk.begin(), disk.end(), [&](const SavedSetting& s) { return s.name == name; })) << name;
        ++checked;
    };
    rig.settings->applyToMachine(lockingProfile());
    rig.settings->setBrowserEmulation();
    EXPECT_EQ(checked, 3);
}

// The session ends while the profile is being applied (a broadcast pumps messages).
TEST(MachineProfile, ASessionEndedHalfwayThroughApplyingLeavesTheMachineGivenBack) {
    Rig rig;
    rig.settings->rememberSettings();
    bool ended = false;
    rig.printers.broadcast = [&] {
        if (std::exchange(ended, true)) return;
        rig.settings->applyToMachine({});  // the shutdown's profile 0
        rig.settings->restoreSettings();
    };
    rig.settings->applyToMachine(lockingProfile());
    rig.settings->siteListInForce(PolicySites{{"giochi.it"}, false});
    rig.settings->setBrowserEmulation();
    ASSERT_TRUE(ended);
    rig.expectAsBefore();
    EXPECT_EQ(rig.log.entries.back(), "restart shell") << "the shell is not locked again";
}

TEST(MachineProfile, AStartAfterACrashGivesTheMachineBackOrKeepsItWithoutTheStore) {
    Rig rig;
    EXPECT_FALSE(rig.settings->keepLastRestrictions()) << "no journal: nothing was locked";
    rig.settings->rememberSettings();
    rig.settings->applyToMachine(lockingProfile());
    rig.newRun();  // the process was ended by force
    EXPECT_TRUE(rig.settings->keepLastRestrictions()) << "the kiosk had locked the shell";
    EXPECT_EQ(rig.value(kZone3, kDownloadValue), "3");
    rig.settings->applyToMachine(lockingProfile("http://second/"));  // nothing recorded over the old values
    rig.newRun();
    test::FakeEventLog eventLog;
    test::FakeClock clock;
    core::Events events(&eventLog, clock);
    rig.settings->setEvents(&events);
    rig.settings->rememberSettings();
    rig.expectAsBefore();
    EXPECT_EQ(rig.log.entries.back(), "lock 00");
    ASSERT_EQ(eventLog.written.size(), 1u) << "the event log hears of it";
    EXPECT_EQ(std::pair(eventLog.written[0].id, eventLog.written[0].strings), std::pair(4000u, std::vector<std::string>{"10", "0"}));
}

TEST(MachineProfile, ProgramsAreNeverHomePagesAndUnlistedPrintersChangeNothing) {
    Rig rig;
    ProfileSwitches p;
    p.homePage = "C:\\giochi\\avvia.BAT"; p.printer = "Missing"; p.startDisabled = true;
    rig.settings->rememberSettings();
    rig.settings->applyToMachine(p);
    EXPECT_EQ(rig.value(kInternetExplorerMain, kStartPage).value_or("") + HomePageFirefox(rig.profileFolder) + rig.printers.device,
              "http://school/http://ff-own/Old,olddrv,LPT1:");
    EXPECT_EQ(rig.log.entries, std::vector<std::string>{"lock 01"});
}

// "ChromeHTML" is none of the names: letter case counts.
TEST(MachineProfile, DefaultBrowserIsToldBySubstringInItsOrder) {
    const std::pair<const char*, const char*> cases[] = {
        {"FirefoxURL-308046B0AF4A39CB", "Firefox"}, {"ChromeHTML", "Altro"}, {"OperaChrome", "Opera"}, {"chrome", "GoogleChrome"}};
    for (const auto& [progId, expected] : cases) {
        Rig rig;
        rig.registry.writeString(RegRoot::CurrentUser,
                                 "SOFTWARE\\Microsoft\\Windows\\Shell\\Associations\\UrlAssociations\\https\\UserChoice", "ProgId", progId);
        EXPECT_EQ(rig.settings->defaultBrowser(), expected) << progId;
    }
}

TEST(MachineProfile, WindowsVersionDecidesEmulationAndShellRestart) {
    const std::tuple<int, int, const char*, int> cases[] = {{5, 1, "8000", 0}, {6, 1, "11000", 0}, {6, 2, "11000", 1}};
    for (const auto& [major, minor, emulation, restarts] : cases) {
        Rig rig;
        std::tie(rig.system.major, rig.system.minor) = std::tie(major, minor);
        rig.settings->rememberSettings();
        rig.settings->setBrowserEmulation();
        EXPECT_EQ(rig.value(kBrowserEmulation, "ombrix.exe"), emulation) << major << "." << minor;
        rig.settings->restoreSettings();
        EXPECT_TRUE(rig.log.count("restart shell") == restarts && !rig.value(kBrowserEmulation, "ombrix.exe")) << major << "." << minor;
    }
}

// The run's own browser policies go back when a shorter list follows and at the end; the keys it created go
// once empty; a key there before or holding someone else's value stays.
TEST(MachineProfile, BrowserPoliciesGoBackAndOnlyTheKeysTheProgramCreatedGo) {
    const std::string block = std::string(kChromePolicies) + "\\URLBlocklist", google = "Software\\Policies\\Google", edge = kEdgePolicies;
    const std::string firefox = kFirefoxPolicies, mozilla = "Software\\Policies\\Mozilla", microsoft = "Software\\Policies\\Microsoft", filter = firefox + "\\WebsiteFilter";
    // ended by force (given back at the next start), a key another program writes in meanwhile, keys kept, keys gone
    const std::tuple<bool, std::string, std::vector<std::string>, std::vector<std::string>> cases[] = {
        {false, "", {block, google, microsoft + "\\Windows"}, {edge + "\\URLBlocklist", edge, filter, firefox, mozilla}},
        {true, filter, {block, filter, firefox, mozilla}, {filter + "\\Block", firefox + "\\DNSOverHTTPS", edge}},
    };
    for (const auto& [forced, foreignAfter, kept, gone] : cases) {
        SCOPED_TRACE(forced);
        Rig rig;
        rig.registry.writeDword(RegRoot::CurrentUser, microsoft + "\\Windows", "Own", 1);
        rig.registry.writeString(RegRoot::CurrentUser, block, "4", "own.it");
        rig.settings->rememberSettings();
        rig.settings->siteListInForce(PolicySites{{".a.it", ".b.it", ".c.it"}, false});
        EXPECT_EQ(rig.value(block, "4"), "chrome://extensions");
        rig.settings->siteListInForce(PolicySites{{".d.it"}, false});
        EXPECT_EQ(rig.value(block, "1").value_or("") + rig.value(block, "4").value_or("") + rig.value(block, "5").value_or("-"), "d.itown.it-");
        if (!foreignAfter.empty()) rig.registry.writeString(RegRoot::CurrentUser, foreignAfter, "Other", "x");
        if (forced) rig.newRun(), rig.settings->rememberSettings();
        else rig.settings->siteListInForce(std::nullopt), rig.settings->restoreSettings();
        EXPECT_EQ(rig.value(block, "1").value_or("-") + rig.value(block, "4").value_or("") +
                      rig.value(kChromePolicies, "IncognitoModeAvailability").value_or("-"),
                  "-own.it-");
        for (const auto& key : kept) EXPECT_TRUE(rig.registry.keyExists(RegRoot::CurrentUser, key)) << key;
        for (const auto& key : gone) EXPECT_FALSE(rig.registry.keyExists(RegRoot::CurrentUser, key)) << key;
        EXPECT_TRUE(foreignAfter.empty() || rig.value(foreignAfter, "Other") == "x");
        EXPECT_FALSE(platform::realFileSystem().fileExists(rig.journalPath)) << "nothing left to try again";
    }
}

}  // namespace
}  // namespace ombrix::core

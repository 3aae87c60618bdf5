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
    std::optional<std::string> readValue(RegRoot r, std::string_view p, std::string_view n) override {
        return inner.readValue(r, p, n);
    }
    bool writeString(RegRoot r, std::string_view p, std::string_view n, std::string_view v) override {
        return beforeWrite(n), inner.writeString(r, p, n, v);
    }
    bool writeDword(RegRoot r, std::string_view p, std::string_view n, std::uint32_t v) override {
        return beforeWrite(n), inner.writeDword(r, p, n, v);
    }
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
    [[nodiscard]] std::optional<std::string> value(const char* path, const char* name) {
        return registry.readValue(RegRoot::CurrentUser, path, name);
    }
    void expectAsBefore() {
        EXPECT_EQ(value(kInternetExplorerMain, kStartPage), "http://school/");
        EXPECT_EQ(value(kZone3, kDownloadValue), std::nullopt) << "the value did not exist before";
        EXPECT_EQ(printers.device, "Old,olddrv,LPT1:");
        EXPECT_EQ(HomePageFirefox(profileFolder), "http://ff-own/");
        EXPECT_FALSE(platform::realFileSystem().fileExists(journalPath));
    }
};

ProfileSwitches lockingProfile(const char* page = "http://foreign/") {
    ProfileSwitches p;
    p.printer = " New ";
    p.homePage = page;
    p.blockDownloads = p.kiosk = true;
    return p;
}

TEST(MachineProfile, AnOrderlyEndGivesEverythingBack) {
    Rig rig;
    rig.settings->rememberSettings();
    rig.settings->applyToMachine(lockingProfile());
    EXPECT_EQ(rig.value(kInternetExplorerMain, kStartPage), "http://foreign/");
    EXPECT_EQ(rig.value(kZone3, kDownloadValue), "3");
    EXPECT_EQ(HomePageFirefox(rig.profileFolder), "http://foreign/");
    EXPECT_TRUE(rig.log.inOrder({"printer device New,newdrv,Ne01:", "printer rewrite New", "lock 11"}));
    rig.settings->applyToMachine({});  // profile 0 at shutdown
    EXPECT_EQ(rig.value(kZone3, kDownloadValue), "0");
    rig.settings->restoreSettings();
    rig.expectAsBefore();
    EXPECT_EQ(rig.log.entries.back(), "restart shell") << "Windows 10";
    rig.settings->restoreStartButtonAndTaskbar();
    EXPECT_EQ(rig.log.entries.back(), "lock 00");
}

// A start after a crash gives the machine back before remembering it; a
// start without its store keeps what the crashed run put on the machine,
// and its journal, for the start that finds the store.
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

// Windows ending the session while the profile is being applied (a broadcast pumps messages).
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
    EXPECT_EQ(eventLog.written[0].id, 4000u);
    EXPECT_EQ(eventLog.written[0].strings, (std::vector<std::string>{"10", "0"})) << "given back, left";
    // A run that changes nothing gives back what it remembered: the machine's own values.
    rig.settings->applyToMachine({});
    rig.printers.device = "New,newdrv,Ne01:";  // someone else's change, undone as ever
    rig.settings->restoreSettings();
    rig.expectAsBefore();
}

TEST(MachineProfile, ProgramsAreNeverHomePagesAndUnlistedPrintersChangeNothing) {
    Rig rig;
    ProfileSwitches p;
    p.homePage = "C:\\giochi\\avvia.BAT";
    p.printer = "Missing";
    p.startDisabled = true;
    rig.settings->rememberSettings();
    rig.settings->applyToMachine(p);
    EXPECT_EQ(rig.value(kInternetExplorerMain, kStartPage), "http://school/");
    EXPECT_EQ(HomePageFirefox(rig.profileFolder), "http://ff-own/");
    EXPECT_EQ(rig.printers.device, "Old,olddrv,LPT1:");
    EXPECT_EQ(rig.log.entries, std::vector<std::string>{"lock 01"});
}

TEST(MachineProfile, DefaultBrowserIsToldBySubstringInItsOrder) {
    const std::pair<const char*, const char*> cases[] = {
        {"FirefoxURL-308046B0AF4A39CB", "Firefox"},
        {"ChromeHTML", "Altro"},  // "Chrome" with a capital is none of the names
        {"OperaChrome", "Opera"},
        {"chrome", "GoogleChrome"},
    };
    for (const auto& [progId, expected] : cases) {
        Rig rig;
        rig.registry.writeString(
            RegRoot::CurrentUser, "SOFTWARE\\Microsoft\\Windows\\Shell\\Associations\\UrlAssociations\\https\\UserChoice",
            "ProgId", progId);
        EXPECT_EQ(rig.settings->defaultBrowser(), expected) << progId;
    }
}

TEST(MachineProfile, WindowsVersionDecidesEmulationAndShellRestart) {
    const std::tuple<int, int, const char*, int> cases[] = {{5, 1, "8000", 0}, {6, 1, "11000", 0}, {6, 2, "11000", 1}};
    for (const auto& [major, minor, emulation, restarts] : cases) {
        Rig rig;
        rig.system.major = major;
        rig.system.minor = minor;
        rig.settings->rememberSettings();
        rig.settings->setBrowserEmulation();
        EXPECT_EQ(rig.value(kBrowserEmulation, "ombrix.exe"), emulation) << major << "." << minor;
        rig.settings->restoreSettings();
        EXPECT_EQ(rig.log.count("restart shell"), restarts) << major << "." << minor;
        EXPECT_EQ(rig.value(kBrowserEmulation, "ombrix.exe"), std::nullopt) << "given back too";
    }
}

// The run's own browser policies go back when a shorter list follows, and
// at the end; the keys it created go once empty, and a key
// that was there before or holds someone else's value stays.
TEST(MachineProfile, BrowserPoliciesGoBackAndOnlyTheKeysTheProgramCreatedGo) {
    const std::string chrome = kChromePolicies, block = chrome + "\\URLBlocklist", google = "Software\\Policies\\Google";
    const std::string firefox = kFirefoxPolicies, mozilla = "Software\\Policies\\Mozilla", edge = kEdgePolicies;
    const std::string microsoft = "Software\\Policies\\Microsoft", filter = firefox + "\\WebsiteFilter";
    const struct {
        bool forced;               // ended by force, given back at the next start
        std::string foreignAfter;  // a key another program writes in while the list is in force
        std::vector<std::string> kept, gone;
    } cases[] = {
        {false, "", {block, google, microsoft + "\\Windows"}, {edge + "\\URLBlocklist", edge, filter, firefox, mozilla}},
        {true, filter, {block, filter, firefox, mozilla}, {filter + "\\Block", firefox + "\\DNSOverHTTPS", edge}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.forced);
        Rig rig;
        rig.registry.writeDword(RegRoot::CurrentUser, microsoft + "\\Windows", "Own", 1);
        rig.registry.writeString(RegRoot::CurrentUser, block, "4", "own.it");
        rig.settings->rememberSettings();
        rig.settings->siteListInForce(PolicySites{{".a.it", ".b.it", ".c.it"}, false});
        EXPECT_EQ(rig.value(block.c_str(), "4"), "chrome://extensions");
        rig.settings->siteListInForce(PolicySites{{".d.it"}, false});
        EXPECT_EQ(rig.value(block.c_str(), "1"), "d.it");
        EXPECT_EQ(rig.value(block.c_str(), "4"), "own.it");
        EXPECT_EQ(rig.value(block.c_str(), "5"), std::nullopt);
        if (!c.foreignAfter.empty()) rig.registry.writeString(RegRoot::CurrentUser, c.foreignAfter, "Other", "x");
        if (c.forced) {
            rig.newRun();
            rig.settings->rememberSettings();
        } else {
            rig.settings->siteListInForce(std::nullopt);
            rig.settings->restoreSettings();
        }
        EXPECT_EQ(rig.value(block.c_str(), "1"), std::nullopt);
        EXPECT_EQ(rig.value(block.c_str(), "4"), "own.it");
        EXPECT_EQ(rig.value(kChromePolicies, "IncognitoModeAvailability"), std::nullopt);
        for (const auto& key : c.kept) EXPECT_TRUE(rig.registry.keyExists(RegRoot::CurrentUser, key)) << key;
        for (const auto& key : c.gone) EXPECT_FALSE(rig.registry.keyExists(RegRoot::CurrentUser, key)) << key;
        EXPECT_TRUE(c.foreignAfter.empty() || rig.value(c.foreignAfter.c_str(), "Other") == "x");
        EXPECT_FALSE(platform::realFileSystem().fileExists(rig.journalPath)) << "nothing left to try again";
    }
}

}  // namespace
}  // namespace ombrix::core

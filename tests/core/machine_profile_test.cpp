#include "core/machine_profile.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "core/firefox_prefs.h"
#include "fakes/fake_machine.h"
#include "fakes/fake_machine_profile.h"
#include "fakes/fixtures.h"
#include "platform/file_registry.h"

namespace ombrix::core {
namespace {

using platform::RegRoot;

// The file registry, with a look at every write before it lands and a way to refuse some.
class WatchedRegistry final : public platform::Registry {
public:
    platform::FileRegistry inner;
    std::function<void(std::string_view name)> beforeWrite;
    std::string refuseName;

    std::optional<std::string> readValue(RegRoot r, std::string_view p, std::string_view n) override {
        return inner.readValue(r, p, n);
    }
    bool writeString(RegRoot r, std::string_view p, std::string_view n, std::string_view v) override {
        return allowed(n) && inner.writeString(r, p, n, v);
    }
    bool writeDword(RegRoot r, std::string_view p, std::string_view n, std::uint32_t v) override {
        return allowed(n) && inner.writeDword(r, p, n, v);
    }
    bool deleteValue(RegRoot r, std::string_view p, std::string_view n) override {
        return allowed(n) && inner.deleteValue(r, p, n);
    }

private:
    bool allowed(std::string_view name) {
        if (beforeWrite) beforeWrite(name);
        return name != refuseName;
    }
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
    std::string profileFolder;

    Rig() {
        system.env["APPDATA"] = pathToUtf8(dir.path());
        const std::string firefox = pathToUtf8(dir.path() / "Mozilla" / "Firefox");
        test::writeFile(firefox + "/profiles.ini", "[Profile0]\r\nName=default\r\nPath=Profiles/abc.default\r\n");
        profileFolder = firefox + "/Profiles/abc.default";
        test::writeFile(profileFolder + "/prefs.js", "user_pref(\"browser.startup.homepage\", \"http://ff-own/\");\n");
        printers.ports = {{"Old", "olddrv,LPT1:,15,45"}, {"New", "newdrv,Ne01:,15,45"}};
        printers.device = "Old,olddrv,LPT1:";
        registry.inner.writeString(RegRoot::CurrentUser, kInternetExplorerMain, kStartPage, "http://school/");
        newRun();
    }
    void newRun() {
        settings.reset();
        journal = std::make_unique<MachineJournal>(writer, platform::realFileSystem());
        settings = std::make_unique<MachineSettings>(
            MachineSeams{registry, system, printers, processes, pump, shell, files, desktop, *journal},
            [this] { return journalPath(); });
    }
    [[nodiscard]] std::string journalPath() const { return pathToUtf8(dir.path() / kJournalFileName); }
    [[nodiscard]] std::optional<std::string> value(const char* path, const char* name) {
        return registry.inner.readValue(RegRoot::CurrentUser, path, name);
    }
};

ProfileSwitches lockingProfile() {
    ProfileSwitches p;
    p.stampantePredefinita = " New ";
    p.paginaPredefinita = "http://foreign/";
    p.bloccaDownload = true;
    p.kiosk = true;
    return p;
}

void expectMachineAsBefore(Rig& rig) {
    EXPECT_EQ(rig.value(kInternetExplorerMain, kStartPage), "http://school/");
    EXPECT_EQ(rig.value(kZone3, kDownloadValue), std::nullopt) << "the value did not exist before";
    EXPECT_EQ(rig.printers.device, "Old,olddrv,LPT1:");
    EXPECT_EQ(HomePageFirefox(rig.profileFolder), "http://ff-own/");
}

TEST(MachineProfile, AProfileChangesTheMachineAndAnOrderlyEndGivesItAllBack) {
    Rig rig;
    rig.settings->rememberSettings();
    rig.settings->applyToMachine(lockingProfile());
    EXPECT_EQ(rig.value(kInternetExplorerMain, kStartPage), "http://foreign/");
    EXPECT_EQ(rig.value(kZone3, kDownloadValue), "3");
    EXPECT_EQ(rig.printers.device, "New,newdrv,Ne01:");
    EXPECT_EQ(HomePageFirefox(rig.profileFolder), "http://foreign/");
    EXPECT_TRUE(rig.log.inOrder({"printer device New,newdrv,Ne01:", "printer rewrite New", "lock 11"}));

    // Shutdown: profile 0, then the closing routine.
    rig.settings->applyToMachine({});
    EXPECT_EQ(rig.value(kZone3, kDownloadValue), "0");
    rig.settings->RipristinaImpostazioni();
    expectMachineAsBefore(rig);
    EXPECT_EQ(rig.log.entries.back(), "restart shell") << "Windows 10";
    EXPECT_FALSE(platform::realFileSystem().fileExists(rig.journalPath()));
}

TEST(MachineProfile, ThePrinterOfTheStartComesBackWhenSomeoneElseChangedIt) {
    Rig rig;
    rig.settings->rememberSettings();
    rig.settings->applyToMachine({});
    rig.printers.device = "New,newdrv,Ne01:";
    rig.settings->RipristinaImpostazioni();
    EXPECT_EQ(rig.printers.device, "Old,olddrv,LPT1:");
    EXPECT_FALSE(platform::realFileSystem().fileExists(rig.journalPath()));
}

TEST(MachineProfile, AStartAfterACrashGivesTheMachineBackBeforeRememberingIt) {
    Rig rig;
    rig.settings->rememberSettings();
    rig.settings->applyToMachine(lockingProfile());
    ProfileSwitches other = lockingProfile();
    other.paginaPredefinita = "http://second/";
    rig.settings->applyToMachine(other);

    rig.newRun();  // the process was ended by force
    rig.settings->rememberSettings();
    expectMachineAsBefore(rig);
    EXPECT_EQ(rig.settings->lastRecovery().settings.size(), 5u);
    EXPECT_EQ(rig.log.entries.back(), "lock 00");
    EXPECT_FALSE(platform::realFileSystem().fileExists(rig.journalPath())) << "a fresh journal starts empty";

    // This run remembered the machine's own values, not the crashed run's:
    // a profile that changes none of them gives back what was remembered.
    rig.settings->applyToMachine({});
    rig.settings->RipristinaImpostazioni();
    expectMachineAsBefore(rig);
}

TEST(MachineProfile, EveryPreviousValueIsOnDiskBeforeItsSettingChanges) {
    Rig rig;
    rig.settings->rememberSettings();
    int checked = 0;
    rig.registry.beforeWrite = [&](std::string_view name) {
        const auto disk = rig.journal->read();
        const bool recorded = std::any_of(disk.settings.begin(), disk.settings.end(),
                                          [&](const SavedSetting& s) { return s.name == name; });
        EXPECT_TRUE(recorded) << name;
        ++checked;
    };
    rig.settings->applyToMachine(lockingProfile());
    rig.settings->ImpostaEmulazioneBrowser();
    rig.registry.beforeWrite = nullptr;
    EXPECT_EQ(checked, 3);
}

TEST(MachineProfile, AValueThatCannotGoBackStaysInTheJournalWithItsOldValue) {
    Rig rig;
    rig.settings->rememberSettings();
    rig.settings->applyToMachine(lockingProfile());
    rig.newRun();
    rig.registry.refuseName = kStartPage;
    rig.settings->rememberSettings();
    EXPECT_EQ(rig.value(kZone3, kDownloadValue), std::nullopt) << "the others went back";
    rig.settings->applyToMachine(lockingProfile());  // records nothing new for the start page

    rig.registry.refuseName.clear();
    rig.newRun();
    rig.settings->rememberSettings();
    expectMachineAsBefore(rig);
}

TEST(MachineProfile, ADamagedJournalIsSetAsideAndAFreshOneStarts) {
    Rig rig;
    test::writeFile(rig.journalPath(), "ombrix machine journal 1\nregistry\tHKCU\tSoftware\\Microsoft\\Inter");
    rig.settings->rememberSettings();
    EXPECT_EQ(rig.settings->lastRecovery().state, MachineJournal::State::Damaged);
    EXPECT_TRUE(platform::realFileSystem().fileExists(rig.journalPath() + ".damaged"));
    rig.settings->applyToMachine(lockingProfile());
    EXPECT_EQ(rig.journal->read().state, MachineJournal::State::Intact);
}

TEST(MachineProfile, HomePagesPrintersAndDesktopFlagsFollowTheProfile) {
    struct Case {
        const char* name;
        ProfileSwitches switches;
        std::optional<std::string> startPage;
        std::string device;
        const char* lock;
    };
    ProfileSwitches bat;
    bat.paginaPredefinita = "C:\\giochi\\avvia.BAT";
    bat.tastoStartDisabilitato = true;
    ProfileSwitches both;
    both.kiosk = both.tastoStartDisabilitato = true;
    both.stampantePredefinita = "Missing";
    ProfileSwitches blank;
    blank.paginaPredefinita = "   ";
    const std::vector<Case> cases = {
        {"a program is run, never written", bat, "http://school/", "Old,olddrv,LPT1:", "lock 01"},
        {"kiosk wins; an unlisted printer changes nothing", both, "http://school/", "Old,olddrv,LPT1:", "lock 11"},
        {"a blank page is none", blank, "http://school/", "Old,olddrv,LPT1:", "lock 00"},
    };
    for (const auto& c : cases) {
        Rig rig;
        rig.settings->rememberSettings();
        rig.settings->applyToMachine(c.switches);
        EXPECT_EQ(rig.value(kInternetExplorerMain, kStartPage), c.startPage) << c.name;
        EXPECT_EQ(HomePageFirefox(rig.profileFolder), "http://ff-own/") << c.name;
        EXPECT_EQ(rig.printers.device, c.device) << c.name;
        EXPECT_EQ(rig.log.entries.back(), c.lock) << c.name;
        EXPECT_EQ(rig.value(kZone3, kDownloadValue), "0") << c.name;
    }
}

TEST(MachineProfile, DefaultBrowserIsToldBySubstringInItsOrder) {
    struct Case {
        const char* progId;
        const char* startMenu;
        const char* command;
        const char* expected;
    };
    const Case cases[] = {
        {"FirefoxURL-308046B0AF4A39CB", "", "", "Firefox"},
        {"", "", "\"C:\\Program Files\\Internet Explorer\\iexplore.exe\" %1", "IExplore"},
        {"ChromeHTML", "", "", "Altro"},  // "Chrome" with a capital is none of the names
        {"", "Google chrome", "", "GoogleChrome"},
        {"", "", "\"C:\\Program Files\\Opera\\launcher.exe\" \"%1\"", "Opera"},
        {"", "", "", "Altro"},
        {"OperaChrome", "", "", "Opera"},  // Opera is asked before chrome
    };
    for (const auto& c : cases) {
        Rig rig;
        auto& r = rig.registry.inner;
        r.writeString(RegRoot::CurrentUser,
                      "SOFTWARE\\Microsoft\\Windows\\Shell\\Associations\\UrlAssociations\\https\\UserChoice",
                      "ProgId", c.progId);
        r.writeString(RegRoot::LocalMachine, "SOFTWARE\\Clients\\StartMenuInternet", "", c.startMenu);
        r.writeString(RegRoot::LocalMachine, "Software\\Classes\\http\\shell\\open\\command", "", c.command);
        EXPECT_EQ(rig.settings->BrowserPredefinito(), c.expected) << c.progId << c.startMenu << c.command;
    }
}

TEST(MachineProfile, TheOneShotTimerClosesTheBrowsersAndOpensTheHomePage) {
    struct Case {
        const char* name;
        const char* page;
        bool fullScreen;
        const char* progId;
        std::vector<std::string> expected;
    };
    const std::string ie = "\\internet explorer\\iexplore -k http://home/";
    const Case cases[] = {
        {"a program, minimised with focus", "avvia.exe ", false, "", {"run avvia.exe style 2", "lock 00"}},
        {"the start page, with the shell", "http://home/", false, "",
         {"open http://school/ in C:\\ style 1", "lock 00"}},
        {"full screen, both Internet Explorers", "http://home/", true, "IE.HTTP",
         {"run C:\\Program Files" + ie + " style 4", "run C:\\Program Files (x86)" + ie + " style 4", "full screen",
          "lock 00"}},
        {"full screen in Chrome", "http://home/", true, "chrome",
         {"run C:\\Users\\a\\AppData\\Local\\Google\\Chrome\\Application\\chrome.exe http://home/ --kiosk-printing "
          "--start-fullscreen style 1",
          "full screen", "lock 00"}},
        {"no page opens nothing", "", true, "", {"lock 00"}},
    };
    for (const auto& c : cases) {
        Rig rig;
        rig.system.env["ProgramFiles"] = "C:\\Program Files";
        rig.system.env["PROGRAMFILES(X86)"] = "C:\\Program Files (x86)";
        rig.system.env["USERPROFILE"] = "C:\\Users\\a";
        rig.registry.inner.writeString(
            RegRoot::CurrentUser, "SOFTWARE\\Microsoft\\Windows\\Shell\\Associations\\UrlAssociations\\https\\UserChoice",
            "ProgId", c.progId);
        for (const char* name : {"chrome.exe", "iexplorer.exe", "firefox.exe", "iexplore.exe"}) rig.processes.start(name);
        rig.processes.start("firefox.exe", 2);
        ProfileSwitches p;
        p.paginaPredefinita = c.page;
        p.apriPaginaInizialeATuttoSchermo = c.fullScreen;
        rig.settings->tickLanciaPaginaIniziale(p);

        std::vector<std::string> kills(rig.log.entries.begin(), rig.log.entries.begin() + 7);
        EXPECT_EQ(kills, (std::vector<std::string>{"kill iexplorer.exe", "kill iexplore.exe", "kill chrome.exe",
                                                   "kill firefox.exe", "kill firefox.exe", "kill firefox.exe",
                                                   "kill firefox.exe"}))
            << c.name;
        EXPECT_EQ(std::vector<std::string>(rig.log.entries.begin() + 7, rig.log.entries.end()), c.expected) << c.name;
    }
}

TEST(MachineProfile, SlideshowOffOnlyWhenThereIsOne) {
    Rig rig;
    rig.system.env["USERPROFILE"] = "C:\\Users\\a";
    const std::string file = "C:\\Users\\a\\AppData\\Roaming\\Microsoft\\Windows\\Themes\\slideshow.ini";
    rig.settings->DisattivaPresentazioneDesktop();
    EXPECT_TRUE(rig.log.entries.empty()) << "no slideshow, no restart of the shell";
    rig.files.files[file] = "[Slideshow]";
    rig.settings->DisattivaPresentazioneDesktop();
    EXPECT_EQ(rig.files.files.count(file), 0u);
    EXPECT_EQ(rig.log.entries, std::vector<std::string>{"restart shell"});
}

TEST(MachineProfile, WindowsVersionDecidesEmulationAndShellRestart) {
    struct Case {
        int major, minor;
        const char* emulation;
        bool restart;
    };
    const Case cases[] = {{5, 1, "8000", false}, {6, 1, "11000", false}, {6, 2, "11000", true},
                          {7, 0, "11000", true}, {10, 0, "11000", true}};
    for (const auto& c : cases) {
        Rig rig;
        rig.system.major = c.major;
        rig.system.minor = c.minor;
        rig.system.fileName = "kiosk.exe";
        rig.settings->rememberSettings();
        rig.settings->ImpostaEmulazioneBrowser();
        EXPECT_EQ(rig.value(kBrowserEmulation, "kiosk.exe"), c.emulation) << c.major << "." << c.minor;
        rig.settings->RipristinaImpostazioni();
        EXPECT_EQ(rig.log.count("restart shell"), c.restart ? 1 : 0) << c.major << "." << c.minor;
        EXPECT_EQ(rig.value(kBrowserEmulation, "kiosk.exe"), std::nullopt) << "given back too";
    }
}

}  // namespace
}  // namespace ombrix::core

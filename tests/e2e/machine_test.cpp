// What ombrix.exe changes on the machine, and the machine given back.
#include <gtest/gtest.h>

#include <random>

#include "app/win32/forms/resource.h"
#include "e2e/driver.h"
#include "machine/browser_policies.h"
#include "machine/machine_journal.h"
#include "machine/machine_profile.h"
#include "platform/files.h"
#include "platform/win32/wide.h"

namespace ombrix::e2e {
namespace {

const std::string kChrome = core::kChromePolicies, kEdge = core::kEdgePolicies, kFirefox = core::kFirefoxPolicies;

// The download block, the start page, a sample of the browsers' policies
// and the policy keys the program creates, those there now.
std::string machine() {
    std::string out = registryValue(core::kZone3, core::kDownloadValue) + " | " +
                      registryValue(core::kInternetExplorerMain, core::kStartPage);
    for (const auto& [key, name] : std::initializer_list<std::pair<std::string, const char*>>{
             {kChrome + "\\URLBlocklist", "1"}, {kChrome + "\\URLBlocklist", "2"}, {kChrome + "\\URLBlocklist", "3"},
             {kChrome, "IncognitoModeAvailability"}, {kEdge + "\\URLBlocklist", "1"}, {kEdge, "DnsOverHttpsMode"},
             {kFirefox + "\\WebsiteFilter\\Block", "1"}, {kFirefox, "DisablePrivateBrowsing"},
             {kFirefox + "\\DNSOverHTTPS", "Enabled"}}) {
        out += " | " + registryValue(key, name);
    }
    out += " | keys";
    for (const std::string& key : {kEdge, kEdge + "\\URLBlocklist", std::string("Software\\Policies\\Mozilla"), kFirefox,
                                   kFirefox + "\\WebsiteFilter", kFirefox + "\\WebsiteFilter\\Block",
                                   kFirefox + "\\DNSOverHTTPS"}) {
        if (registryKeyExists(key)) out += " " + key.substr(key.find("Policies\\") + 9);
    }
    return out;
}
// The administrator's own block list had a second entry; nothing else was set.
constexpr const char* kBefore = "- | text http://before.example/ | - | text own.example | - | - | - | - | - | - | - | keys";
constexpr const char* kLocked =
    "dword 3 | text http://home.example/ | text xn--vietat-8wa.it | text chrome://extensions | text chrome://policy | "
    "dword 1 | text xn--vietat-8wa.it | text off | text *://*.xn--vietat-8wa.it/* | dword 1 | dword 0 | keys "
    "Microsoft\\Edge Microsoft\\Edge\\URLBlocklist Mozilla Mozilla\\Firefox Mozilla\\Firefox\\WebsiteFilter "
    "Mozilla\\Firefox\\WebsiteFilter\\Block Mozilla\\Firefox\\DNSOverHTTPS";

class MachineTest : public InstalledProgram {
protected:
    MachineTest() {
        // Profile 2 blocks downloads and sites and has a home page; profile 1 changes little.
        install.sql("INSERT INTO Profili (IDProfilo, Profilo, SitiProibiti, BloccaDownload, PaginaPredefinita) "
                    "VALUES (2, 'Chiuso', -1, -1, 'http://home.example/');"
                    "INSERT INTO SitiVietatiConsentiti (IDProfilo, Sito) VALUES (2, '.vietatò.it'), (2, '*casino');");
        clear();
        // A machine that never had the zone value: giving it back means removing it.
        RegDeleteKeyValueW(HKEY_CURRENT_USER, win32::toWide(core::kZone3).c_str(), L"1803");
        const auto set = [](const std::string& key, const wchar_t* name, const std::wstring& value) {
            RegSetKeyValueW(HKEY_CURRENT_USER, win32::toWide(key).c_str(), name, REG_SZ, value.c_str(),
                            static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
        };
        set(core::kInternetExplorerMain, L"Start Page", L"http://before.example/");
        set(kChrome + "\\URLBlocklist", L"2", L"own.example");
    }
    ~MachineTest() override {
        // A test that failed half-way leaves the next one a clean machine.
        program.reset();
        if (install.journalExists()) (void)install.ctl("restore");
        clear();
    }
    static void clear() {
        for (const char* key : {"Software\\Policies\\Google", core::kEdgePolicies, "Software\\Policies\\Mozilla"}) {
            RegDeleteTreeW(HKEY_CURRENT_USER, win32::toWide(key).c_str());
        }
    }
};

TEST_F(MachineTest, TwentyForcedEndsAtRandomMomentsLeaveNothingBehind) {
    install.inUse(2);
    std::mt19937 random(std::random_device{}());
    std::uniform_int_distribution<int> moment(0, 2500);
    for (int i = 0; i < 20; ++i) {
        const int ms = moment(random);
        {
            const StartedProgram run = launch();
            pause(std::chrono::milliseconds(ms));
        }  // ended by force here
        const auto text = readWholeFile(pathToUtf8(install.journal()));
        EXPECT_TRUE(!text || core::parseJournal(*text)) << "a torn journal after " << ms << " ms";
    }
    install.inUse(1);
    HWND main = start();
    ASSERT_TRUE(main);
    exitProgram(main);
    EXPECT_EQ(machine(), kBefore);
    EXPECT_EQ(install.ctl("restore"), 0u) << "nothing to do is no error";
}

// Put in use by the administrator, the profile opens its home page once in
// the default browser; the exit gives back what it locked.
TEST_F(MachineTest, TheHomePageOpensOnceInTheDefaultBrowser) {
    // The default browser is a stand-in, under a name the home-page timer does not close.
    const std::string edge = test::copyProgram("browser_standin.exe", install.file("browser\\msedge.exe"));
    const test::MachineDefaultValue handler(L"Software\\Classes\\http\\shell\\open\\command",
                                            win32::toWide(test::quoted(edge)) + L" \"%1\"");
    ASSERT_TRUE(handler.ok());
    HWND main = start();
    ASSERT_TRUE(main && admin(main));
    ASSERT_TRUE(choose(GetDlgItem(main, IDC_CMBPROFILI), L"Chiuso"));
    // The stand-in's visible window (its first one is hidden).
    HWND shown = nullptr;
    ASSERT_TRUE(waitFor([&] {
        for (HWND w = nullptr; (w = FindWindowExW(nullptr, w, L"Chrome_WidgetWin_1", L"http://home.example/ - msedge"));) {
            if (IsWindowVisible(w)) shown = w;
        }
        return shown != nullptr;
    })) << "the stand-in was not asked to open the home page";
    EXPECT_TRUE(waitFor([] { return machine() == kLocked; })) << machine();
    click(GetDlgItem(main, IDC_CMDMINIMIZZA));
    bringToFront(shown);
    picture(shown, "home-page-in-browser");
    EXPECT_EQ(test::logLines(edge + ".record"), std::vector<std::string>{"open http://home.example/"});
    DWORD standin = 0;
    GetWindowThreadProcessId(shown, &standin);
    (void)StartedProgram::attach(standin);  // ended as it goes
    exitProgram(main);
    EXPECT_EQ(machine(), kBefore);
}

}  // namespace
}  // namespace ombrix::e2e

// What ombrix.exe changes on the machine (the browsers' policy keys among
// it), and the machine given back: after the exit command, after a forced
// end and the next start, and by ombrixctl restore.
#include <windows.h>

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "app/win32/forms/resource.h"
#include "e2e/driver.h"
#include "machine/browser_policies.h"
#include "machine/machine_journal.h"
#include "machine/machine_profile.h"

namespace ombrix::e2e {
namespace {

using namespace std::chrono_literals;

// The browsers' policy keys the program creates for a site list.
const char* const kPolicyKeys[] = {"Software\\Policies\\Google", core::kEdgePolicies, "Software\\Policies\\Mozilla"};

// The download block, the start page and the policy keys there.
std::string machine() {
    std::string keys = "keys";
    for (const char* key : kPolicyKeys) {
        if (registryKeyExists(key)) keys += std::string(" ") + key;
    }
    return registryValue(core::kZone3, core::kDownloadValue) + " | " +
           registryValue(core::kInternetExplorerMain, core::kStartPage) + " | " + keys;
}
constexpr const char* kLocked =
    "dword 3 | text http://home.example/ | keys Software\\Policies\\Google Software\\Policies\\Microsoft\\Edge "
    "Software\\Policies\\Mozilla";

class MachineTest : public InstalledProgram {
protected:
    MachineTest() {
        // Profile 2 blocks downloads and a site and has a home page; profile 1 changes little.
        install.sql("INSERT INTO Profili (IDProfilo, Profilo, SitiProibiti, BloccaDownload, PaginaPredefinita) "
                    "VALUES (2, 'Chiuso', -1, -1, 'http://home.example/');"
                    "INSERT INTO SitiVietatiConsentiti (IDProfilo, Sito) VALUES (2, '.vietato.example');");
        // Nor did it have the browsers' policy keys.
        for (const char* key : kPolicyKeys) RegDeleteTreeW(HKEY_CURRENT_USER, win32::toWide(key).c_str());
        // A machine that never had the zone value: giving it back means removing it.
        RegDeleteKeyValueW(HKEY_CURRENT_USER, win32::toWide(core::kZone3).c_str(), L"1803");
        RegSetKeyValueW(HKEY_CURRENT_USER, win32::toWide(core::kInternetExplorerMain).c_str(), L"Start Page", REG_SZ,
                        L"http://before.example/", sizeof L"http://before.example/");
    }
    ~MachineTest() override {
        // A test that failed half-way leaves the next one a clean machine.
        program.reset();
        if (journalExists()) (void)StartedProgram(restore()).waitForExit();
    }
    [[nodiscard]] std::string restore() const {
        return test::quoted(test::builtProgram("ombrixctl.exe")) + " --db " +
               test::quoted(pathToUtf8(install.database())) + " restore";
    }
    void inUse(int profile) const { install.sql("UPDATE Opzioni SET IDProfiloInUso = " + std::to_string(profile) + ";"); }
    [[nodiscard]] bool journalExists() const {
        return std::filesystem::exists(install.journal());
    }
    void exitThroughTheExitCommand(HWND main) {
        ShowWindow(main, SW_RESTORE);
        login(main, L"Segreta1");
        ASSERT_TRUE(waitFor([&] { return visible(GetDlgItem(main, IDC_CMBPROFILI)); }));
        // The closing notice, or the end: the click was taken.
        EXPECT_TRUE(clickUntil(GetDlgItem(main, IDC_CMDESCI), [&] {
            const auto windows = program->windows();
            return !program->running() || std::any_of(windows.begin(), windows.end(), [](HWND w) {
                       return GetDlgItem(w, IDC_LBLCHIUSURAINCORSO) != nullptr;
                   });
        }));
        EXPECT_EQ(program->waitForExit(30s), 0u);
    }
    void lockThenForceEnd() {
        inUse(2);
        // A home page pending: the form starts minimised.
        program = std::make_unique<StartedProgram>(launch());
        ASSERT_TRUE(waitFor([] { return machine() == kLocked; })) << machine();
        program.reset();
        EXPECT_EQ(machine(), kLocked) << "a forced end gives nothing back by itself";
        EXPECT_TRUE(journalExists());
    }
};

TEST_F(MachineTest, AForcedEndIsGivenBackByTheNextStartOrByOmbrixctlRestore) {
    const std::string before = machine();
    ASSERT_EQ(before, "- | text http://before.example/ | keys");
    lockThenForceEnd();
    inUse(1);
    HWND main = start();
    ASSERT_TRUE(main);
    exitThroughTheExitCommand(main);
    EXPECT_EQ(machine(), before);
    EXPECT_FALSE(journalExists());

    lockThenForceEnd();
    const std::string ctl = restore();
    EXPECT_EQ(StartedProgram(ctl).waitForExit(), 0u);
    EXPECT_EQ(machine(), before);
    EXPECT_FALSE(journalExists());
    EXPECT_EQ(StartedProgram(ctl).waitForExit(), 0u) << "nothing to do is no error";
}

TEST_F(MachineTest, TwentyForcedEndsAtRandomMomentsLeaveNothingBehind) {
    const std::string before = machine();
    inUse(2);
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
    inUse(1);
    HWND main = start();
    ASSERT_TRUE(main);
    exitThroughTheExitCommand(main);
    EXPECT_EQ(machine(), before);
}

TEST_F(MachineTest, TheHomePageOpensOnceInTheDefaultBrowser) {
    const std::string before = machine();
    // The default browser is a stand-in, under a name the home-page timer does not close.
    const std::string edge =
        test::copyProgram("browser_standin.exe", pathToUtf8(install.folder() / L"browser" / L"msedge.exe"));
    const test::MachineDefaultValue handler(L"Software\\Classes\\http\\shell\\open\\command",
                                            win32::toWide(test::quoted(edge)) + L" \"%1\"");
    ASSERT_TRUE(handler.ok());
    inUse(1);
    HWND main = start();
    ASSERT_TRUE(main);
    login(main, L"Segreta1");
    ASSERT_TRUE(waitFor([&] { return visible(GetDlgItem(main, IDC_CMBPROFILI)); }));
    click(GetDlgItem(main, IDC_CMBPROFILI));
    pressKey(VK_DOWN);
    pressKey(VK_RETURN);
    // The stand-in's visible window (its first one is hidden).
    HWND shown = nullptr;
    ASSERT_TRUE(waitFor([&] {
        for (HWND w = nullptr; (w = FindWindowExW(nullptr, w, L"Chrome_WidgetWin_1", L"http://home.example/ - msedge"));) {
            if (IsWindowVisible(w)) shown = w;
        }
        return shown != nullptr;
    })) << "the stand-in was not asked to open the home page";
    // The administrator puts the program away to look at the page.
    click(GetDlgItem(main, IDC_CMDMINIMIZZA));
    SetWindowPos(shown, nullptr, 40, 360, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
    bringToFront(shown);
    // Wine maps the window on the X server a little later than it says it is shown.
    pause(3s);
    screenshot("home-page-in-browser");
    EXPECT_EQ(test::logLines(edge + ".record"), std::vector<std::string>{"open http://home.example/"});
    DWORD standin = 0;
    GetWindowThreadProcessId(shown, &standin);
    if (const HANDLE h = OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, standin)) {
        TerminateProcess(h, 0);
        WaitForSingleObject(h, 5000);
        CloseHandle(h);
    }
    exitThroughTheExitCommand(main);
    EXPECT_EQ(machine(), before);
}

}  // namespace
}  // namespace ombrix::e2e

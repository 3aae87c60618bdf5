// What ombrix.exe changes on the machine, and the machine given back: after
// the exit command, after a forced end and the next start, and by
// ombrixctl restore.
#include <windows.h>

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "core/machine_journal.h"
#include "core/machine_profile.h"
#include "core/win32/resource.h"
#include "e2e/driver.h"

namespace ombrix::e2e {
namespace {

using namespace std::chrono_literals;

constexpr const wchar_t* kHome = L"http://home.example/";

// A value as the system holds it: its type and data, or nothing.
std::optional<std::wstring> raw(const char* key, const char* name) {
    BYTE data[2048] = {};
    DWORD size = sizeof data;
    DWORD type = REG_NONE;
    if (RegGetValueW(HKEY_CURRENT_USER, win32::toWide(key).c_str(), win32::toWide(name).c_str(),
                     RRF_RT_ANY | RRF_NOEXPAND, &type, data, &size) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    if (type == REG_DWORD) return L"dword " + std::to_wstring(*reinterpret_cast<DWORD*>(data));
    return L"text " + std::wstring(reinterpret_cast<wchar_t*>(data));
}

struct MachineState {
    std::optional<std::wstring> zone = raw(core::kZone3, core::kDownloadValue);
    std::optional<std::wstring> startPage = raw(core::kInternetExplorerMain, core::kStartPage);
    bool operator==(const MachineState&) const = default;
    [[nodiscard]] bool locked() const {
        return zone == L"dword 3" && startPage == L"text " + std::wstring(kHome);
    }
};

std::ostream& operator<<(std::ostream& out, const MachineState& s) {
    return out << win32::fromWide(s.zone.value_or(L"-")) << " / " << win32::fromWide(s.startPage.value_or(L"-"));
}

class MachineTest : public InstalledProgram {
protected:
    MachineTest() {
        // Profile 2 blocks downloads and has a home page; profile 1 changes little.
        install.sql("INSERT INTO Profili (IDProfilo, Profilo, SitiProibiti, BloccaDownload, PaginaPredefinita) "
                    "VALUES (2, 'Chiuso', -1, -1, 'http://home.example/');");
    }
    void inUse(int profile) const {
        install.sql("UPDATE Opzioni SET IDProfiloInUso = " + std::to_string(profile) + ";");
    }
    [[nodiscard]] std::filesystem::path journal() const {
        return install.database().parent_path() / core::kJournalFileName;
    }
    void exitThroughTheExitCommand(HWND main) {
        ShowWindow(main, SW_RESTORE);
        login(main, L"Segreta1");
        ASSERT_TRUE(waitFor([&] { return visible(GetDlgItem(main, IDC_CMBPROFILI)); }));
        click(GetDlgItem(main, IDC_CMDESCI));
        EXPECT_EQ(program->waitForExit(30s), 0u);
    }
    // Starts the program with profile 2 in use and ends it by force once it locked the machine.
    void lockThenForceEnd(const MachineState& before) {
        inUse(2);
        // A home page pending: the form starts minimised.
        program = std::make_unique<StartedProgram>(launch());
        ASSERT_TRUE(waitFor([] { return MachineState{}.locked(); })) << MachineState{};
        program.reset();
        EXPECT_TRUE(MachineState{}.locked()) << "a forced end gives nothing back by itself";
        EXPECT_TRUE(std::filesystem::exists(journal()));
        EXPECT_NE(MachineState{}, before);
    }
};

TEST_F(MachineTest, AForcedEndIsGivenBackByTheNextStart) {
    const MachineState before;
    lockThenForceEnd(before);
    inUse(1);
    HWND main = start();
    ASSERT_TRUE(main);
    EXPECT_TRUE(waitFor([&] { return MachineState{}.startPage == before.startPage; }))
        << "the start gave the start page back: " << MachineState{};
    exitThroughTheExitCommand(main);
    EXPECT_EQ(MachineState{}, before);
    EXPECT_FALSE(std::filesystem::exists(journal()));
}

TEST_F(MachineTest, AForcedEndIsGivenBackByOmbrixctlRestore) {
    const MachineState before;
    lockThenForceEnd(before);
    const std::string ctl = test::quoted(test::builtProgram("ombrixctl.exe")) + " --db " +
                            test::quoted(pathToUtf8(install.database())) + " restore";
    EXPECT_EQ(StartedProgram(ctl).waitForExit(), 0u);
    EXPECT_EQ(MachineState{}, before);
    EXPECT_FALSE(std::filesystem::exists(journal()));
    EXPECT_EQ(StartedProgram(ctl).waitForExit(), 0u) << "nothing to do is no error";
}

TEST_F(MachineTest, TwentyForcedEndsAtRandomMomentsLeaveNothingBehind) {
    const MachineState before;
    inUse(2);
    std::mt19937 random(std::random_device{}());
    std::uniform_int_distribution<int> moment(0, 2500);
    for (int i = 0; i < 20; ++i) {
        const int ms = moment(random);
        {
            const StartedProgram run = launch();
            pause(std::chrono::milliseconds(ms));
        }  // ended by force here
        const auto text = readWholeFile(pathToUtf8(journal()));
        EXPECT_TRUE(!text || core::parseJournal(*text)) << "a torn journal after " << ms << " ms";
    }
    inUse(1);
    HWND main = start();
    ASSERT_TRUE(main);
    exitThroughTheExitCommand(main);
    EXPECT_EQ(MachineState{}, before);
}

TEST_F(MachineTest, TheHomePageOpensOnceInTheDefaultBrowser) {
    const MachineState before;
    // The default browser is a stand-in, under a name the home-page timer does not close.
    const std::string edge = test::copyProgram(
        "browser_standin.exe", pathToUtf8(install.folder() / L"browser" / L"msedge.exe"));
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
    ASSERT_TRUE(waitFor([&] {
        const auto lines = test::logLines(edge + ".record");
        return std::find(lines.begin(), lines.end(), "open http://home.example/") != lines.end();
    })) << "the stand-in was not asked to open the home page";
    HWND shown = nullptr;
    EXPECT_TRUE(waitFor([&] { return (shown = FindWindowW(L"Chrome_WidgetWin_1", L"http://home.example/ - msedge")); }));
    // The administrator puts the program away to look at the page.
    click(GetDlgItem(main, IDC_CMDMINIMIZZA));
    if (shown) {
        // Clear of the form, which stays on top.
        SetWindowPos(shown, nullptr, 40, 360, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
        bringToFront(shown);
    }
    pause(1500ms);
    screenshot("home-page-in-browser");
    EXPECT_TRUE(shown && visible(shown));
    if (shown) PostMessageW(shown, WM_CLOSE, 0, 0);

    exitThroughTheExitCommand(main);
    EXPECT_EQ(MachineState{}, before);
}

}  // namespace
}  // namespace ombrix::e2e

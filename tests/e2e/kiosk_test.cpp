// The shell locked by a kiosk profile, in the virtual desktop's task bar:
// the Start button, the task bar's parts of later shells and the desktop
// icons, the keys that open Start or leave a program, and all of it given
// back by unlocking, and after a forced end by the next start or by
// ombrixctl restore.
#include <windows.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "app/win32/forms/resource.h"
#include "e2e/driver.h"
#include "machine/machine_journal.h"

namespace ombrix::e2e {
namespace {

using namespace std::chrono_literals;

// Presses that reached the show-desktop button's stand-in.
int g_desktopButtonPresses = 0;

LRESULT CALLBACK desktopButtonProc(HWND window, UINT msg, WPARAM wp, LPARAM lp) {
    if (msg == WM_LBUTTONDOWN) ++g_desktopButtonPresses;
    return DefWindowProcW(window, msg, wp, lp);
}

// Wine's task bar has the Start button but not the parts of later shells,
// nor their desktop icon view: stand-ins of this thread take their classes,
// the parts as children of the real task bar.
class ShellStandIns {
public:
    ShellStandIns() {
        RECT r{};
        GetWindowRect(tray_, &r);
        int left = (r.right - r.left) - 200;
        for (const wchar_t* cls : {L"TrayNotifyWnd", L"TrayDummySearchControl", L"TrayButton", L"Progman",
                                   L"SHELLDLL_DefView"}) {
            const bool icons = windows_.size() == 4;
            HWND parent = windows_.size() < 3 ? tray_ : icons ? windows_.back() : nullptr;
            WNDCLASSW wc{};
            wc.lpfnWndProc = DefWindowProcW;
            wc.hInstance = GetModuleHandleW(nullptr);
            wc.lpszClassName = cls;
            RegisterClassW(&wc);
            windows_.push_back(CreateWindowExW(0, cls, parent || icons ? L"" : L"Program Manager",
                                               (parent ? WS_CHILD : WS_POPUP) | WS_VISIBLE, left, 0, 60,
                                               r.bottom - r.top, parent, nullptr, wc.hInstance, nullptr));
            left -= 66;
        }
        // Right of the notification area, and left as it is by locking.
        WNDCLASSW wc{};
        wc.lpfnWndProc = desktopButtonProc;
        wc.hInstance = GetModuleHandleW(nullptr);
        wc.lpszClassName = L"TrayShowDesktopButtonWClass";
        RegisterClassW(&wc);
        desktopButton_ = CreateWindowExW(0, wc.lpszClassName, L"", WS_CHILD | WS_VISIBLE, (r.right - r.left) - 130, 0,
                                         40, r.bottom - r.top, tray_, nullptr, wc.hInstance, nullptr);
    }
    ~ShellStandIns() {
        DestroyWindow(desktopButton_);
        for (auto it = windows_.rbegin(); it != windows_.rend(); ++it) DestroyWindow(*it);
    }
    ShellStandIns(const ShellStandIns&) = delete;
    ShellStandIns& operator=(const ShellStandIns&) = delete;

    [[nodiscard]] HWND tray() const { return tray_; }
    [[nodiscard]] HWND desktopButton() const { return desktopButton_; }
    [[nodiscard]] HWND start() const { return FindWindowExW(tray_, nullptr, L"Button", nullptr); }
    // The Start button, the notification area, search box, task buttons,
    // desktop and its icons, each "enabled|disabled shown|hidden".
    [[nodiscard]] std::vector<std::string> state() const {
        std::vector<std::string> out;
        for (HWND w : {start(), windows_[0], windows_[1], windows_[2], windows_[3], windows_[4]}) {
            out.push_back(std::string(IsWindowEnabled(w) ? "enabled" : "disabled") +
                          (IsWindowVisible(w) ? " shown" : " hidden"));
        }
        return out;
    }

private:
    HWND tray_ = FindWindowW(L"Shell_TrayWnd", L"");
    std::vector<HWND> windows_;
    HWND desktopButton_ = nullptr;
};

const std::vector<std::string> kLocked = {"disabled hidden", "disabled shown",  "disabled hidden",
                                          "disabled hidden", "enabled hidden", "enabled hidden"};
const std::vector<std::string> kFree(6, "enabled shown");

class KioskTest : public InstalledProgram {
protected:
    KioskTest() {
        install.sql("INSERT INTO Profili (IDProfilo, Profilo, SitiProibiti, Kiosk, TastoStartDisabilitato) "
                    "VALUES (3, 'Chiosco', -1, -1, -1);");
    }
    ~KioskTest() override {
        // A test that failed half-way leaves the next one a free task bar.
        program.reset();
        ShowWindow(shell.start(), SW_SHOW);
        EnableWindow(shell.start(), TRUE);
        EnableWindow(shell.tray(), TRUE);
    }
    void inUse(int profile) const {
        install.sql("UPDATE Opzioni SET IDProfiloInUso = " + std::to_string(profile) + ";");
    }
    // Presses each key in the recorder's window; the keys that reached it.
    std::vector<std::string> keysReaching(const std::vector<WORD>& keys) {
        const std::string log = pathToUtf8(install.folder() / L"keys.log");
        std::filesystem::remove(install.folder() / L"keys.log");
        const StartedProgram recorder = test::startRecorder(test::recorderPath(), log, "Ombrix tasti");
        HWND window = nullptr;
        EXPECT_TRUE(waitFor([&] { return (window = FindWindowW(nullptr, L"Ombrix tasti")) != nullptr; }));
        bringToFront(window);
        for (const WORD key : keys) pressKey(key);
        // A last key that always passes: once it is in, every earlier one would be.
        pressKey('Z');
        EXPECT_TRUE(test::waitForLine(log, "key 90"));
        std::vector<std::string> arrived;
        for (const auto& line : test::logLines(log)) {
            if (line.rfind("key ", 0) == 0 && line != "key 90") arrived.push_back(line);
        }
        return arrived;
    }
    ShellStandIns shell;
};

TEST_F(KioskTest, LockingClosesTheShellAndItsKeysUnlockingGivesEveryOneBack) {
    ASSERT_TRUE(shell.tray() && shell.start()) << "the virtual desktop has no task bar";
    ASSERT_EQ(shell.state(), kFree);
    g_desktopButtonPresses = 0;
    // Injected: the X server's own pointer lost its first press here now and then.
    injectClick(shell.desktopButton());
    ASSERT_TRUE(waitFor([] { return g_desktopButtonPresses == 1; })) << "a free task bar takes the press";
    inUse(3);
    HWND main = start();
    ASSERT_TRUE(main);
    EXPECT_TRUE(waitFor([&] { return shell.state() == kLocked; })) << ::testing::PrintToString(shell.state());
    EXPECT_TRUE(IsWindowEnabled(shell.tray())) << "locking leaves the task bar itself enabled";
    // A press right of the notification area: the mouse guard switches the
    // task bar off before the press reaches it.
    injectClick(shell.desktopButton());
    EXPECT_TRUE(waitFor([&] { return !IsWindowEnabled(shell.tray()); }));
    pause(500ms);
    EXPECT_EQ(g_desktopButtonPresses, 1) << "the press reached the locked task bar";
    pause(1s);
    screenshot("kiosk-locked-desktop");

    const std::vector<std::string> locked = keysReaching({VK_ESCAPE, VK_LWIN, VK_RWIN, VK_APPS, 'A', VK_F4});
    EXPECT_EQ(locked, (std::vector<std::string>{"key 65", "key 115"})) << "Escape, the Windows keys and the menu key";

    // The administrator puts the profile without restrictions in use.
    ShowWindow(main, SW_RESTORE);
    login(main, L"Segreta1");
    ASSERT_TRUE(waitFor([&] { return visible(GetDlgItem(main, IDC_CMBPROFILI)); }));
    click(GetDlgItem(main, IDC_CMBPROFILI));
    pressKey(VK_UP);
    pressKey(VK_RETURN);
    EXPECT_TRUE(waitFor([&] { return shell.state() == kFree; })) << ::testing::PrintToString(shell.state());
    EXPECT_TRUE(IsWindowEnabled(shell.tray()));
    EXPECT_EQ(keysReaching({VK_ESCAPE, 'A'}), (std::vector<std::string>{"key 27", "key 65"}));
}

TEST_F(KioskTest, AForcedEndWhileLockedIsGivenBackByTheNextStart) {
    inUse(3);
    ASSERT_TRUE(start());
    ASSERT_TRUE(waitFor([&] { return shell.state() == kLocked; })) << ::testing::PrintToString(shell.state());
    program.reset();
    pause(500ms);
    // A forced end gives nothing back by itself; Wine's task bar shows its
    // Start button again as soon as a window goes, disabled as it is.
    const std::vector<std::string> after = shell.state();
    EXPECT_EQ(std::vector<std::string>(after.begin() + 1, after.end()),
              std::vector<std::string>(kLocked.begin() + 1, kLocked.end()));
    EXPECT_FALSE(IsWindowEnabled(shell.start()));
    EXPECT_TRUE(std::filesystem::exists(install.journal()));

    inUse(1);
    ASSERT_TRUE(start());
    EXPECT_TRUE(waitFor([&] { return shell.state() == kFree; })) << ::testing::PrintToString(shell.state());
    EXPECT_TRUE(IsWindowEnabled(shell.tray()));
}

TEST_F(KioskTest, AForcedEndWhileLockedIsGivenBackByOmbrixctlRestore) {
    inUse(3);
    ASSERT_TRUE(start());
    ASSERT_TRUE(waitFor([&] { return shell.state() == kLocked; })) << ::testing::PrintToString(shell.state());
    program.reset();
    const StartedProgram restore(test::quoted(test::builtProgram("ombrixctl.exe")) + " --db " +
                                 test::quoted(pathToUtf8(install.database())) + " restore");
    EXPECT_EQ(restore.waitForExit(), 0u);
    EXPECT_TRUE(waitFor([&] { return shell.state() == kFree; })) << ::testing::PrintToString(shell.state());
    EXPECT_TRUE(IsWindowEnabled(shell.tray()));
}

}  // namespace
}  // namespace ombrix::e2e

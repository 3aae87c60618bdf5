// The shell locked by a kiosk profile in the virtual desktop's task bar, and
// the application bar of a locked desktop with its browsers.
#include <windows.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "app/win32/forms/resource.h"
#include "browser/win32/browser_form_ids.h"
#include "e2e/driver.h"
#include "platform/process_control.h"
#include "platform/win32/machine.h"
#include "platform/win32/wide.h"

namespace ombrix::e2e {
namespace {

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
        WNDCLASSW wc{};
        wc.hInstance = GetModuleHandleW(nullptr);
        for (const wchar_t* cls : {L"TrayNotifyWnd", L"TrayDummySearchControl", L"TrayButton", L"Progman",
                                   L"SHELLDLL_DefView"}) {
            const bool icons = windows_.size() == 4;
            HWND parent = windows_.size() < 3 ? tray_ : icons ? windows_.back() : nullptr;
            wc.lpfnWndProc = DefWindowProcW;
            wc.lpszClassName = cls;
            RegisterClassW(&wc);
            windows_.push_back(CreateWindowExW(0, cls, parent || icons ? L"" : L"Program Manager",
                                               (parent ? WS_CHILD : WS_POPUP) | WS_VISIBLE, left, 0, 60,
                                               r.bottom - r.top, parent, nullptr, wc.hInstance, nullptr));
            left -= 66;
        }
        // Right of the notification area, and left as it is by locking.
        wc.lpfnWndProc = desktopButtonProc;
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
                    "VALUES (3, 'Chiosco', -1, -1, -1); UPDATE Opzioni SET IDProfiloInUso = 3;");
    }
    ~KioskTest() override {
        // A test that failed half-way leaves the next one a free task bar.
        program.reset();
        freeStart();
        EnableWindow(shell.tray(), TRUE);
    }
    void freeStart() const {
        ShowWindow(shell.start(), SW_SHOW);
        EnableWindow(shell.start(), TRUE);
    }
    bool locked() const { return waitFor([&] { return shell.state() == kLocked; }); }
    bool unlocked() const { return waitFor([&] { return shell.state() == kFree && IsWindowEnabled(shell.tray()); }); }
    // Presses each key in the recorder's window; the keys that reached it.
    std::vector<std::string> keysReaching(const std::vector<WORD>& keys) {
        const std::string log = install.file("keys.log");
        std::filesystem::remove(log);
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

TEST_F(KioskTest, LockingClosesTheShellAndItsKeysARestartedShellIsLockedAgainUnlockingGivesEveryOneBack) {
    ASSERT_TRUE(shell.tray() && shell.start()) << "the virtual desktop has no task bar";
    ASSERT_EQ(shell.state(), kFree);
    g_desktopButtonPresses = 0;
    // Injected: the X server's own pointer lost its first press here now and then.
    injectClick(shell.desktopButton());
    ASSERT_TRUE(waitFor([] { return g_desktopButtonPresses == 1; })) << "a free task bar takes the press";
    HWND main = start();
    ASSERT_TRUE(main);
    EXPECT_TRUE(locked()) << ::testing::PrintToString(shell.state());
    EXPECT_TRUE(IsWindowEnabled(shell.tray())) << "locking leaves the task bar itself enabled";
    // A press right of the notification area: the mouse guard switches the
    // task bar off before the press reaches it.
    injectClick(shell.desktopButton());
    EXPECT_TRUE(waitFor([&] { return !IsWindowEnabled(shell.tray()); }));
    pause(500ms);
    EXPECT_EQ(g_desktopButtonPresses, 1) << "the press reached the locked task bar";
    picture(shell.tray(), "kiosk-locked-desktop");
    EXPECT_EQ(keysReaching({VK_ESCAPE, VK_LWIN, VK_RWIN, VK_APPS, 'A', VK_F4}), (std::vector<std::string>{"key 65", "key 115"}))
        << "Escape, the Windows keys and the menu key";

    // A shell started again has a free task bar and says so to every window.
    // Wine's virtual desktop cannot start its shell again in the same session:
    // the new Start button is this one, freed, and the message is the real one.
    freeStart();
    DWORD_PTR result = 0;
    SendMessageTimeoutW(HWND_BROADCAST, RegisterWindowMessageW(L"TaskbarCreated"), 0, 0, SMTO_ABORTIFHUNG, 10000, &result);
    EXPECT_TRUE(waitFor([&] { return !IsWindowEnabled(shell.start()) && !IsWindowVisible(shell.start()); }))
        << "the new Start button is not locked";

    // The administrator puts the profile without restrictions in use.
    ASSERT_TRUE(admin(main));
    ASSERT_TRUE(choose(GetDlgItem(main, IDC_CMBPROFILI), L"Nessuna restrizione"));
    EXPECT_TRUE(unlocked()) << ::testing::PrintToString(shell.state());
    EXPECT_EQ(keysReaching({VK_ESCAPE, 'A'}), (std::vector<std::string>{"key 27", "key 65"}));
}

// A forced end gives nothing back by itself (Wine's task bar shows its Start
// button again as soon as a window goes, disabled as it is).
TEST_F(KioskTest, AForcedEndWhileLockedIsGivenBackByOmbrixctlRestore) {
    ASSERT_TRUE(start());
    ASSERT_TRUE(locked()) << ::testing::PrintToString(shell.state());
    program.reset();
    pause(500ms);
    const std::vector<std::string> after = shell.state();
    EXPECT_EQ(std::vector<std::string>(after.begin() + 1, after.end()), std::vector<std::string>(kLocked.begin() + 1, kLocked.end()));
    EXPECT_FALSE(IsWindowEnabled(shell.start()));
    EXPECT_TRUE(install.journalExists());
    EXPECT_EQ(install.ctl("restore"), 0u);
    EXPECT_TRUE(unlocked()) << ::testing::PrintToString(shell.state());
}

class InternalBrowserTest : public InstalledProgram {
protected:
    InternalBrowserTest() {
        install.sql(
            "INSERT INTO Profili (IDProfilo, Profilo, SitiProibiti, Kiosk, UtilizzaBrowserInterno) "
            "VALUES (3, 'Browser', -1, -1, -1);"
            "INSERT INTO SitiVietatiConsentiti (IDProfilo, Sito) VALUES (3, '.giochi.example');"
            "UPDATE Opzioni SET IDProfiloInUso = 3, LogSiti = -1;");
    }
    ~InternalBrowserTest() override {
        // Ended by force: the next test gets its Start button and task bar back.
        program.reset();
        const auto processes = win32::makeProcesses();
        (void)waitFor([&] { return platform::KillProcess(*processes, "msedge.exe") == 0; }, 5s);
        HWND tray = FindWindowW(L"Shell_TrayWnd", L"");
        HWND startButton = FindWindowExW(tray, nullptr, L"Button", nullptr);
        ShowWindow(startButton, SW_SHOW);
        EnableWindow(startButton, TRUE);
        EnableWindow(tray, TRUE);
    }
    [[nodiscard]] bool logged(const std::string& address) const {
        const std::string n = install.logScalar("SELECT COUNT(*) FROM LogSiti WHERE URL = '" + address + "';");
        return n != "0" && n != "<no log>";
    }
    void go(HWND browser, const std::wstring& address) {
        HWND edit = FindWindowExW(GetDlgItem(browser, IDC_CMBINDIRIZZI), nullptr, L"Edit", nullptr);
        fill(edit, address);
        pressKey(VK_RETURN);
    }
};

TEST_F(InternalBrowserTest, TheBarOpensTheBrowserWhichRefusesAForbiddenAddressAndGoesToAnAllowedOne) {
    ASSERT_TRUE(start());
    HWND bar = nullptr;
    ASSERT_TRUE(waitFor([&] { return (bar = formWith(*program, IDC_PCTBROWSER)) != nullptr; }));
    EXPECT_TRUE(topmost(bar));
    EXPECT_EQ(text(GetDlgItem(bar, IDC_LBLINTERNETEXPLORER)), install.message(msg::BarInternalBrowser));
    picture(bar, "frmBarraApplicazioni");

    HWND browser = nullptr;
    ASSERT_TRUE(clickUntil(GetDlgItem(bar, IDC_PCTBROWSER),
                           [&] { return (browser = formWith(*program, IDC_CMBINDIRIZZI)) != nullptr; }));
    EXPECT_EQ(text(GetDlgItem(browser, IDC_LBLBROWSER)), install.message(msg::ProtectedBrowserTitle));
    EXPECT_TRUE(waitFor([&] { return topmost(browser); })) << "the task-manager timer keeps it on top";

    go(browser, L"www.giochi.example/x");
    HWND box = nullptr;
    ASSERT_TRUE(waitFor([&] { return (box = notice()) != nullptr; })) << "no notice";
    EXPECT_EQ(text(GetDlgItem(box, IDC_LBLMESSAGGIO)),
              install.message(msg::SiteForbiddenInBrowser) + L" http://www.giochi.example/x");
    picture(browser, "frmBrowser");

    go(browser, L"www.scuola.example/compiti");
    EXPECT_TRUE(waitFor([&] { return logged("http://www.scuola.example/compiti"); }))
        << "the control was not asked for the allowed address";
    EXPECT_FALSE(logged("http://www.giochi.example/x"));
}

TEST_F(InternalBrowserTest, WithoutTheInternalBrowserTheBarOpensTheDefaultBrowserAtTheHomePage) {
    install.sql("UPDATE Profili SET UtilizzaBrowserInterno = 0, PaginaPredefinita = 'http://home.example/' "
                "WHERE IDProfilo = 3;");
    const std::string edge = test::copyProgram("browser_standin.exe", install.file("browser\\msedge.exe"));
    const test::MachineDefaultValue handler(L"Software\\Classes\\http\\shell\\open\\command",
                                            win32::toWide(test::quoted(edge)) + L" \"%1\"");
    ASSERT_TRUE(handler.ok());
    // With a home page to open the main form stays out of sight: the bar is what comes.
    run();
    HWND bar = nullptr;
    ASSERT_TRUE(waitFor([&] { return (bar = formWith(*program, IDC_PCTBROWSER)) != nullptr; }, 45s));
    EXPECT_EQ(text(GetDlgItem(bar, IDC_LBLINTERNETEXPLORER)), install.message(msg::BarDefaultBrowser));
    // The start may open the home page once by itself; the bar's is the one after.
    pause(2s);
    const std::size_t before = test::logLines(edge + ".record").size();
    ASSERT_TRUE(clickUntil(GetDlgItem(bar, IDC_PCTINTERNETEXPLORER),
                           [&] { return test::logLines(edge + ".record").size() > before; }));
    EXPECT_EQ(test::logLines(edge + ".record").back(), "open http://home.example/");
    EXPECT_EQ(formWith(*program, IDC_CMBINDIRIZZI), nullptr) << "no internal browser";
}

// Its options are the administrator's: reached from the main form after
// login, kept in the store.
TEST_F(InternalBrowserTest, TheAdministratorSwitchesPopUpsOffFromTheMainForm) {
    install.sql("UPDATE Opzioni SET IDProfiloInUso = 1;");
    HWND main = start();
    ASSERT_TRUE(main);
    EXPECT_FALSE(IsWindowVisible(GetDlgItem(main, IDC_CMDOPZIONIBROWSER))) << "hidden before login";
    ASSERT_TRUE(admin(main));
    HWND options = open(main, IDC_CMDOPZIONIBROWSER, IDC_CHKDISABILITAPOPUP);
    ASSERT_TRUE(options);
    EXPECT_TRUE(tick(GetDlgItem(options, IDC_CHKDISABILITAPOPUP),
                     [&] { return install.scalar("SELECT NoPopup FROM Opzioni;") == "-1"; }));
    EXPECT_TRUE(command(options, IDC_CMDESCIBROWSER, [&] { return !IsWindow(options); }));
}

}  // namespace
}  // namespace ombrix::e2e

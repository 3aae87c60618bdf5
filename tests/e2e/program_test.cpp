// ombrix.exe as its administrator meets it: start-up, login, the profile
// combo, the tray icon, the control box and the exit command.
#include <windows.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>

#include "app/win32/forms/resource.h"
#include "e2e/driver.h"
#include "platform/file_registry.h"

namespace ombrix::e2e {
namespace {

using namespace std::chrono_literals;

class ProgramTest : public InstalledProgram {
protected:
    // The tray icon's hidden window; only one program runs at a time.
    [[nodiscard]] static HWND trayWindow() { return FindWindowW(L"OmbrixNotifyIcon", nullptr); }
    [[nodiscard]] static bool adminShown(HWND main) { return visible(GetDlgItem(main, IDC_CMBPROFILI)); }
};

using test::trayIconPresent;

TEST_F(ProgramTest, StartsOnTopWithoutTaskBarButtonAndASecondStartEndsSilently) {
    HWND main = start();
    ASSERT_TRUE(visible(main)) << "the main form did not appear";
    screenshot("frmOmbrix-locked");
    EXPECT_TRUE(topmost(main));
    HWND owner = GetWindow(main, GW_OWNER);
    ASSERT_NE(owner, nullptr) << "an owned form has no task-bar button";
    EXPECT_FALSE(IsWindowVisible(owner));
    EXPECT_EQ(GetWindowLongW(main, GWL_EXSTYLE) & WS_EX_APPWINDOW, 0);
    EXPECT_FALSE(adminShown(main)) << "locked until the password is typed";
    ASSERT_TRUE(trayWindow());
    EXPECT_TRUE(waitFor([&] { return trayIconPresent(trayWindow()); }, 5s));

    // A message of its own would keep the second start from ending.
    EXPECT_EQ(launch().waitForExit(), 0u) << "the second start did not end silently";
    EXPECT_TRUE(program->running());
}

TEST_F(ProgramTest, TheRightPasswordOpensTheAdministratorControlsEscapeKeepsThemTheComboChoosesAProfile) {
    install.sql("INSERT INTO Profili (IDProfilo, Profilo, SitiProibiti) VALUES (2, 'Laboratorio', -1);");
    HWND main = start();
    ASSERT_TRUE(main);
    login(main, L"segreta1");
    EXPECT_FALSE(waitFor([&] { return adminShown(main); }, 1500ms)) << "letter case counts";
    click(GetDlgItem(main, IDC_TXTPASS));
    pressKey(VK_END);
    for (int i = 0; i < 12; ++i) pressKey(VK_BACK);
    login(main, L"Segreta1");
    ASSERT_TRUE(waitFor([&] { return adminShown(main); }));
    EXPECT_EQ(text(GetDlgItem(main, IDC_TXTPASS)), L"") << "the password box is cleared";
    EXPECT_TRUE(IsWindowEnabled(GetDlgItem(main, IDC_CMDPROFILI)));
    screenshot("frmOmbrix-administrator");

    bringToFront(main);
    pressKey(VK_ESCAPE);
    EXPECT_FALSE(waitFor([&] { return !visible(main) || !adminShown(main); }, 1500ms)) << "Escape hid or locked";

    HWND combo = GetDlgItem(main, IDC_CMBPROFILI);
    EXPECT_EQ(SendMessageW(combo, CB_GETCOUNT, 0, 0), 2);
    EXPECT_EQ(SendMessageW(combo, CB_GETCURSEL, 0, 0), 0);
    click(combo);
    pressKey(VK_DOWN);
    pressKey(VK_RETURN);
    EXPECT_TRUE(waitFor([&] { return install.scalar("SELECT IDProfiloInUso FROM Opzioni;") == "2"; }));
}

TEST_F(ProgramTest, TheFirstStartAsksForAPasswordInPlainSight) {
    install.sql("UPDATE Opzioni SET PasswordAdmin = NULL;");
    program = std::make_unique<StartedProgram>(launch());
    HWND options = nullptr;
    ASSERT_TRUE(waitFor([&] { return (options = formWith(*program, IDC_OPZ_TXTPASS)) != nullptr; }));
    pause(1s);
    screenshot("frmOpzioni-first-start");
    EXPECT_EQ(formWith(*program, IDC_LBLSPLASH), nullptr) << "the splash is gone before the question";
    RECT box{};
    GetWindowRect(options, &box);
    const POINT centre{(box.left + box.right) / 2, (box.top + box.bottom) / 2};
    EXPECT_EQ(GetAncestor(WindowFromPoint(centre), GA_ROOT), options) << "nothing covers the form";

    // The focus is in the first box: type the password twice and press Enter.
    typeText(L"Prima1");
    pressKey(VK_TAB);
    typeText(L"Prima1");
    pressKey(VK_RETURN);
    HWND main = nullptr;
    ASSERT_TRUE(waitFor([&] { return (main = formWith(*program, IDC_TXTPASS)) != nullptr; }));
    login(main, L"Prima1");
    EXPECT_TRUE(waitFor([&] { return adminShown(main); }));
}

// A store whose site list cannot be read: the administrator is told at start,
// first what the upgrade found, then that the lists could not be read.
TEST_F(ProgramTest, ADamagedStoreIsToldAtStart) {
    install.sql("DROP TABLE SitiVietatiConsentiti;");
    program = std::make_unique<StartedProgram>(launch());
    const std::pair<const wchar_t*, const char*> boxes[] = {
        {L"Il file non \u00e8 un database di Ombrix", "0315-not-our-store"},
        {L"Impossibile leggere il database", "0313-store-unreadable"},
    };
    for (const auto& [expected, name] : boxes) {
        SCOPED_TRACE(name);
        HWND box = nullptr;
        ASSERT_TRUE(waitFor([&] {
            for (HWND w : program->windows()) {
                if (IsWindowVisible(w) && text(GetDlgItem(w, 0xFFFF)).find(expected) != std::wstring::npos) {
                    box = w;
                    return true;
                }
            }
            return false;
        }));
        pause(1s);
        screenshot(name);
        bringToFront(box);
        pressKey(VK_RETURN);
        ASSERT_TRUE(waitFor([&] { return !IsWindow(box) || !visible(box); }));
    }
    EXPECT_TRUE(waitFor([&] { return formWith(*program, IDC_TXTPASS) != nullptr; })) << "the start-up goes on";
}

// A machine whose administrator chose a password, and its store gone: the
// program says so, offers no new password, and the browsers' policies block
// every page.
TEST_F(ProgramTest, ALostStoreIsToldAndEveryPageIsBlocked) {
    platform::systemRegistry().writeString(platform::RegRoot::LocalMachine, "SOFTWARE\\Ombrix\\Opzioni",
                                           "PasswordScelta", "1");
    std::filesystem::remove(install.database());
    program = std::make_unique<StartedProgram>(launch());
    HWND box = nullptr;
    ASSERT_TRUE(waitFor([&] {
        for (HWND w : program->windows()) {
            if (IsWindowVisible(w) && text(GetDlgItem(w, 0xFFFF)).find(L"manca") != std::wstring::npos) box = w;
        }
        return box != nullptr;
    }));
    pause(1s);
    screenshot("0355-store-lost");
    bringToFront(box);
    pressKey(VK_RETURN);
    HWND main = nullptr;
    ASSERT_TRUE(waitFor([&] { return (main = formWith(*program, IDC_TXTPASS)) != nullptr; }));
    EXPECT_TRUE(waitFor([] {
        return registryValue("Software\\Policies\\Google\\Chrome\\URLBlocklist", "1") == "text *";
    })) << registryValue("Software\\Policies\\Google\\Chrome\\URLBlocklist", "1");
    EXPECT_EQ(formWith(*program, IDC_OPZ_TXTPASS), nullptr) << "no new password is offered";
}

TEST_F(ProgramTest, TheControlBoxHidesTheFormTheExitCommandEndsTheProgram) {
    HWND main = start();
    ASSERT_TRUE(main);
    const HWND tray = trayWindow();
    login(main, L"Segreta1");
    ASSERT_TRUE(waitFor([&] { return adminShown(main); }));

    // The close button: the form goes to the tray, locked, and the program stays.
    PostMessageW(main, WM_SYSCOMMAND, SC_CLOSE, 0);
    EXPECT_TRUE(waitFor([&] { return !visible(main); }));
    pause(1s);
    EXPECT_TRUE(program->running());
    EXPECT_TRUE(trayIconPresent(tray));

    // The tray menu's first entry brings it back, locked, with the focus in the password box.
    PostMessageW(tray, 40959, 0, WM_RBUTTONUP);
    pause(800ms);
    screenshot("mnuMenu");
    pressKey(VK_DOWN);
    pressKey(VK_RETURN);
    ASSERT_TRUE(waitFor([&] { return visible(main); })) << "mnuApri did not show the form";
    EXPECT_FALSE(adminShown(main));

    login(main, L"Segreta1");
    ASSERT_TRUE(waitFor([&] { return adminShown(main); }));
    EXPECT_TRUE(clickUntil(GetDlgItem(main, IDC_CMDESCI), [&] {
        HWND closing = nullptr;
        for (HWND w : program->windows()) {
            if (GetDlgItem(w, IDC_LBLCHIUSURAINCORSO)) closing = w;
        }
        if (closing && visible(closing)) screenshot("frmChiusuraInCorso");
        return closing != nullptr || !program->running();
    }));
    EXPECT_EQ(program->waitForExit(), 0u) << "the exit command did not end the program";
    EXPECT_FALSE(trayIconPresent(tray)) << "the tray icon is removed";
    // The store was closed cleanly: no journal left, and it reads back.
    EXPECT_FALSE(std::filesystem::exists(install.database().wstring() + L"-journal"));
    EXPECT_EQ(install.scalar("SELECT IDProfiloInUso FROM Opzioni;"), "1");
}

}  // namespace
}  // namespace ombrix::e2e

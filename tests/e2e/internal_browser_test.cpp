// The internal browser in the running program: the application bar of a
// locked desktop opens it, a forbidden address typed in its address box is
// refused with a notice, an allowed one is asked of the control (the
// visited-sites log shows where the control went).
#include <windows.h>

#include <gtest/gtest.h>

#include <string>

#include "browser/win32/browser_form_ids.h"
#include "core/win32/resource.h"
#include "e2e/driver.h"

namespace ombrix::e2e {
namespace {

using namespace std::chrono_literals;

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
        HWND tray = FindWindowW(L"Shell_TrayWnd", L"");
        HWND startButton = FindWindowExW(tray, nullptr, L"Button", nullptr);
        ShowWindow(startButton, SW_SHOW);
        EnableWindow(startButton, TRUE);
        EnableWindow(tray, TRUE);
    }
    [[nodiscard]] bool logged(const std::string& address) const {
        return install.scalar("SELECT COUNT(*) FROM LogSiti WHERE URL = '" + address + "';") != "0";
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
    EXPECT_EQ(text(GetDlgItem(bar, IDC_LBLINTERNETEXPLORER)), L"Browser interno");
    pause(500ms);
    screenshot("frmBarraApplicazioni");

    HWND browser = nullptr;
    ASSERT_TRUE(clickUntil(GetDlgItem(bar, IDC_PCTBROWSER),
                           [&] { return (browser = formWith(*program, IDC_CMBINDIRIZZI)) != nullptr; }));
    EXPECT_EQ(text(GetDlgItem(browser, IDC_LBLBROWSER)), L"Browser protetto di Ombrix");

    go(browser, L"www.giochi.example/x");
    HWND box = nullptr;
    ASSERT_TRUE(waitFor([&] { return (box = notice()) != nullptr; })) << "no notice";
    EXPECT_EQ(text(GetDlgItem(box, IDC_LBLMESSAGGIO)), L"Sito vietato: http://www.giochi.example/x");
    screenshot("frmBrowser");

    go(browser, L"www.scuola.example/compiti");
    EXPECT_TRUE(waitFor([&] { return logged("http://www.scuola.example/compiti"); }))
        << "the control was not asked for the allowed address";
    EXPECT_FALSE(logged("http://www.giochi.example/x"));
}

}  // namespace
}  // namespace ombrix::e2e

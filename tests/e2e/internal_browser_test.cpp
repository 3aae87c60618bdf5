// The internal browser in the running program: the application bar of a
// locked desktop opens it, a forbidden address typed in its address box is
// refused with a notice, an allowed one is asked of the control (the
// visited-sites log shows where the control went).
#include <windows.h>

#include <tlhelp32.h>

#include <gtest/gtest.h>

#include <string>

#include "app/win32/forms/resource.h"
#include "browser/win32/browser_form_ids.h"
#include "e2e/driver.h"
#include "platform/win32/handles.h"
#include "platform/win32/wide.h"

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
        endStandIns();
        HWND tray = FindWindowW(L"Shell_TrayWnd", L"");
        HWND startButton = FindWindowExW(tray, nullptr, L"Button", nullptr);
        ShowWindow(startButton, SW_SHOW);
        EnableWindow(startButton, TRUE);
        EnableWindow(tray, TRUE);
    }
    // The default browser's stand-ins this test started, wherever it failed.
    void endStandIns() const {
        const win32::UniqueKernelHandle snapshot =
            win32::adoptInvalidOnFailure(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
        PROCESSENTRY32W entry{};
        entry.dwSize = sizeof entry;
        for (BOOL more = snapshot && Process32FirstW(snapshot.get(), &entry); more;
             more = Process32NextW(snapshot.get(), &entry)) {
            if (_wcsicmp(entry.szExeFile, L"msedge.exe") != 0) continue;
            const win32::UniqueKernelHandle h(OpenProcess(
                PROCESS_TERMINATE | SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, entry.th32ProcessID));
            wchar_t path[MAX_PATH] = {};
            DWORD size = MAX_PATH;
            if (!h || !QueryFullProcessImageNameW(h.get(), 0, path, &size)) continue;
            const std::wstring folder = install.folder().wstring();
            if (_wcsnicmp(path, folder.c_str(), folder.size()) != 0) continue;
            TerminateProcess(h.get(), 0);
            WaitForSingleObject(h.get(), 5000);
        }
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
    pause(500ms);
    screenshot("frmBarraApplicazioni");

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
    screenshot("frmBrowser");

    go(browser, L"www.scuola.example/compiti");
    EXPECT_TRUE(waitFor([&] { return logged("http://www.scuola.example/compiti"); }))
        << "the control was not asked for the allowed address";
    EXPECT_FALSE(logged("http://www.giochi.example/x"));
}

TEST_F(InternalBrowserTest, WithoutTheInternalBrowserTheBarOpensTheDefaultBrowserAtTheHomePage) {
    install.sql("UPDATE Profili SET UtilizzaBrowserInterno = 0, PaginaPredefinita = 'http://home.example/' "
                "WHERE IDProfilo = 3;");
    const std::string edge =
        test::copyProgram("browser_standin.exe", pathToUtf8(install.folder() / L"browser" / L"msedge.exe"));
    const test::MachineDefaultValue handler(L"Software\\Classes\\http\\shell\\open\\command",
                                            win32::toWide(test::quoted(edge)) + L" \"%1\"");
    ASSERT_TRUE(handler.ok());
    // With a home page to open the main form stays out of sight: the bar is what comes.
    program = std::make_unique<StartedProgram>(launch());
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
    HWND button = GetDlgItem(main, IDC_CMDOPZIONIBROWSER);
    EXPECT_FALSE(IsWindowVisible(button)) << "hidden before login";
    login(main, L"Segreta1");
    ASSERT_TRUE(waitFor([&] { return visible(button); }));
    pause(1500ms);
    screenshot("frmOmbrix-browser-options");
    HWND options = nullptr;
    ASSERT_TRUE(clickUntil(button, [&] { return (options = formWith(*program, IDC_CHKDISABILITAPOPUP)) != nullptr; }));
    heldClick(GetDlgItem(options, IDC_CHKDISABILITAPOPUP));
    EXPECT_TRUE(waitFor([&] { return install.scalar("SELECT NoPopup FROM Opzioni;") == "-1"; }));
    click(GetDlgItem(options, IDC_CMDESCIBROWSER));
    EXPECT_TRUE(waitFor([&] { return !IsWindow(options); }));
}

}  // namespace
}  // namespace ombrix::e2e

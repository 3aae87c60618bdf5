// The site list enforced on browser stand-ins under browsers' names; another
// stand-in, the default browser, receives the pages the program reopens.
#include <gtest/gtest.h>

#include <algorithm>

#include "app/win32/forms/resource.h"
#include "e2e/driver.h"
#include "enforce/address_readers.h"
#include "platform/process_control.h"
#include "platform/win32/machine.h"
#include "platform/win32/wide.h"
#include "win32/browser_standin.h"

namespace ombrix::e2e {
namespace {

using test::StandinBrowser;

// The address bar named as the browsers of that kind name it in the user's
// language (the program looks for it under that name when the Italian one
// misses); with a class, the stand-in takes that kind's window class.
std::string standinArguments(enforce::Browser kind, const char* windowClass = nullptr, const std::string& name = {}) {
    const platform::AccessibleQuery bar =
        enforce::localizedQuery(kind, enforce::languageSettingFor(GetUserDefaultUILanguage())).query;
    return (windowClass ? std::string("--class ") + windowClass + " " : std::string()) +
           (bar.property == platform::AccessibleText::Help && !windowClass ? "--help " : "--name ") +
           test::quoted(name.empty() ? bar.text : name);
}

bool contains(const std::vector<std::string>& lines, const std::string& line) {
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

int countPrefix(const std::vector<std::string>& lines, const std::string& prefix) {
    return static_cast<int>(std::count_if(lines.begin(), lines.end(), [&](const std::string& l) { return l.rfind(prefix, 0) == 0; }));
}

// A domain, a keyword and a prefix entry, as a forbidden list, with the log on.
constexpr const char* kForbiddenProfile =
    "INSERT INTO SitiVietatiConsentiti (IDProfilo, Sito) VALUES (1, '.vietato.example'), (1, '*casino'),"
    " (1, 'scuola.example/giochi');"
    "UPDATE Opzioni SET LogSiti = -1;";
constexpr const char* kGoodPage = "http://scuola.example/compiti";

class BrowserSites : public InstalledProgram {
protected:
    ~BrowserSites() override {
        program.reset();  // ended before the browsers
        browser.reset();
        // The default browser's stand-ins the shell started, one still on its way found by a later look.
        const auto processes = win32::makeProcesses();
        if (!image.empty()) waitFor([&] { return platform::KillProcess(*processes, image) == 0; }, 5s);
    }

    // The program, once its main form shows and the splash has gone (its
    // closing could move the activation away from the browser).
    void startProgram(const std::string& moreSql = {}) {
        install.sql(std::string(kForbiddenProfile) + moreSql);
        ASSERT_TRUE(start());
        ASSERT_TRUE(waitFor([&] { return formWith(*program, IDC_LBLSPLASH) == nullptr; }));
    }

    // A stand-in of `name` as the default browser (the http class's open
    // command; with one of that name running, the address is handed to it),
    // and one running in front.
    StandinBrowser& startBrowser(const std::string& name, const std::string& arguments,
                                 const std::string& standin = "browser_standin.exe") {
        image = name;
        defaultExe = test::copyProgram(standin, install.file("predefinito\\" + name));
        defaultBrowser = std::make_unique<test::MachineDefaultValue>(
            L"Software\\Classes\\http\\shell\\open\\command",
            win32::toWide(test::quoted(defaultExe) + " " + arguments + " \"%1\""));
        EXPECT_TRUE(defaultBrowser->ok()) << "cannot register the default browser";
        browser = std::make_unique<StandinBrowser>(name, arguments, standin);
        EXPECT_TRUE(browser->started()) << name;
        // Ctrl+W goes to the foreground window: the browser must be it.
        EXPECT_TRUE(browser->send("activate"));
        EXPECT_TRUE(waitFor([&] { return GetForegroundWindow() == browser->window(); }, 5s)) << windowInFront();
        return *browser;
    }

    bool noticeShows(const std::wstring& expected) const { return waitFor([&] { return noticeText() == expected; }); }

    // The logged addresses in the order they were written.
    [[nodiscard]] std::vector<std::string> logged() const {
        return test::splitLines(
            install.logScalar("SELECT group_concat(URL, char(10)) FROM (SELECT URL FROM LogSiti ORDER BY rowid);"));
    }
    bool waitLogged(const std::string& address) const { return waitFor([&] { return contains(logged(), address); }); }

    // A page the profile lets through; its row in the log says the program
    // has seen it, and a few more ticks of the site timer (stretched to some
    // hundreds of milliseconds on a loaded machine) make it the last good page.
    void showAccepted(StandinBrowser& b, const std::string& address) {
        ASSERT_TRUE(b.send("show " + address));
        ASSERT_TRUE(waitLogged(address)) << address << " was not seen";
        pause(1s);
    }

    // A forbidden address in a new tab: closed with Ctrl+W and noticed, the
    // last good page reopened, the browser left running, nothing logged.
    void expectClosed(StandinBrowser& b, const std::string& address, const std::wstring& notice) {
        ASSERT_TRUE(b.send("tab " + address));
        EXPECT_TRUE(b.recorded("ctrl+w tab")) << "the tab was not closed";
        EXPECT_TRUE(noticeShows(notice)) << "notice: " << win32::fromWide(noticeText());
        if (HWND n = this->notice()) {
            EXPECT_EQ(text(GetDlgItem(n, IDC_LBLTIPO)), L"Sito bloccato");
            // Kept on top, it never takes the keyboard: the next Ctrl+W must reach the browser.
            EXPECT_FALSE(waitFor([&] { return GetForegroundWindow() == n; }, 1s)) << "the notice took the focus";
        }
        EXPECT_TRUE(b.recorded(std::string("open ") + kGoodPage))
            << "the last good page was not reopened; the default browser's record: "
            << ::testing::PrintToString(test::logLines(defaultExe + ".record"));
        const auto record = b.record();
        EXPECT_EQ(countPrefix(record, "ctrl+w"), 1) << "one close was enough" << ::testing::PrintToString(record);
        EXPECT_EQ(countPrefix(record, "open"), 1) << ::testing::PrintToString(record);
        EXPECT_TRUE(b.running()) << "the browser survives a page that closed";
        EXPECT_FALSE(contains(logged(), address)) << "a forbidden page is never logged";
    }

    std::string image, defaultExe;
    std::unique_ptr<test::MachineDefaultValue> defaultBrowser;
    std::unique_ptr<StandinBrowser> browser;
};

struct BrowserCase {
    const char* image;
    const char* standin;     // the program copied
    const char* windowClass;  // for a browser known by its class alone
    enforce::Browser kind;
    const char* address;
    const wchar_t* notice;
};

class ForbiddenPage : public BrowserSites, public ::testing::WithParamInterface<BrowserCase> {};

TEST_P(ForbiddenPage, IsClosedWithCtrlWNoticedAndTheLastGoodPageReopens) {
    const BrowserCase& c = GetParam();
    startProgram();
    StandinBrowser& b = startBrowser(c.image, standinArguments(c.kind, c.windowClass), c.standin);
    ASSERT_TRUE(b.started());
    showAccepted(b, kGoodPage);
    EXPECT_TRUE(b.record().empty()) << "an allowed page is left alone";
    expectClosed(b, c.address, c.notice);
    picture(notice(), std::string("frmMessaggio-over-") + c.image);
}

using enforce::Browser;
INSTANTIATE_TEST_SUITE_P(
    Browsers, ForbiddenPage,
    ::testing::Values(
        BrowserCase{"chrome.exe", "browser_standin.exe", nullptr, Browser::Chrome, "http://www.vietato.example/gioco",
                    L"Sito non consentito: http://www.vietato.example/gioco"},
        BrowserCase{"msedge.exe", "browser_standin.exe", nullptr, Browser::Edge, "https://cerca.example/?q=casino",
                    L"Sito bloccato perch\u00e9 l'indirizzo contiene una parola vietata: https://cerca.example/?q=casino"},
        BrowserCase{"firefox.exe", "browser_standin.exe", nullptr, Browser::Firefox, "https://www.scuola.example/giochi/1",
                    L"Sito vietato: https://www.scuola.example/giochi/1"},
        // Known by the name inside its executable, and by its window class alone.
        BrowserCase{"navigatore.exe", "brave_standin.exe", "chromium", Browser::Chrome, "http://www.vietato.example/gioco",
                    L"Sito non consentito: http://www.vietato.example/gioco (navigatore.exe (brave.exe))"},
        BrowserCase{"volpe.exe", "browser_standin.exe", "gecko", Browser::Firefox, "http://www.vietato.example/gioco",
                    L"Sito non consentito: http://www.vietato.example/gioco (volpe.exe)"}),
    [](const auto& param) {
        const std::string image = param.param.image;
        return image.substr(0, image.find('.'));
    });

// "No profile" in use is an allowed list with nothing in it: a page in any
// browser ends it, and so do the browsers whose address is not read. It is in
// use outside every time slot when the fallback is left on no profile, and
// when the profile stored as in use is none.
class NoProfileInUse : public BrowserSites, public ::testing::WithParamInterface<bool> {};

TEST_P(NoProfileInUse, EndsAnyPageAndTheBrowsersItCannotRead) {
    if (GetParam()) {
        // One slot, hours away from now, for the profile with nothing forbidden.
        const std::string slot = secondsNow() < 12 * 3600 ? "'20:00:00', Fascia1Alle = '20:30:00'"
                                                          : "'02:00:00', Fascia1Alle = '02:30:00'";
        install.sql("UPDATE Opzioni SET FasceOrarie = -1; UPDATE Fasce SET Fascia1Dalle = " + slot + ", Fascia1Profilo = 1;");
    } else {
        install.sql("UPDATE Opzioni SET IDProfiloInUso = NULL;");
    }
    // With the slots on the main form starts minimised: the program is watched through what it ends.
    run();
    const StartedProgram opera = startCopy("opera.exe", "Opera");
    ASSERT_TRUE(opera.started());
    ASSERT_TRUE(opera.waitForExit(45s)) << "a browser whose address is not read still runs";
    if (GetParam()) {
        EXPECT_EQ(install.scalar("SELECT quote(IDProfiloInUso) FROM Opzioni;"), "0");
    }
    StandinBrowser chrome("chrome.exe", standinArguments(Browser::Chrome));
    ASSERT_TRUE(chrome.started());
    ASSERT_TRUE(chrome.send("show http://scuola.example/"));
    EXPECT_TRUE(chrome.waitForExit()) << "a page was let through";
    EXPECT_TRUE(noticeShows(L"Sito non consentito: http://scuola.example/")) << win32::fromWide(noticeText());
    EXPECT_TRUE(program->running());
}

INSTANTIATE_TEST_SUITE_P(Ways, NoProfileInUse, ::testing::Bool(),
                         [](const auto& param) { return std::string(param.param ? "OutsideTheSlots" : "NoneStored"); });

}  // namespace
}  // namespace ombrix::e2e

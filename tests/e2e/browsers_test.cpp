// The site list enforced on the browsers by the running program: the real
// ombrix.exe against the browser stand-in copied as chrome.exe, msedge.exe or
// firefox.exe, with a stand-in of the same browser registered as the
// machine's default browser, so that the pages the program reopens arrive
// where a pupil would see them.
#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "app/win32/forms/resource.h"
#include "e2e/driver.h"
#include "enforce/address_readers.h"
#include "enforce/site_timer.h"
#include "platform/process_control.h"
#include "platform/win32/machine.h"
#include "platform/win32/wide.h"
#include "win32/browser_standin.h"

namespace ombrix::e2e {
namespace {

using namespace std::chrono_literals;
using test::StandinBrowser;

constexpr int kStandinEditId = 101;  // the stand-in's address edit
// Long enough for many ticks of every enforcement timer (sites 50 ms, log 250 ms).
constexpr auto kQuietSpell = 1500ms;

// The browsers name their address bar in the user's language, and the
// program looks for it under that language's name when the first, Italian,
// search misses (always with Firefox, and with Chrome and Edge both running,
// since their windows share a class). The stand-ins wear the same names.
std::string standinArguments(const std::string& image) {
    const enforce::Browser browser = image == "firefox.exe"  ? enforce::Browser::Firefox
                                     : image == "msedge.exe" ? enforce::Browser::Edge
                                                             : enforce::Browser::Chrome;
    const std::string language = enforce::languageSettingFor(GetUserDefaultUILanguage());
    const platform::AccessibleQuery bar = enforce::localizedQuery(browser, language).query;
    return (bar.property == platform::AccessibleText::Help ? "--help " : "--name ") + test::quoted(bar.text);
}

// A stand-in of `image` registered as the machine's default browser: the
// http class's open command, where the shell looks. With a stand-in of that
// name running, the address is handed to it (it records "open URL");
// otherwise a new one starts from here and records in record(). The test's
// own browser ended first, ends whatever of that name the shell started.
class DefaultBrowser {
public:
    DefaultBrowser(const std::filesystem::path& folder, const std::string& image, const std::string& arguments,
                   const std::string& program)
        : image_(image),
          exe_(test::copyProgram(program, pathToUtf8(folder / pathFromUtf8(image)))),
          command_(L"Software\\Classes\\http\\shell\\open\\command",
                   win32::toWide(test::quoted(exe_) + " " + arguments + " \"%1\"")) {}
    ~DefaultBrowser() {
        // A start still on its way is found by a later look.
        const auto processes = win32::makeProcesses();
        waitFor([&] { return platform::KillProcess(*processes, image_) == 0; }, 5s);
    }
    DefaultBrowser(const DefaultBrowser&) = delete;
    DefaultBrowser& operator=(const DefaultBrowser&) = delete;

    [[nodiscard]] bool ok() const { return command_.ok(); }
    [[nodiscard]] std::vector<std::string> record() const { return test::logLines(exe_ + ".record"); }

private:
    std::string image_;
    std::string exe_;
    test::MachineDefaultValue command_;
};

bool contains(const std::vector<std::string>& lines, const std::string& line) {
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

int countPrefix(const std::vector<std::string>& lines, const std::string& prefix) {
    return static_cast<int>(
        std::count_if(lines.begin(), lines.end(), [&](const std::string& l) { return l.rfind(prefix, 0) == 0; }));
}

class BrowserSites : public InstalledProgram {
protected:
    ~BrowserSites() override { program.reset(); }  // ended before the browsers

    // The program, once its main form shows and the splash has gone (its
    // closing could move the activation away from the browser).
    void startProgram() {
        start();
        ASSERT_TRUE(waitFor([&] {
            bool main = false, splash = false;
            for (HWND w : program->windows()) {
                if (GetDlgItem(w, IDC_TXTPASS) && IsWindowVisible(w)) main = true;
                if (GetDlgItem(w, IDC_LBLSPLASH)) splash = true;
            }
            return main && !splash;
        })) << "the main form did not settle";
    }

    // A stand-in of `image` as the default browser, and one running in front.
    StandinBrowser& startBrowser(const std::string& image) {
        return startBrowser(image, standinArguments(image), "browser_standin.exe");
    }
    StandinBrowser& startBrowser(const std::string& image, const std::string& arguments, const std::string& standin) {
        defaultBrowser = std::make_unique<DefaultBrowser>(install.folder() / L"predefinito", image, arguments, standin);
        EXPECT_TRUE(defaultBrowser->ok()) << "cannot register the default browser";
        browser = std::make_unique<StandinBrowser>(image, arguments, standin);
        EXPECT_TRUE(browser->started()) << image;
        if (browser->started()) bringForward(*browser);
        return *browser;
    }
    // Ctrl+W goes to the foreground window: the browser must be it.
    static void bringForward(StandinBrowser& b) {
        EXPECT_TRUE(b.send("activate"));
        EXPECT_TRUE(waitFor([&] { return GetForegroundWindow() == b.window(); }, 5s)) << "not in front; " << windowInFront();
    }

    [[nodiscard]] std::wstring noticeText() const {
        HWND n = notice();
        return n ? text(GetDlgItem(n, IDC_LBLMESSAGGIO)) : std::wstring();
    }
    // True once the notice shows `expected`.
    bool noticeShows(const std::wstring& expected) const {
        return waitFor([&] { return noticeText() == expected; });
    }

    // The logged addresses in the order they were written.
    [[nodiscard]] std::vector<std::string> logged() const {
        return test::splitLines(
            install.logScalar("SELECT group_concat(URL, char(10)) FROM (SELECT URL FROM LogSiti ORDER BY rowid);"));
    }
    bool waitLogged(const std::string& address) const {
        return waitFor([&] { return contains(logged(), address); });
    }

    // The browser shows a page the profile lets through; with the log on, its
    // row says the program has seen it, and a few more site ticks make it the
    // last accepted page whichever timer saw it first.
    void showAccepted(StandinBrowser& b, const std::string& address) {
        ASSERT_TRUE(b.send("show " + address));
        ASSERT_TRUE(waitLogged(address)) << address << " was not seen";
        // The log timer may have logged it before the site timer read it; a
        // loaded machine stretches the site timer's tick to some hundreds of
        // milliseconds, and only its reading makes the page the last good one.
        pause(1s);
    }

    // What the stand-in's address edit shows (its text lives in the other process).
    [[nodiscard]] static std::string addressShown(const StandinBrowser& b) {
        wchar_t buffer[512] = {};
        DWORD_PTR length = 0;
        SendMessageTimeoutW(GetDlgItem(b.window(), kStandinEditId), WM_GETTEXT, 512, reinterpret_cast<LPARAM>(buffer),
                            SMTO_ABORTIFHUNG, 5000, &length);
        return win32::fromWide(buffer);
    }
    std::unique_ptr<DefaultBrowser> defaultBrowser;
    std::unique_ptr<StandinBrowser> browser;
};

// A profile with a domain, a keyword and a prefix entry, as a forbidden list,
// with the log on.
constexpr const char* kForbiddenProfile =
    "INSERT INTO SitiVietatiConsentiti (IDProfilo, Sito) VALUES (1, '.vietato.example');"
    "INSERT INTO SitiVietatiConsentiti (IDProfilo, Sito) VALUES (1, '*casino');"
    "INSERT INTO SitiVietatiConsentiti (IDProfilo, Sito) VALUES (1, 'scuola.example/giochi');"
    "UPDATE Opzioni SET LogSiti = -1;";
constexpr const char* kGoodPage = "http://scuola.example/compiti";

struct ForbiddenCase {
    const char* image;
    const char* address;  // shown, and read so
    const wchar_t* notice;
};

class BrowserForbiddenPage : public BrowserSites, public ::testing::WithParamInterface<ForbiddenCase> {};

TEST_P(BrowserForbiddenPage, IsClosedWithCtrlWNoticedAndTheLastGoodPageReopens) {
    const ForbiddenCase& c = GetParam();
    install.sql(kForbiddenProfile);
    startProgram();
    StandinBrowser& b = startBrowser(c.image);
    ASSERT_TRUE(b.started());
    showAccepted(b, kGoodPage);

    ASSERT_TRUE(b.send(std::string("tab ") + c.address));
    EXPECT_TRUE(b.recorded("ctrl+w tab")) << "the tab was not closed";
    EXPECT_TRUE(noticeShows(c.notice)) << "notice: " << win32::fromWide(noticeText());
    if (HWND n = notice()) {
        EXPECT_EQ(text(GetDlgItem(n, IDC_LBLTIPO)), L"Sito bloccato");
        // Kept on top, the notice never takes the keyboard: the next Ctrl+W
        // must reach the browser, and the pupil may go on typing.
        EXPECT_FALSE(waitFor([&] { return GetForegroundWindow() == n; }, 1s)) << "the notice took the focus";
    }
    EXPECT_TRUE(b.recorded(std::string("open ") + kGoodPage))
        << "the last good page was not reopened; the default browser's own record: "
        << ::testing::PrintToString(defaultBrowser->record());
    if (std::string(c.image) == "chrome.exe") screenshot("frmMessaggio-over-browser");

    const auto record = b.record();
    EXPECT_EQ(countPrefix(record, "ctrl+w"), 1) << "one close was enough" << ::testing::PrintToString(record);
    EXPECT_EQ(countPrefix(record, "open"), 1) << ::testing::PrintToString(record);
    EXPECT_TRUE(b.running()) << "the browser survives a page that closed";
    EXPECT_EQ(addressShown(b), kGoodPage);
    EXPECT_FALSE(contains(logged(), c.address)) << "a forbidden page is never logged";
}

INSTANTIATE_TEST_SUITE_P(
    Browsers, BrowserForbiddenPage,
    ::testing::Values(ForbiddenCase{"chrome.exe", "http://www.vietato.example/gioco",
                                    L"Sito non consentito: http://www.vietato.example/gioco"},
                      ForbiddenCase{"msedge.exe", "https://cerca.example/?q=casino",
                                    L"Sito bloccato perch\u00e9 l'indirizzo contiene una parola vietata: "
                                    L"https://cerca.example/?q=casino"},
                      ForbiddenCase{"firefox.exe", "https://www.scuola.example/giochi/1",
                                    L"Sito vietato: https://www.scuola.example/giochi/1"}),
    [](const auto& param) {
        const std::string image = param.param.image;
        return image.substr(0, image.find('.'));
    });

TEST_F(BrowserSites, APageThatSurvivesTwoClosesEndsTheBrowserAndTheLastGoodPageReopens) {
    install.sql(kForbiddenProfile);
    startProgram();
    StandinBrowser& b = startBrowser("chrome.exe");
    ASSERT_TRUE(b.started());
    showAccepted(b, kGoodPage);

    ASSERT_TRUE(b.send("ctrlw ignore\nctrlw ignore\ntab http://www.vietato.example/"));
    EXPECT_TRUE(b.waitForExit()) << "the browser was not ended";
    // The second Ctrl+W may still be on its way when the browser is ended.
    EXPECT_TRUE(b.recorded("ctrl+w ignore")) << ::testing::PrintToString(b.record());
    EXPECT_FALSE(contains(b.record(), "exit")) << "terminated, not closed";
    EXPECT_TRUE(noticeShows(L"Sito non consentito: http://www.vietato.example/"));
    // The browser starts again with the last page that passed.
    EXPECT_TRUE(waitFor([&] { return contains(defaultBrowser->record(), std::string("open ") + kGoodPage); }))
        << "the last good page was not reopened";
}

TEST_F(BrowserSites, AHalfTypedAddressIsNeverJudged) {
    install.sql(kForbiddenProfile);
    startProgram();
    StandinBrowser& b = startBrowser("chrome.exe");
    ASSERT_TRUE(b.started());
    ASSERT_TRUE(b.send(std::string("tab ") + kGoodPage));

    // The pupil is typing a forbidden address: the focus is in the bar.
    ASSERT_TRUE(b.send("type www.vietato.example"));
    EXPECT_FALSE(waitFor([&] { return !b.record().empty() || notice() != nullptr || !b.running(); }, kQuietSpell))
        << "a half-typed address was judged";

    // The focus leaves the bar with the text in it: now it is the address.
    ASSERT_TRUE(b.send("blur"));
    EXPECT_TRUE(b.recorded("ctrl+w tab"));
    EXPECT_TRUE(noticeShows(L"Sito non consentito: http://www.vietato.example"));
    EXPECT_TRUE(b.running());
}

TEST_F(BrowserSites, TheLogHoldsEachVisitedAddressOnce) {
    install.sql(kForbiddenProfile);
    startProgram();
    // Three browsers at once: each keeps its own last address, and one outside
    // ASCII comes back whole through the accessible objects.
    StandinBrowser edge("msedge.exe", standinArguments("msedge.exe"));
    StandinBrowser firefox("firefox.exe", standinArguments("firefox.exe"));
    ASSERT_TRUE(edge.started());
    ASSERT_TRUE(firefox.started());
    StandinBrowser& chrome = startBrowser("chrome.exe");
    ASSERT_TRUE(chrome.started());

    const std::string apostrophe = "http://scuola.example/l'albero";
    ASSERT_TRUE(chrome.send("show http://scuola.example/storia"));
    ASSERT_TRUE(edge.send("show https://biblioteca.example/"));
    ASSERT_TRUE(firefox.send("show https://www.museo.example/S\u00e0la"));
    for (const char* a :
         {"http://scuola.example/storia", "https://biblioteca.example/", "https://www.museo.example/S\u00e0la"}) {
        EXPECT_TRUE(waitLogged(a)) << a;
    }
    ASSERT_TRUE(chrome.send("show " + apostrophe));
    EXPECT_TRUE(waitLogged(apostrophe));
    // Pages left open for many ticks of both timers are not written again.
    pause(kQuietSpell);

    std::vector<std::string> rows = logged();
    std::sort(rows.begin(), rows.end());
    const std::vector<std::string> expected{"http://scuola.example/l'albero", "http://scuola.example/storia",
                                            "https://biblioteca.example/", "https://www.museo.example/S\u00e0la"};
    EXPECT_EQ(rows, expected);
    EXPECT_EQ(install.logScalar("SELECT COUNT(*) FROM LogSiti "
                                "WHERE DataOra IS NULL OR DataOra NOT LIKE '____-__-__ __:__:__';"),
              "0")
        << "every row has its date and time";
}

// Browsers known by what they show: the stand-in under names the program
// never heard of, with either window class, judged as Chrome is.
struct OtherCase {
    const char* image;
    const char* program;  // the stand-in copied
    bool gecko;
    const wchar_t* label;  // the program as the notice names it
};

// The address bar named as the browsers of that class name it in the user's language.
std::string otherArguments(bool gecko, const std::string& name = {}) {
    const std::string language = enforce::languageSettingFor(GetUserDefaultUILanguage());
    const platform::AccessibleQuery bar =
        enforce::localizedQuery(gecko ? enforce::Browser::Firefox : enforce::Browser::Chrome, language).query;
    return std::string("--class ") + (gecko ? "gecko" : "chromium") + " --name " +
           test::quoted(name.empty() ? bar.text : name);
}

class OtherBrowser : public BrowserSites, public ::testing::WithParamInterface<OtherCase> {};

TEST_P(OtherBrowser, AForbiddenPageIsClosedAnAllowedOneLeftAndLogged) {
    const OtherCase& c = GetParam();
    install.sql(kForbiddenProfile);
    startProgram();
    StandinBrowser& b = startBrowser(c.image, otherArguments(c.gecko), c.program);
    ASSERT_TRUE(b.started());
    showAccepted(b, kGoodPage);
    EXPECT_TRUE(b.record().empty()) << "an allowed page is left alone: " << ::testing::PrintToString(b.record());

    const std::string forbidden = "http://www.vietato.example/gioco";
    ASSERT_TRUE(b.send("tab " + forbidden));
    EXPECT_TRUE(b.recorded("ctrl+w tab")) << "the tab was not closed";
    EXPECT_TRUE(noticeShows(L"Sito non consentito: " + win32::toWide(forbidden) + L" (" + c.label + L")"))
        << "notice: " << win32::fromWide(noticeText());
    EXPECT_TRUE(b.recorded(std::string("open ") + kGoodPage)) << "the last good page was not reopened";
    if (std::string(c.program) != "browser_standin.exe") screenshot("frmMessaggio-over-renamed-browser");
    EXPECT_FALSE(contains(logged(), forbidden)) << "a forbidden page is never logged";
}

INSTANTIATE_TEST_SUITE_P(
    Names, OtherBrowser,
    ::testing::Values(OtherCase{"brave.exe", "browser_standin.exe", false, L"brave.exe"},
                      OtherCase{"vivaldi.exe", "browser_standin.exe", false, L"vivaldi.exe"},
                      OtherCase{"navigatore.exe", "brave_standin.exe", false, L"navigatore.exe (brave.exe)"},
                      OtherCase{"volpe.exe", "browser_standin.exe", true, L"volpe.exe"}),
    [](const auto& param) {
        const std::string image = param.param.image;
        return image.substr(0, image.find('.'));
    });

// A program built on Chromium whose text field is no address bar: under an
// allowed list, past the grace of a browser whose address cannot be read.
TEST_F(BrowserSites, AChromiumWindowWithoutAnAddressBarIsLeftAlone) {
    install.sql(std::string(kForbiddenProfile) + "UPDATE Profili SET SitiProibiti = 0 WHERE IDProfilo = 1;");
    startProgram();
    StandinBrowser editor("editor.exe", otherArguments(false, "Cerca nei file"));
    ASSERT_TRUE(editor.started());
    ASSERT_TRUE(editor.send("show http://altro.example/"));
    EXPECT_FALSE(waitFor([&] { return !editor.running() || notice() != nullptr || !editor.record().empty(); },
                         std::chrono::milliseconds(enforce::SiteTimer::kUnreadableGraceMs) + 3s))
        << "the editor was judged";
}

// "No profile" in use is an allowed list with nothing in it: a page in any
// browser ends it, and so do the browsers whose address is not read. It
// comes to be in use outside every time slot when the fallback is left on
// no profile, and when the profile stored as in use is none.
struct NoProfileCase {
    const char* name;
    bool slots;  // else IDProfiloInUso is NULL
};

void PrintTo(const NoProfileCase& c, std::ostream* out) { *out << c.name; }

class NoProfileInUse : public BrowserSites, public ::testing::WithParamInterface<NoProfileCase> {};

TEST_P(NoProfileInUse, EndsAnyPageAndTheBrowsersItCannotRead) {
    if (GetParam().slots) {
        // One slot, hours away from now, for the profile with nothing forbidden.
        SYSTEMTIME now{};
        GetLocalTime(&now);
        const std::string slot = now.wHour < 12 ? "'20:00:00', Fascia1Alle = '20:30:00'"
                                                : "'02:00:00', Fascia1Alle = '02:30:00'";
        install.sql("UPDATE Opzioni SET FasceOrarie = -1;"
                    "UPDATE Fasce SET Fascia1Dalle = " + slot + ", Fascia1Profilo = 1;");
    } else {
        install.sql("UPDATE Opzioni SET IDProfiloInUso = NULL;");
    }
    // With the slots on the main form starts minimised: the program is
    // watched through what it ends.
    program = std::make_unique<StartedProgram>(launch());
    const std::string exe = test::copyRecorder(pathToUtf8(install.folder() / L"opera.exe"));
    StartedProgram opera = test::startRecorder(exe, pathToUtf8(install.folder() / L"opera.log"), "Opera");
    ASSERT_TRUE(opera.started());
    ASSERT_TRUE(opera.waitForExit(45s)) << "a browser whose address is not read still runs";
    if (GetParam().slots) {
        EXPECT_EQ(install.scalar("SELECT quote(IDProfiloInUso) FROM Opzioni;"), "0");
    }

    StandinBrowser chrome("chrome.exe", standinArguments("chrome.exe"));
    ASSERT_TRUE(chrome.started());
    ASSERT_TRUE(chrome.send("show http://scuola.example/"));
    EXPECT_TRUE(chrome.waitForExit()) << "a page was let through";
    EXPECT_TRUE(noticeShows(L"Sito non consentito: http://scuola.example/"))
        << "notice: " << win32::fromWide(noticeText());
    EXPECT_TRUE(program->running());
}

INSTANTIATE_TEST_SUITE_P(Ways, NoProfileInUse,
                         ::testing::Values(NoProfileCase{"OutsideTheSlots", true},
                                           NoProfileCase{"NoneStored", false}),
                         [](const auto& param) { return std::string(param.param.name); });

}  // namespace
}  // namespace ombrix::e2e

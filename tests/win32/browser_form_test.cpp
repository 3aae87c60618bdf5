#include <windows.h>

#include <commctrl.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "browser/win32/browser_form.h"
#include "browser/win32/browser_form_ids.h"
#include "core/browser_switches.h"
#include "fakes/fixtures.h"
#include "fakes/list_verdicts.h"
#include "helpers.h"
#include "platform/win32/wide.h"
#include "support/language.h"
#include "support/win32/dialog_translation.h"

// frmBrowser with the real control: what a typed address becomes, the
// notices, home for a local file, pop-ups. Wine loads no page here; the
// control's location says what it was last asked for and did not refuse.
namespace ombrix::win32 {
namespace {

using namespace std::chrono_literals;

using test::ListVerdicts;

// The control's home page, inside every list of these tests.
constexpr wchar_t kMainKey[] = L"Software\\Microsoft\\Internet Explorer\\Main";
constexpr wchar_t kHome[] = L"http://www.scuola.example/casa";

class BrowserFormTest : public ::testing::Test {
protected:
    BrowserFormTest() {
        wchar_t buffer[1024] = {};
        DWORD size = sizeof buffer;
        if (RegGetValueW(HKEY_CURRENT_USER, kMainKey, L"Start Page", RRF_RT_REG_SZ, nullptr, buffer, &size) ==
            ERROR_SUCCESS) {
            startPage_ = buffer;
        }
        setStartPage(kHome);
    }
    ~BrowserFormTest() override { setStartPage(startPage_.c_str()); }
    static void setStartPage(const wchar_t* page) {
        RegSetKeyValueW(HKEY_CURRENT_USER, kMainKey, L"Start Page", REG_SZ, page,
                        static_cast<DWORD>((wcslen(page) + 1) * sizeof(wchar_t)));
    }

    BrowserFormContext context(const core::SiteVerdicts& verdicts) {
        return {language, verdicts, store, [this](const std::string& t) { notices.push_back(t); },
                [this] { ++controlsMade; }, {}};
    }
    // Opens the form and waits for the control to have gone home.
    std::string openAtHome(BrowserForm& form) {
        EXPECT_TRUE(form.open(true, nullptr));
        EXPECT_TRUE(test::waitFor([&] { return !form.address().empty(); }));
        return form.address();
    }
    static void type(BrowserForm& form, const std::string& text) {
        setWindowText(GetDlgItem(form.window(), IDC_CMBINDIRIZZI), text);
    }
    static void goTo(BrowserForm& form, const std::string& text) {
        type(form, text);
        SendMessageW(form.window(), WM_COMMAND, MAKEWPARAM(IDC_PCTGO, BN_CLICKED), 0);
    }

    Language language{platform::realSystem().programFolder(), '\\'};
    core::Database store = test::deliveredStore();  // both switches off
    std::vector<std::string> notices;
    int controlsMade = 0;

private:
    std::wstring startPage_;
};

TEST_F(BrowserFormTest, ATypedAddressIsCheckedBeforeTheControlIsAskedAndALocalFileSendsItHome) {
    const ListVerdicts forbidden(false, {".giochi.example", "*casino", "http://www.wiki.example/"});
    const ListVerdicts allowed(true, {".scuola.example"});
    ASSERT_EQ(fromWide(kHome), "http://www.scuola.example/casa");
    const struct {
        const ListVerdicts& list;
        const char* typed;
        const char* notice;    // "" for none
        const char* location;  // "home", or where the control is
    } cases[] = {
        {forbidden, "www.scuola.example/compiti", "", "http://www.scuola.example/compiti"},
        {forbidden, "www.giochi.example/x", "Sito vietato: http://www.giochi.example/x", "home"},
        {forbidden, "http://www.casino.example/", "Sito vietato: http://www.casino.example/", "home"},
        {allowed, "www.scuola.example/a", "", "http://www.scuola.example/a"},
        // Told, gone back, asked again and refused before any request.
        {allowed, "www.giochi.example", "Sito non compreso tra quelli consentiti: http://www.giochi.example", "home"},
    };
    for (const auto& c : cases) {
        notices.clear();
        BrowserFormContext ctx = context(c.list);
        BrowserForm form(ctx);
        EXPECT_EQ(openAtHome(form), "http://www.scuola.example/casa");
        goTo(form, c.typed);
        const std::string expected = std::string(c.location) == "home" ? fromWide(kHome) : c.location;
        EXPECT_TRUE(test::waitFor([&] { return form.address() == expected; }, 3s)) << c.typed << ": " << form.address();
        test::pause(300ms);
        EXPECT_EQ(form.address(), expected) << c.typed;
        EXPECT_EQ(notices, c.notice[0] ? std::vector<std::string>{c.notice} : std::vector<std::string>{}) << c.typed;
    }
    EXPECT_EQ(controlsMade, 5) << "the rendering mode is written before each control";

    // The address box: the list's whole addresses, then each one that passed.
    BrowserFormContext ctx = context(forbidden);
    BrowserForm form(ctx);
    const std::string home = openAtHome(form);
    HWND box = GetDlgItem(form.window(), IDC_CMBINDIRIZZI);
    EXPECT_EQ(SendMessageW(box, CB_GETCOUNT, 0, 0), 1);
    goTo(form, "www.scuola.example/");
    ASSERT_TRUE(test::waitFor([&] { return form.address() == "http://www.scuola.example/"; }, 3s)) << form.address();
    EXPECT_EQ(SendMessageW(box, CB_GETCOUNT, 0, 0), 2);
    EXPECT_EQ(windowText(GetDlgItem(form.window(), IDC_LBLBROWSER)), "Browser protetto di Ombrix");
    // The page's progress, as the control tells it: the bar and its percentage, reset when done.
    WebBrowserEvents& events = form;
    events.progressChange(42, 100);
    EXPECT_EQ(windowText(GetDlgItem(form.window(), IDC_LBLPERCENTUALE)), "42%");
    EXPECT_EQ(SendMessageW(GetDlgItem(form.window(), IDC_PROGRESSBAR1), PBM_GETPOS, 0, 0), 42);
    test::screenshot("frmBrowser-progress");
    events.progressChange(-1, 100);
    EXPECT_EQ(windowText(GetDlgItem(form.window(), IDC_LBLPERCENTUALE)), "");
    EXPECT_EQ(SendMessageW(GetDlgItem(form.window(), IDC_PROGRESSBAR1), PBM_GETPOS, 0, 0), 0);
    // A local file in the box, even before Enter, sends the browser home.
    type(form, "file:///c:/windows/");
    EXPECT_TRUE(test::waitFor([&] { return form.address() == home; }, 3s)) << form.address();
    form.close();
    EXPECT_FALSE(form.isOpen());
}

TEST_F(BrowserFormTest, APopUpIsCancelledWithNoPopupOrOpensInAnotherGovernedWindow) {
    const ListVerdicts forbidden(false, {".giochi.example"});
    BrowserFormContext ctx = context(forbidden);
    std::vector<std::unique_ptr<BrowserForm>> popups;
    ctx.openPopup = [&]() -> BrowserForm* {
        popups.push_back(std::make_unique<BrowserForm>(ctx));
        return popups.back()->open(false, nullptr) ? popups.back().get() : nullptr;
    };
    ASSERT_TRUE(core::setBrowserSwitch(store, core::kNoPrint, true));
    BrowserForm form(ctx);
    openAtHome(form);
    EXPECT_FALSE(IsWindowVisible(GetDlgItem(form.window(), IDC_PCTSTAMPA))) << "no printing: no print button";
    WebBrowserEvents& events = form;

    ASSERT_TRUE(core::setBrowserSwitch(store, core::kNoPopup, true));
    IDispatch* window = nullptr;
    EXPECT_TRUE(events.newWindow(&window));
    EXPECT_EQ(window, nullptr);
    EXPECT_TRUE(popups.empty());

    ASSERT_TRUE(core::setBrowserSwitch(store, core::kNoPopup, false));
    EXPECT_FALSE(events.newWindow(&window));
    ASSERT_EQ(popups.size(), 1U);
    ASSERT_NE(window, nullptr) << "the new window's control is handed to the page";
    window->Release();
    EXPECT_TRUE(IsWindowVisible(popups[0]->window()));
    EXPECT_TRUE(static_cast<WebBrowserEvents&>(*popups[0]).beforeNavigate("http://www.giochi.example/", true))
        << "the pop-up is checked as its opener is";
}

}  // namespace
}  // namespace ombrix::win32

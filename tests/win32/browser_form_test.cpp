// The browser control hosted for real, alone and in frmBrowser. Wine loads no
// page, but raises the navigation events and honours a cancel.
#include <windows.h>

#include <commctrl.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "browser/win32/browser_form.h"
#include "browser/win32/browser_form_ids.h"
#include "browser/win32/web_browser_host.h"
#include "core/browser_switches.h"
#include "fakes/fixtures.h"
#include "fakes/list_verdicts.h"
#include "helpers.h"
#include "platform/win32/wide.h"
#include "support/language.h"

namespace ombrix::win32 {
namespace {

using namespace std::chrono_literals;
using test::ListVerdicts;

struct Recorder final : WebBrowserEvents {
    bool beforeNavigate(const std::string& url, bool) override {
        asked.push_back(url);
        return url == "http://vietato.example/";
    }
    void navigateComplete(const std::string&) override {}
    void progressChange(long, long) override {}
    bool newWindow(IDispatch**) override { return true; }
    std::vector<std::string> asked;
};

TEST(WebBrowserHost, HostsTheControlAndLetsItsOwnerCancelANavigationBeforeItStarts) {
    const UniqueWindow frame = test::ownWindow(L"Ombrix contenitore");
    Recorder events;
    WebBrowserHost host;
    ASSERT_TRUE(host.create(frame.get(), RECT{0, 0, 400, 300}, events));
    ASSERT_TRUE(host.navigate("http://consentito.example/pagina"));
    EXPECT_TRUE(test::waitFor([&] { return host.locationUrl() == "http://consentito.example/pagina"; }));
    ASSERT_TRUE(host.navigate("http://vietato.example/"));
    ASSERT_TRUE(test::waitFor([&] { return events.asked.size() >= 2; }));
    test::pause(300ms);
    EXPECT_EQ(host.locationUrl(), "http://consentito.example/pagina") << "a cancelled navigation leaves the page";
    host.destroy();
    EXPECT_FALSE(host.navigate("about:blank"));
}

constexpr wchar_t kMainKey[] = L"Software\\Microsoft\\Internet Explorer\\Main";
constexpr char kHome[] = "http://www.scuola.example/casa";  // inside every list here

class BrowserFormTest : public ::testing::Test {
protected:
    BrowserFormTest() {
        wchar_t buffer[1024] = {};
        DWORD size = sizeof buffer;
        if (!RegGetValueW(HKEY_CURRENT_USER, kMainKey, L"Start Page", RRF_RT_REG_SZ, nullptr, buffer, &size)) {
            startPage_ = buffer;
        }
        setStartPage(toWide(kHome));
    }
    ~BrowserFormTest() override { setStartPage(startPage_); }
    static void setStartPage(const std::wstring& page) {
        RegSetKeyValueW(HKEY_CURRENT_USER, kMainKey, L"Start Page", REG_SZ, page.c_str(),
                        static_cast<DWORD>((page.size() + 1) * sizeof(wchar_t)));
    }
    BrowserFormContext context(const core::SiteVerdicts& verdicts) {
        return {language, verdicts, store, [this](const std::string& t) { notices.push_back(t); },
                [this] { ++controlsMade; }, {}};
    }
    static void openAtHome(BrowserForm& form) {
        EXPECT_TRUE(form.open(true, nullptr));
        EXPECT_TRUE(test::waitFor([&] { return form.address() == kHome; })) << form.address();
    }
    static void type(BrowserForm& form, const std::string& text, bool go = true) {
        setWindowText(GetDlgItem(form.window(), IDC_CMBINDIRIZZI), text);
        if (go) SendMessageW(form.window(), WM_COMMAND, MAKEWPARAM(IDC_PCTGO, BN_CLICKED), 0);
    }

    Language language{platform::realSystem().programFolder(), '\\'};
    core::Database store = test::deliveredStore();  // both switches off
    std::vector<std::string> notices;
    int controlsMade = 0;

private:
    std::wstring startPage_;
};

TEST_F(BrowserFormTest, ATypedAddressIsCheckedBeforeTheControlIsAskedAndALocalFileSendsItHome) {
    const ListVerdicts allowed(true, {".scuola.example"});
    BrowserFormContext ctx = context(allowed);
    BrowserForm form(ctx);
    openAtHome(form);
    const auto item = [&](int id) { return GetDlgItem(form.window(), id); };
    const auto addresses = [&] { return SendMessageW(item(IDC_CMBINDIRIZZI), CB_GETCOUNT, 0, 0); };
    const auto before = addresses();
    type(form, "www.giochi.example");
    EXPECT_TRUE(test::waitFor([&] { return !notices.empty(); }, 3s));
    EXPECT_EQ(notices, std::vector<std::string>{"Sito non compreso tra quelli consentiti: http://www.giochi.example"});
    EXPECT_EQ(form.address(), kHome);
    type(form, "www.scuola.example/a");
    EXPECT_TRUE(test::waitFor([&] { return form.address() == "http://www.scuola.example/a"; }, 3s)) << form.address();
    EXPECT_EQ(addresses(), before + 1) << "each address that passed joins the box";
    EXPECT_EQ(controlsMade, 1) << "the rendering mode is written before the control";
    // The page's progress: the bar and its percentage, reset when done.
    WebBrowserEvents& events = form;
    for (const auto& [progress, label, bar] : {std::tuple{42L, "42%", 42}, std::tuple{-1L, "", 0}}) {
        events.progressChange(progress, 100);
        EXPECT_EQ(windowText(item(IDC_LBLPERCENTUALE)), label);
        EXPECT_EQ(SendMessageW(item(IDC_PROGRESSBAR1), PBM_GETPOS, 0, 0), bar);
    }
    type(form, "file:///c:/windows/", false);  // even before Enter
    EXPECT_TRUE(test::waitFor([&] { return form.address() == kHome; }, 3s)) << form.address();
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
    ASSERT_TRUE(core::setBrowserSwitch(store, core::kNoPopup, true));
    BrowserForm form(ctx);
    openAtHome(form);
    EXPECT_FALSE(IsWindowVisible(GetDlgItem(form.window(), IDC_PCTSTAMPA))) << "no printing: no print button";
    WebBrowserEvents& events = form;
    IDispatch* window = nullptr;
    EXPECT_TRUE(events.newWindow(&window));
    EXPECT_TRUE(window == nullptr && popups.empty());
    ASSERT_TRUE(core::setBrowserSwitch(store, core::kNoPopup, false));
    EXPECT_FALSE(events.newWindow(&window));
    ASSERT_EQ(popups.size(), 1U);
    ASSERT_NE(window, nullptr) << "the new window's control is handed to the page";
    window->Release();
    EXPECT_TRUE(static_cast<WebBrowserEvents&>(*popups[0]).beforeNavigate("http://www.giochi.example/", true))
        << "the pop-up is checked as its opener is";
}

}  // namespace
}  // namespace ombrix::win32

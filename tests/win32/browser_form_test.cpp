// frmBrowser with the browser control hosted for real: Wine loads no page,
// but raises the navigation events and honours a cancel.
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
#include "platform/file_registry.h"
#include "platform/win32/wide.h"
#include "support/language.h"

namespace ombrix::win32 {
namespace {

using namespace std::chrono_literals;
using test::ListVerdicts;

constexpr char kMainKey[] = "Software\\Microsoft\\Internet Explorer\\Main";
constexpr auto kUser = platform::RegRoot::CurrentUser;
constexpr char kHome[] = "http://www.scuola.example/casa";  // inside every list here

class BrowserFormTest : public ::testing::Test {
protected:
    BrowserFormTest() { platform::systemRegistry().writeString(kUser, kMainKey, "Start Page", kHome); }
    ~BrowserFormTest() override {
        platform::systemRegistry().writeString(kUser, kMainKey, "Start Page", startPage_.value_or(""));
    }
    BrowserFormContext context(const core::SiteVerdicts& verdicts) {
        return {language, verdicts, store, {}, [this] { ++controlsMade; }, {}};
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
    int controlsMade = 0;

private:
    std::optional<std::string> startPage_ = platform::systemRegistry().readValue(kUser, kMainKey, "Start Page");
};

TEST_F(BrowserFormTest, AnAllowedAddressJoinsTheBoxTheProgressShowsAndALocalFileSendsItHome) {
    const ListVerdicts allowed(true, {".scuola.example"});
    BrowserFormContext ctx = context(allowed);
    BrowserForm form(ctx);
    openAtHome(form);
    const auto item = [&](int id) { return GetDlgItem(form.window(), id); };
    const auto addresses = [&] { return SendMessageW(item(IDC_CMBINDIRIZZI), CB_GETCOUNT, 0, 0); };
    const auto before = addresses();
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

#include <gtest/gtest.h>

#include "browser/address_check.h"
#include "browser/application_bar_choices.h"
#include "browser/progress_text.h"
#include "fakes/list_verdicts.h"

namespace ombrix::browser {
namespace {

// The verdicts as the enforcement gives them: the compiled list's own rule.
using test::ListVerdicts;

TEST(InternalBrowser, TheSchemeTestIsExactAndCaseSensitive) {
    const struct {
        const char* typed;
        const char* address;
    } cases[] = {
        {"www.scuola.example", "http://www.scuola.example"},
        {"http://a.example", "http://a.example"},
        {"https://a.example", "https://a.example"},
        {"ftp://a.example", "ftp://a.example"},
        {"about:blank", "about:blank"},
        {"HTTP://a.example", "http://HTTP://a.example"},
        {"ftp.a.example", "http://ftp.a.example"},
        {"", "http://"},
    };
    for (const auto& c : cases) EXPECT_EQ(withScheme(c.typed), c.address) << c.typed;
}

TEST(InternalBrowser, TheGoProcedureStopsAForbiddenAddressAndStillRequestsOneOutsideTheAllowedList) {
    const ListVerdicts forbidden(false, {".giochi.example", "*casino"});
    const ListVerdicts allowed(true, {".scuola.example", "http://www.wiki.example/"});
    const struct {
        const ListVerdicts& list;
        const char* typed;
        MessageId message;
        Then then;
    } cases[] = {
        {forbidden, "www.giochi.example/x", msg::SiteForbiddenInBrowser, Then::GoHomeAndStop},
        {forbidden, "http://casino.example/", msg::SiteForbiddenInBrowser, Then::GoHomeAndStop},
        {forbidden, "www.scuola.example", {}, Then::Navigate},
        {forbidden, "about:blank", {}, Then::Navigate},
        {allowed, "www.scuola.example/compiti", {}, Then::Navigate},
        {allowed, "http://www.wiki.example/pagina", {}, Then::Navigate},
        {allowed, "www.giochi.example", msg::SiteNotAmongAllowedInBrowser, Then::GoBackThenNavigate},
        {allowed, "about:tabs", {}, Then::Navigate},
        {allowed, "https://blocked.ombrix.example/web?u=x", {}, Then::Navigate},
    };
    for (const auto& c : cases) {
        const GoDecision d = go(c.list, c.typed);
        EXPECT_EQ(d.message, c.message) << c.typed;
        EXPECT_EQ(d.then, c.then) << c.typed;
        EXPECT_EQ(d.remember, !c.message) << c.typed;
        EXPECT_EQ(d.address, withScheme(c.typed));
    }
}

TEST(InternalBrowser, ThePageBeingLoadedAndTheRequestAboutToStartAreJudgedAlike) {
    const ListVerdicts forbidden(false, {".giochi.example"});
    const ListVerdicts allowed(true, {".scuola.example"});
    const struct {
        const ListVerdicts& list;
        const char* location;
        MessageId message;
    } cases[] = {
        {forbidden, "http://www.giochi.example/", msg::PageForbiddenLoadStopped},
        {forbidden, "http://www.scuola.example/", {}},
        {allowed, "http://www.giochi.example/", msg::PageNotAllowedLoadStopped},
        {allowed, "http://www.scuola.example/", {}},
        {allowed, "", {}},  // never reported
        {allowed, "about:blank", {}},
        {allowed, "About:blank", msg::PageNotAllowedLoadStopped},  // the exemptions are exact
        {forbidden, "https://blocked.ombrix.example/web", {}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(refusedWhileLoading(c.list, c.location), c.message) << c.location;
        // A link or a redirect never reaches the network when the go
        // procedure would have refused the same address typed in.
        EXPECT_EQ(cancelBeforeRequest(c.list, c.location), static_cast<bool>(c.message)) << c.location;
    }
}

TEST(InternalBrowser, TheAddressBoxOffersWholeAddressesAndLocalFilesSendItHome) {
    const ListVerdicts list(true, {".scuola.example", "*compiti", "http://www.wiki.example/", "biblioteca.example"});
    EXPECT_EQ(addressHistory(list), (std::vector<std::string>{"http://www.wiki.example/", "biblioteca.example"}));
    EXPECT_TRUE(sendsHome("file:///C:/Windows/win.ini"));
    EXPECT_FALSE(sendsHome("FILE:///C:/"));  // the timer's test is exact
    EXPECT_FALSE(sendsHome("http://file://"));
}

TEST(InternalBrowser, TheProgressBarShowsHowFarThePageIsAsAPercentage) {
    const struct {
        long long progress, max;
        ProgressShown shown;
    } cases[] = {
        {0, 100, {0, "0%"}},
        {1, 3, {33, "33%"}},
        {2048, 4096, {50, "50%"}},
        {100, 100, {100, "100%"}},
        {150, 100, {100, "100%"}},
        {2147483647, 2147483647, {100, "100%"}},
        {-1, 100, {}},  // done
        {5, 0, {}},
        {5, -2, {}},
    };
    for (const auto& c : cases) EXPECT_EQ(progressShown(c.progress, c.max), c.shown) << c.progress << "/" << c.max;
}

TEST(InternalBrowser, TheBarNamesAndOpensTheBrowserTheProfileUses) {
    EXPECT_EQ(barChoices(true).label, msg::BarInternalBrowser);
    EXPECT_EQ(barChoices(true).browser, BrowserButton::Internal);
    EXPECT_EQ(barChoices(false).label, msg::BarDefaultBrowser);
    EXPECT_EQ(barChoices(false).browser, BrowserButton::ExternalAtHomePage);
    EXPECT_EQ(homePage("http://scuola.example/", "http://default.example/"), "http://scuola.example/");
    EXPECT_EQ(homePage("  ", "http://default.example/"), "http://default.example/");
}

}  // namespace
}  // namespace ombrix::browser

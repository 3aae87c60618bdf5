#include <gtest/gtest.h>

#include "browser/address_check.h"
#include "browser/application_bar_choices.h"
#include "browser/progress_text.h"
#include "fakes/list_verdicts.h"

namespace ombrix::browser {
namespace {

// The verdicts as the enforcement gives them: the compiled list's own rule.
using test::ListVerdicts;

// The scheme test is exact and case-sensitive; a link or a redirect never
// reaches the network when the go procedure would refuse it typed in.
TEST(InternalBrowser, TheGoProcedureAndTheLoadingCheckJudgeAlike) {
    const ListVerdicts forbidden(false, {".giochi.example", "*casino"});
    const ListVerdicts allowed(true, {".scuola.example", "http://www.wiki.example/"});
    const struct {
        const ListVerdicts& list;
        const char *typed, *address;
        MessageId message, loading;
        Then then;
    } cases[] = {
        {forbidden, "www.giochi.example/x", "http://www.giochi.example/x", msg::SiteForbiddenInBrowser,
         msg::PageForbiddenLoadStopped, Then::GoHomeAndStop},
        {forbidden, "https://casino.example/", "https://casino.example/", msg::SiteForbiddenInBrowser,
         msg::PageForbiddenLoadStopped, Then::GoHomeAndStop},
        {forbidden, "ftp.scuola.example", "http://ftp.scuola.example", {}, {}, Then::Navigate},
        {allowed, "HTTP://x.example", "http://HTTP://x.example", msg::SiteNotAmongAllowedInBrowser,
         msg::PageNotAllowedLoadStopped, Then::GoBackThenNavigate},
        {allowed, "ftp://giochi.example", "ftp://giochi.example", msg::SiteNotAmongAllowedInBrowser,
         msg::PageNotAllowedLoadStopped, Then::GoBackThenNavigate},
        {allowed, "www.scuola.example/compiti", "http://www.scuola.example/compiti", {}, {}, Then::Navigate},
        {allowed, "about:blank", "about:blank", {}, {}, Then::Navigate},
        {allowed, "about:tabs", "about:tabs", {}, {}, Then::Navigate},
        {allowed, "About:blank", "http://About:blank", msg::SiteNotAmongAllowedInBrowser, msg::PageNotAllowedLoadStopped,
         Then::GoBackThenNavigate},  // the exemptions are exact
        {allowed, "https://blocked.ombrix.example/web?u=x", "https://blocked.ombrix.example/web?u=x", {}, {},
         Then::Navigate},
    };
    for (const auto& c : cases) {
        const GoDecision d = go(c.list, c.typed);
        EXPECT_EQ(d.address, c.address) << c.typed;
        EXPECT_EQ(d.message, c.message) << c.typed;
        EXPECT_EQ(d.then, c.then) << c.typed;
        EXPECT_EQ(d.remember, !c.message) << c.typed;
        EXPECT_EQ(refusedWhileLoading(c.list, d.address), c.loading) << c.typed;
        EXPECT_EQ(cancelBeforeRequest(c.list, d.address), static_cast<bool>(c.message)) << c.typed;
    }
    EXPECT_EQ(refusedWhileLoading(allowed, ""), MessageId{}) << "never reported";
}

TEST(InternalBrowser, TheAddressBoxTheProgressAndTheBar) {
    const ListVerdicts list(true, {".scuola.example", "*compiti", "http://www.wiki.example/", "biblioteca.example"});
    EXPECT_EQ(addressHistory(list), (std::vector<std::string>{"http://www.wiki.example/", "biblioteca.example"}));
    EXPECT_TRUE(sendsHome("file:///C:/Windows/win.ini"));
    EXPECT_FALSE(sendsHome("FILE:///C:/"));  // the timer's test is exact
    EXPECT_FALSE(sendsHome("http://file://"));

    const struct {
        long long progress, max;
        ProgressShown shown;
    } cases[] = {
        {0, 100, {0, "0%"}},       {1, 3, {33, "33%"}}, {100, 100, {100, "100%"}}, {150, 100, {100, "100%"}},
        {2147483647, 2147483647, {100, "100%"}},        {-1, 100, {}} /* done */,  {5, 0, {}},
    };
    for (const auto& c : cases) EXPECT_EQ(progressShown(c.progress, c.max), c.shown) << c.progress << "/" << c.max;

    EXPECT_EQ(barChoices(true).label, msg::BarInternalBrowser);
    EXPECT_EQ(barChoices(true).browser, BrowserButton::Internal);
    EXPECT_EQ(barChoices(false).label, msg::BarDefaultBrowser);
    EXPECT_EQ(barChoices(false).browser, BrowserButton::ExternalAtHomePage);
    EXPECT_EQ(homePage("http://scuola.example/", "http://default.example/"), "http://scuola.example/");
    EXPECT_EQ(homePage("  ", "http://default.example/"), "http://default.example/");
}

}  // namespace
}  // namespace ombrix::browser

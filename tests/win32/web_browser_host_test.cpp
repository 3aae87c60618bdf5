#include <windows.h>

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "browser/win32/web_browser_host.h"
#include "helpers.h"

// The control hosted for real. Wine draws no page here, but it hosts the
// control, raises its navigation events and honours a cancel.
namespace ombrix::win32 {
namespace {

class Recorder final : public WebBrowserEvents {
public:
    bool beforeNavigate(const std::string& url, bool topLevel) override {
        asked.push_back(url);
        topLevels += topLevel ? 1 : 0;
        return refused.count(url) > 0;
    }
    void navigateComplete(const std::string& url) override { completed.push_back(url); }
    void progressChange(long, long) override {}
    bool newWindow(IDispatch**) override { return true; }

    std::set<std::string> refused;
    std::vector<std::string> asked;
    std::vector<std::string> completed;  // never filled under Wine
    int topLevels = 0;
};

TEST(WebBrowserHost, HostsTheControlAndLetsItsOwnerCancelANavigationBeforeItStarts) {
    const test::OwnWindow frame(L"Ombrix contenitore");
    RECT area{0, 0, 400, 300};
    Recorder events;
    events.refused = {"http://vietato.example/"};
    WebBrowserHost host;
    ASSERT_TRUE(host.create(frame.get(), area, events));
    EXPECT_NE(host.controlWindow(), nullptr);
    EXPECT_TRUE(IsChild(frame.get(), host.controlWindow()));

    // Wine raises no NavigateComplete2 without its page engine, but the
    // control's location follows what it was asked.
    ASSERT_TRUE(host.navigate("http://consentito.example/pagina"));
    EXPECT_TRUE(test::waitFor([&] { return host.locationUrl() == "http://consentito.example/pagina"; }));

    ASSERT_TRUE(host.navigate("http://vietato.example/"));
    ASSERT_TRUE(test::waitFor([&] { return events.asked.size() >= 2; }));
    test::pause(std::chrono::milliseconds(300));
    EXPECT_EQ(events.asked, (std::vector<std::string>{"http://consentito.example/pagina", "http://vietato.example/"}));
    EXPECT_EQ(events.topLevels, 2);
    EXPECT_EQ(host.locationUrl(), "http://consentito.example/pagina") << "a cancelled navigation leaves the page";

    host.destroy();
    EXPECT_FALSE(host.created());
    EXPECT_FALSE(host.navigate("about:blank")) << "nothing is left to ask";
    host.destroy();
}

}  // namespace
}  // namespace ombrix::win32

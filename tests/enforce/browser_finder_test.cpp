#include "enforce/browser_finder.h"

#include <gtest/gtest.h>

#include <tuple>

#include "enforce/address_readers.h"
#include "fakes/fake_enforcement.h"

namespace ombrix::enforce {
namespace {

using Found = std::vector<platform::OtherBrowser>;

struct Finder {
    // A process with one visible window of the class, holding an element of that name, role and automation id.
    platform::WindowId start(const std::string& image, std::string_view cls, const std::string& name, bool edit = false,
                             const std::string& id = {}, std::vector<std::string> originals = {}) {
        processes.running.push_back({processes.nextId++, image, 0, std::move(originals)});
        const platform::WindowId w = desktop.addWindow(std::string(cls));
        desktop.find(w)->pid = processes.running.back().id;
        const auto node = desktop.addNode(w, {});
        std::tie(node->name, node->edit, node->automationId) = std::tie(name, edit, id);
        return w;
    }
    test::Journal journal;
    test::FakeProcesses processes{journal};
    test::FakeDesktop desktop;
    test::FakeClock clock;
    BrowserFinder finder{processes, desktop, desktop, clock};
};

TEST(BrowserFinder, TellsBrowsersByWhatTheyShow) {
    const std::string_view chromium = kChromiumWindowClass, gecko = kGeckoWindowClass;
    const std::string chromeBar = "Barra degli indirizzi e di ricerca", firefoxBar = "Search with Google or enter address";
    struct Case {
        std::string image;
        std::string_view cls;
        std::string name;
        bool edit;
        std::string id;
        std::vector<std::string> originals;
        Found found;
    };
    const Case cases[] = {
        {"brave.exe", chromium, chromeBar, false, {}, {}, {{"brave.exe", "brave.exe", false, true, false}}},
        {"nav.exe", chromium, chromeBar, false, {}, {"vivaldi.exe"}, {{"nav.exe", "nav.exe (vivaldi.exe)", false, true, false}}},
        {"lupo.exe", gecko, firefoxBar, true, {}, {}, {{"lupo.exe", "lupo.exe", true, true, false}}},
        {"tor.exe", gecko, "Cerca con DuckDuckGo", true, "urlbar-input", {}, {{"tor.exe", "tor.exe", true, true, false}}},
        {"code.exe", chromium, "Cerca nei file", true, {}, {}, {}},  // an editor on Chromium
        {"vivaldi.exe", chromium, "Pasek adresu", true, {}, {}, {{"vivaldi.exe", "vivaldi.exe", false, false, false}}},
        {"chrome.exe", chromium, chromeBar, false, {}, {"chrome.exe"}, {{"chrome.exe", "chrome.exe", false, true, true}}},
    };
    for (const Case& c : cases) {
        Finder f;
        f.desktop.uiLanguage = 0x0409;  // English
        f.start(c.image, c.cls, c.name, c.edit, c.id, c.originals);
        EXPECT_EQ(f.finder.browsers(), c.found) << c.image << " " << c.name;
    }
}

TEST(BrowserFinder, SearchesAProcessUntilItsWindowsSettleAndAgainWhenTheyChange) {
    Finder f;
    f.desktop.uiLanguage = 0x0409;
    const auto w = f.start("code.exe", kChromiumWindowClass, "Cerca nei file");
    const auto helper = f.start("brave.exe", kChromiumWindowClass, "Barra degli indirizzi e di ricerca");
    f.desktop.find(helper)->visible = false;  // hidden windows are never searched
    for (int pass = 0; pass < 30; ++pass, f.clock.ms += BrowserFinder::kPassMs) EXPECT_TRUE(f.finder.browsers().empty());
    EXPECT_EQ(f.desktop.searches, 4 * (BrowserFinder::kSettleMs / BrowserFinder::kPassMs))
        << "four names a search, at each pass while the window is new, then never";

    const auto second = f.desktop.addWindow(std::string(kChromiumWindowClass));
    f.desktop.find(second)->pid = f.desktop.find(w)->pid;
    auto bar = f.desktop.addNode(second, {});
    bar->name = "Barra degli indirizzi e di ricerca";
    bar->value = "Example.org/A";
    EXPECT_EQ(f.finder.browsers().size(), 1u);
    EXPECT_EQ(f.finder.readAddress("CODE.EXE"), "http://example.org/a") << "read as Chrome's bar";
}

}  // namespace
}  // namespace ombrix::enforce

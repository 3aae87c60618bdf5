#include "enforce/address_readers.h"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <tuple>
#include <utility>

#include "enforce/browser_finder.h"
#include "enforce/site_rules.h"
#include "fakes/fake_enforcement.h"

namespace ombrix::enforce {
namespace {

using test::FakeDesktop;
using test::FakeNode;

constexpr const char* kChromeBar = "Barra degli indirizzi e di ricerca";
constexpr const char* kEdgeBar = "Indirizzo e barra di ricerca";
constexpr const char* kEdgeHelp = "Cerca o immetti l'indirizzo Web";
constexpr const char* kFirefoxBar = "Cerca con Google o inserisci un indirizzo";

FakeNode bar(const char* name, const char* value, bool edit = false, bool focused = false, const char* help = "") {
    return {name, help, edit, value, focused};
}

TEST(ShellWindowList, FormatAndReaders) {
    const std::string S = "\xC2\xA7";  // the section sign between number and address
    EXPECT_EQ(shellWindowAddresses({}), "");
    EXPECT_EQ(shellWindowAddresses({"about:blank", "https://c/x", "HTTP://UPPER", "ftp://d"}),
              "1" + S + "https://c/x|2" + S + "ftp://d|");  // the scheme test compares case
    const std::pair<std::string, std::vector<std::string>> lists[] = {
        {"1" + S + "http://a", {}},  // no closing "|": the only piece is the last, never read
        {"1" + S + "http://a|junk|2" + S + "http://x" + S + "y|", {"http://a", "http://x"}}, {"|||", {}}};
    for (const auto& [list, addresses] : lists) {
        EXPECT_EQ(shellAddresses(list), addresses) << list;
        EXPECT_EQ(lastShellAddress(list), addresses.empty() ? "" : addresses.back()) << list;
    }
}

class Readers : public ::testing::Test {
protected:
    test::Journal journal;
    test::FakeProcesses processes{journal};
    FakeDesktop desktop;
    AddressReaders make() { return AddressReaders(processes, desktop, desktop); }
    void reset(std::initializer_list<const char*> running) {
        desktop = FakeDesktop{};
        processes.running.clear();
        for (const char* name : running) processes.start(name);
    }
    // Chrome as it runs: a hidden helper window first, then the visible one.
    platform::WindowId chromeWindow(FakeNode node) {
        desktop.addWindow("Chrome_WidgetWin_1", false);
        const auto w = desktop.addWindow("Chrome_WidgetWin_1");
        desktop.addNode(w, bar("Indietro", ""));
        desktop.addNode(w, std::move(node));
        return w;
    }
};

TEST_F(Readers, ChromeOnlyWhenRunningLoweredCompletedAndNothingWhileTyping) {
    auto& node = *desktop.find(chromeWindow(bar(kChromeBar, "Example.ORG/Path?Q=1", true, true)))->nodes[1];
    auto readers = make();
    EXPECT_EQ(readers.readChromeAddress(), "");
    EXPECT_EQ(readers.readFirefoxAddress(), "");
    EXPECT_EQ(desktop.searches, 0) << "nothing is searched while the browser is not running";
    processes.start("CHROME.EXE");
    EXPECT_EQ(readers.readChromeAddress(), "") << "half typed";
    node.focused = false;
    EXPECT_EQ(readers.readChromeAddress(), "http://example.org/path?q=1");
}

// One window only: the first attempt, which searches the class's second
// window, fails and the localized one reads and writes the setting back.
TEST_F(Readers, LocalizedRowsByLanguageAndTheWriteBack) {
    const char *english = "Address and search bar", *edgeEnglish = "Search or enter web address";
    const std::tuple<bool, const char*, FakeNode, const char*, const char*> cases[] = {
        // Edge, the setting, the bar, what is read, the setting written back
        {false, "", bar(kChromeBar, "x.org"), "http://x.org", "Italiano"},
        {false, "Inglese", bar(english, "x.org"), "http://x.org", "Inglese"},
        {false, "Italiano", bar(english, "x.org"), "", "Italiano"},
        // The Spanish name's trailing blank counts.
        {false, "Spagnolo", bar("Barra de direcciones y de b\xC3\xBAsqueda", "x.org"), "", "Spagnolo"},
        {true, "Italiano", bar("Qualcosa", "Edge://Settings", true, false, kEdgeHelp), "edge://settings", "Italiano"},
        {true, "Italiano", bar(kEdgeHelp, "x.org", true), "", "Italiano"},               // the name is not compared
        {true, "Italiano", bar("", "x.org", false, false, kEdgeHelp), "", "Italiano"},  // not an edit control
        {true, "Inglese", bar(edgeEnglish, "x.org", true), "http://x.org", "Inglese"},
        {true, "Inglese", bar(edgeEnglish, "x.org", true, true), "", "Inglese"},  // focus in the bar
    };
    for (const auto& [edge, setting, node, read, writtenBack] : cases) {
        reset({edge ? "msedge.exe" : "chrome.exe"});
        desktop.addNode(desktop.addWindow("Chrome_WidgetWin_1"), node);
        auto readers = make();
        readers.setLanguageSetting(setting);
        EXPECT_EQ(edge ? readers.readEdgeAddress() : readers.readChromeAddress(), read) << setting << " " << node.name;
        EXPECT_EQ(readers.languageSetting(), writtenBack) << setting;
    }
}

TEST_F(Readers, FirefoxSearchesTheDesktopFrontFirst) {
    processes.start("firefox.exe");
    desktop.addNode(desktop.addWindow("Notepad"), bar(kFirefoxBar, "not an edit"));
    desktop.addNode(desktop.addWindow("MozillaWindowClass"), bar(kFirefoxBar, "Back.ORG/x", true));
    desktop.addNode(desktop.addWindow("MozillaWindowClass", false, true), bar(kFirefoxBar, "hidden.org", true));
    auto readers = make();
    EXPECT_EQ(readers.readFirefoxAddress(), "Back.ORG/x") << "neither lowered nor completed";
    const auto front = desktop.addWindow("MozillaWindowClass", true, true);
    desktop.addNode(front, bar(kFirefoxBar, "front.org", true));
    EXPECT_EQ(readers.readFirefoxAddress(), "front.org");
    processes.start("notepad.exe");  // another program's window, in front, is not searched
    const auto foreign = desktop.addWindow("Notepad", true, true);
    desktop.find(foreign)->pid = processes.running.back().id;
    desktop.addNode(foreign, bar(kFirefoxBar, "foreign.org", true));
    EXPECT_EQ(readers.readFirefoxAddress(), "front.org");
    desktop.find(front)->nodes[0]->focused = true;
    EXPECT_EQ(readers.readFirefoxAddress(), "");
}

// The kept elements never change an answer: random desktops where windows open
// (bar at once or later, maybe under a closed one's handle), close, reorder,
// change page or focus and rebuild their bars, read cached and fresh.
TEST_F(Readers, KeptElementsAnswerAsFreshSearches) {
    const std::pair<const char*, FakeNode> kinds[] = {
        {"Chrome_WidgetWin_1", bar(kChromeBar, "")}, {"Chrome_WidgetWin_1", bar("Address and search bar", "")},
        {"Chrome_WidgetWin_1", bar(kEdgeBar, "", true)},
        {"Chrome_WidgetWin_1", bar("Search or enter web address", "", true, false, kEdgeHelp)},
        {"MozillaWindowClass", bar(kFirefoxBar, "", true)}, {"Notepad", bar("Testo", "", true)}};
    const char* pages[] = {"", "a.org", "Chrome://Settings", "about:blank", "HTTPS://B.org/P"};
    const char* languages[] = {"", "Italiano", "Inglese"};
    for (unsigned seed = 1; seed <= 40; ++seed) {
        std::mt19937 rng(seed);
        auto pick = [&](std::size_t n) { return static_cast<std::size_t>(rng() % n); };
        reset({"chrome.exe", "msedge.exe", "firefox.exe"});
        AddressReaders cached = make(), fresh = make();
        fresh.setCaching(false);
        for (auto* r : {&cached, &fresh}) r->setLanguageSetting(languages[seed % 3]);
        std::vector<std::pair<platform::WindowId, std::size_t>> late;  // windows whose bar comes later
        std::vector<platform::WindowId> closed;
        for (int step = 0; step < 120; ++step) {
            const std::size_t n = desktop.windows.size(), any = n == 0 ? 0 : pick(n);
            auto* nodes = n == 0 || desktop.windows[any].nodes.size() < 2 ? nullptr : &desktop.windows[any].nodes;
            const std::size_t action = pick(9);
            if (action == 0) {
                const std::size_t kind = pick(std::size(kinds));
                const platform::WindowId reuse = closed.empty() || pick(2) == 0 ? 0 : closed.back();
                if (reuse != 0) closed.pop_back();
                const auto w = desktop.addWindow(kinds[kind].first, pick(4) != 0, pick(2) == 0, reuse);
                desktop.addNode(w, bar("Indietro", ""));
                if (pick(2) == 0) desktop.addNode(w, kinds[kind].second);
                else late.emplace_back(w, kind);
            } else if (action == 1 && !late.empty()) {
                const auto [w, kind] = late[pick(late.size())];
                if (desktop.find(w) && desktop.find(w)->nodes.size() == 1) desktop.addNode(w, kinds[kind].second);
            } else if (action == 2 && n != 0) {
                closed.push_back(desktop.windows[any].id);
                std::erase_if(late, [&](const auto& p) { return p.first == closed.back(); });
                desktop.closeWindow(closed.back());
            } else if (action == 3 && n != 0) desktop.bringToFront(desktop.windows[any].id);
            else if (action == 4 && n != 0) desktop.windows[any].visible ^= true;
            else if (action == 5 && nodes) {  // another page, or typing
                nodes->back()->value = pages[pick(std::size(pages))];
                nodes->back()->focused = pick(3) == 0;
            } else if (action == 6 && nodes) {  // the same bar, a new element
                nodes->back()->alive = false;
                nodes->back() = std::make_shared<FakeNode>(FakeNode(*nodes->back()));
                nodes->back()->alive = true;
            }
            const auto all = [](AddressReaders& r) {
                return std::array{r.readChromeAddress(), r.readEdgeAddress(), r.readFirefoxAddress(), r.languageSetting()};
            };
            ASSERT_EQ(all(cached), all(fresh)) << "seed " << seed << " step " << step;
        }
    }
}

struct Finder {  // other browsers, told by what their windows show
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
    using Found = std::vector<platform::OtherBrowser>;
    const std::string_view chromium = kChromiumWindowClass, gecko = kGeckoWindowClass;
    const std::string firefoxBar = "Search with Google or enter address";
    // image, class, the element's name, an edit control, its automation id, the names inside, found
    const std::tuple<std::string, std::string_view, std::string, bool, std::string, std::vector<std::string>, Found>
        cases[] = {
            {"brave.exe", chromium, kChromeBar, false, {}, {}, {{"brave.exe", "brave.exe", false, true, false}}},
            {"nav.exe", chromium, kChromeBar, false, {}, {"vivaldi.exe"}, {{"nav.exe", "nav.exe (vivaldi.exe)", false, true, false}}},
            {"lupo.exe", gecko, firefoxBar, true, {}, {}, {{"lupo.exe", "lupo.exe", true, true, false}}},
            {"tor.exe", gecko, "Cerca con DuckDuckGo", true, "urlbar-input", {}, {{"tor.exe", "tor.exe", true, true, false}}},
            {"code.exe", chromium, "Cerca nei file", true, {}, {}, {}},  // an editor on Chromium
            {"vivaldi.exe", chromium, "Pasek adresu", true, {}, {}, {{"vivaldi.exe", "vivaldi.exe", false, false, false}}},
            {"chrome.exe", chromium, kChromeBar, false, {}, {"chrome.exe"}, {{"chrome.exe", "chrome.exe", false, true, true}}},
        };
    for (const auto& [image, cls, name, edit, id, originals, found] : cases) {
        Finder f;
        f.desktop.uiLanguage = 0x0409;  // English
        f.start(image, cls, name, edit, id, originals);
        EXPECT_EQ(f.finder.browsers(), found) << image << " " << name;
    }
}

TEST(BrowserFinder, SearchesAProcessUntilItsWindowsSettleAndAgainWhenTheyChange) {
    Finder f;
    f.desktop.uiLanguage = 0x0409;
    const auto w = f.start("code.exe", kChromiumWindowClass, "Cerca nei file");
    f.desktop.find(f.start("brave.exe", kChromiumWindowClass, kChromeBar))->visible = false;  // never searched
    for (int pass = 0; pass < 30; ++pass, f.clock.ms += BrowserFinder::kPassMs) EXPECT_TRUE(f.finder.browsers().empty());
    EXPECT_EQ(f.desktop.searches, 4 * (BrowserFinder::kSettleMs / BrowserFinder::kPassMs))
        << "four names a search, at each pass while the window is new, then never";
    const auto second = f.desktop.addWindow(std::string(kChromiumWindowClass));
    f.desktop.find(second)->pid = f.desktop.find(w)->pid;
    f.desktop.addNode(second, bar(kChromeBar, "Example.org/A"));
    EXPECT_EQ(f.finder.browsers().size(), 1u);
    EXPECT_EQ(f.finder.readAddress("CODE.EXE"), "http://example.org/a") << "read as Chrome's bar";
}

}  // namespace
}  // namespace ombrix::enforce

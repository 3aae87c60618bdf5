#include "enforce/address_readers.h"

#include <gtest/gtest.h>

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
constexpr const char* kFirefoxBar = "Cerca con Google o inserisci un indirizzo";

// The list the shell windows are written into, and its two readers.
TEST(ShellWindowList, FormatAndReaders) {
    const std::string S = "\xC2\xA7";  // the section sign between number and address
    EXPECT_EQ(shellWindowAddresses({}), "");
    EXPECT_EQ(shellWindowAddresses({"about:blank", "https://c/x", "HTTP://UPPER", "ftp://d"}),
              "1" + S + "https://c/x|2" + S + "ftp://d|");  // the scheme test compares case
    const std::pair<std::string, std::vector<std::string>> lists[] = {
        {"1" + S + "http://a", {}},  // no closing "|": the only piece is the last, never read
        {"1" + S + "http://a|junk|2" + S + "http://x" + S + "y|", {"http://a", "http://x"}},
        {"|||", {}},
    };
    for (const auto& [list, addresses] : lists) {
        EXPECT_EQ(shellAddresses(list), addresses) << list;
        EXPECT_EQ(lastShellAddress(list), addresses.empty() ? "" : addresses.back()) << list;
    }
}

TEST(SchemeCompletion, HiddenSchemesGetHttp) {
    const std::tuple<Browser, const char*, const char*> cases[] = {
        {Browser::Chrome, "example.org/path", "http://example.org/path"},
        {Browser::Chrome, "chrome://settings", "chrome://settings"},
        {Browser::Chrome, "about:blank", "about:blank"},
        {Browser::Chrome, "httpbin.org", "httpbin.org"},  // begins with "http": left alone
        {Browser::Chrome, "edge://settings", "http://edge://settings"},
        {Browser::Edge, "edge://settings", "edge://settings"},
        {Browser::Edge, "chrome://settings", "http://chrome://settings"},
    };
    for (const auto& [browser, lowered, expected] : cases) EXPECT_EQ(completeScheme(lowered, browser), expected);
}

// A desktop with running browsers, and readers over it.
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
    platform::WindowId chromeWindow(FakeNode bar) {
        desktop.addWindow("Chrome_WidgetWin_1", false);
        const auto w = desktop.addWindow("Chrome_WidgetWin_1");
        desktop.addNode(w, {"Indietro", "", false, "", false});
        desktop.addNode(w, std::move(bar));
        return w;
    }
};

TEST_F(Readers, ChromeOnlyWhenRunningLoweredCompletedAndNothingWhileTyping) {
    auto& bar = *desktop.find(chromeWindow({kChromeBar, "", true, "Example.ORG/Path?Q=1", true}))->nodes[1];
    auto readers = make();
    EXPECT_EQ(readers.readChromeAddress(), "");
    EXPECT_EQ(readers.readFirefoxAddress(), "");
    EXPECT_EQ(desktop.searches, 0) << "nothing is searched while the browser is not running";
    processes.start("CHROME.EXE");  // the image name compares without case
    EXPECT_EQ(readers.readChromeAddress(), "") << "half typed";
    bar.focused = false;
    EXPECT_EQ(readers.readChromeAddress(), "http://example.org/path?q=1");
}

// A timer's tick let in while a search waits on the browser reads nothing
// and leaves the read under way whole.
TEST_F(Readers, AReadAskedForDuringASearchAnswersNothing) {
    reset({"chrome.exe", "firefox.exe"});
    chromeWindow({kChromeBar, "", false, "x.org", false});
    auto readers = make();
    std::vector<std::string> nested;
    desktop.duringSearch = [&] {
        if (!nested.empty()) return;
        nested = {readers.readChromeAddress(), readers.readEdgeAddress(), readers.readFirefoxAddress()};
    };
    EXPECT_EQ(readers.readChromeAddress(), "http://x.org");
    EXPECT_EQ(nested, (std::vector<std::string>{"", "", ""}));
    EXPECT_EQ(readers.readChromeAddress(), "http://x.org") << "the next read answers again";
}

// One window only: the first attempt, which searches the class's second
// window, fails and the localized one reads and writes the setting back.
TEST_F(Readers, LocalizedRowsByLanguageAndTheWriteBack) {
    const char* edgeHelp = "Cerca o immetti l'indirizzo Web";
    const char* edgeEnglish = "Search or enter web address";
    const std::tuple<bool, const char*, FakeNode, const char*, const char*> cases[] = {
        // Edge, the setting, the bar, what is read, the setting written back
        {false, "", {kChromeBar, "", false, "x.org", false}, "http://x.org", "Italiano"},
        {false, "Inglese", {"Address and search bar", "", false, "x.org", false}, "http://x.org", "Inglese"},
        {false, "Italiano", {"Address and search bar", "", false, "x.org", false}, "", "Italiano"},
        // The Spanish name's trailing blank counts.
        {false, "Spagnolo", {"Barra de direcciones y de b\xC3\xBAsqueda", "", false, "x.org", false}, "", "Spagnolo"},
        {false, "Portoghese", {kChromeBar, "", false, "x.org", false}, "http://x.org", "Italiano"},
        {true, "Italiano", {"Qualcosa", edgeHelp, true, "Edge://Settings", false}, "edge://settings", "Italiano"},
        {true, "Italiano", {edgeHelp, "", true, "x.org", false}, "", "Italiano"},  // the name is not compared
        {true, "Italiano", {"", edgeHelp, false, "x.org", false}, "", "Italiano"},  // not an edit control
        {true, "Inglese", {edgeEnglish, "", true, "x.org", false}, "http://x.org", "Inglese"},
        {true, "Inglese", {edgeEnglish, "", false, "x.org", false}, "", "Inglese"},
        {true, "Inglese", {edgeEnglish, "", true, "x.org", true}, "", "Inglese"},  // focus in the bar
    };
    for (const auto& [edge, setting, bar, read, writtenBack] : cases) {
        reset({edge ? "msedge.exe" : "chrome.exe"});
        desktop.addNode(desktop.addWindow("Chrome_WidgetWin_1"), bar);
        auto readers = make();
        readers.setLanguageSetting(setting);
        EXPECT_EQ(edge ? readers.readEdgeAddress() : readers.readChromeAddress(), read) << setting << " " << bar.name;
        EXPECT_EQ(readers.languageSetting(), writtenBack) << setting;
    }
}

TEST_F(Readers, FirefoxSearchesTheDesktopFrontFirst) {
    processes.start("firefox.exe");
    desktop.addNode(desktop.addWindow("Notepad"), {kFirefoxBar, "", false, "not an edit", false});
    desktop.addNode(desktop.addWindow("MozillaWindowClass"), {kFirefoxBar, "", true, "Back.ORG/x", false});
    desktop.addNode(desktop.addWindow("MozillaWindowClass", false, true), {kFirefoxBar, "", true, "hidden.org", false});
    auto readers = make();
    EXPECT_EQ(readers.readFirefoxAddress(), "Back.ORG/x") << "neither lowered nor completed";
    const auto front = desktop.addWindow("MozillaWindowClass", true, true);
    desktop.addNode(front, {kFirefoxBar, "", true, "front.org", false});
    EXPECT_EQ(readers.readFirefoxAddress(), "front.org");
    processes.start("notepad.exe");  // another program's window, in front, is not searched
    const auto foreign = desktop.addWindow("Notepad", true, true);
    desktop.find(foreign)->pid = processes.running.back().id;
    desktop.addNode(foreign, {kFirefoxBar, "", true, "foreign.org", false});
    EXPECT_EQ(readers.readFirefoxAddress(), "front.org");
    desktop.find(front)->nodes[0]->focused = true;
    EXPECT_EQ(readers.readFirefoxAddress(), "");
}

TEST_F(Readers, KeptElementMakesASteadyReadCheapAndOneThatStopsAnsweringIsSearchedAgain) {
    processes.start("chrome.exe");
    const auto w = chromeWindow({kChromeBar, "", false, "x.org", false});
    auto readers = make();
    EXPECT_EQ(readers.readChromeAddress(), "http://x.org");
    desktop.reads = 0;
    for (int i = 0; i < 10; ++i) EXPECT_EQ(readers.readChromeAddress(), "http://x.org");
    EXPECT_EQ(desktop.searches, 1) << "no search while the window lives";
    EXPECT_EQ(desktop.reads, 20) << "a value and a focus read per tick";

    auto& bar = desktop.find(w)->nodes[1];
    bar->alive = false;  // the tool bar was rebuilt
    bar = std::make_shared<FakeNode>(FakeNode{kChromeBar, "", false, "rebuilt.org", false});
    EXPECT_EQ(readers.readChromeAddress(), "http://rebuilt.org") << "in the same read";
    EXPECT_EQ(desktop.searches, 2);
}

// A window already searched without a match is not searched again for that
// name, unless it is another window by now.
TEST_F(Readers, SettledWindowsAreNotSearchedAgain) {
    processes.start("msedge.exe");
    chromeWindow({kEdgeBar, "", false, "", false});
    auto readers = make();
    readers.setLanguageSetting("Italiano");
    EXPECT_EQ(readers.readEdgeAddress(), "");
    const int afterFirst = desktop.searches;
    for (int i = 0; i < 5; ++i) EXPECT_EQ(readers.readEdgeAddress(), "");
    EXPECT_EQ(desktop.searches, afterFirst);
    const auto w = desktop.addWindow("Other", true, true);
    desktop.addNode(w, {"", "Cerca o immetti l'indirizzo Web", true, "other.org", false});
    EXPECT_EQ(readers.readEdgeAddress(), "http://other.org");

    reset({"firefox.exe"});
    desktop.addNode(desktop.addWindow("MozillaWindowClass"), {kFirefoxBar, "", true, "f.org", false});
    auto firefox = make();
    EXPECT_EQ(firefox.readFirefoxAddress(), "f.org");
    const int steady = desktop.searches;
    const auto editor = desktop.addWindow("Notepad", true, true);
    desktop.addNode(editor, {"Testo", "", true, "", false});
    EXPECT_EQ(firefox.readFirefoxAddress(), "f.org");
    EXPECT_EQ(firefox.readFirefoxAddress(), "f.org");
    EXPECT_EQ(desktop.searches, steady + 2) << "a window without a known bar is searched every time";
}

// The kept elements must never change an answer: random runs of a desktop
// where browser windows open (their tool bar at once or later, some under the
// handle of a closed window), close, change order, show other pages, take the
// focus and rebuild their tool bars, read by a caching and a fresh reader.
TEST_F(Readers, KeptElementsAnswerAsFreshSearches) {
    const std::pair<const char*, FakeNode> kinds[] = {
        {"Chrome_WidgetWin_1", {kChromeBar, "", false, "", false}},
        {"Chrome_WidgetWin_1", {"Address and search bar", "", false, "", false}},
        {"Chrome_WidgetWin_1", {kEdgeBar, "", true, "", false}},
        {"Chrome_WidgetWin_1", {"Search or enter web address", "Cerca o immetti l'indirizzo Web", true, "", false}},
        {"MozillaWindowClass", {kFirefoxBar, "", true, "", false}},
        {"Notepad", {"Testo", "", true, "", false}},
    };
    const char* pages[] = {"", "a.org", "Chrome://Settings", "about:blank", "HTTPS://B.org/P"};
    const char* languages[] = {"", "Italiano", "Inglese"};
    for (unsigned seed = 1; seed <= 40; ++seed) {
        std::mt19937 rng(seed);
        auto pick = [&](std::size_t n) { return static_cast<std::size_t>(rng() % n); };
        reset({"chrome.exe", "msedge.exe", "firefox.exe"});
        AddressReaders cached = make(), fresh = make();
        fresh.setCaching(false);
        std::vector<std::pair<platform::WindowId, std::size_t>> late;  // windows whose tool bar comes later
        std::vector<platform::WindowId> closed;
        const char* language = languages[pick(3)];
        cached.setLanguageSetting(language);
        fresh.setLanguageSetting(language);
        for (int step = 0; step < 120; ++step) {
            const std::size_t n = desktop.windows.size(), any = n == 0 ? 0 : pick(n);
            auto* nodes = n == 0 || desktop.windows[any].nodes.size() < 2 ? nullptr : &desktop.windows[any].nodes;
            const std::size_t action = pick(9);
            if (action == 0) {  // a window opens, its tool bar with it or later, maybe under an old handle
                const std::size_t kind = pick(std::size(kinds));
                const platform::WindowId reuse = closed.empty() || pick(2) == 0 ? 0 : closed.back();
                if (reuse != 0) closed.pop_back();
                const auto w = desktop.addWindow(kinds[kind].first, pick(4) != 0, pick(2) == 0, reuse);
                desktop.addNode(w, {"Indietro", "", false, "", false});
                if (pick(2) == 0) desktop.addNode(w, kinds[kind].second);
                else late.emplace_back(w, kind);
            } else if (action == 1 && !late.empty()) {  // a tool bar appears late
                const auto [w, kind] = late[pick(late.size())];
                if (desktop.find(w) && desktop.find(w)->nodes.size() == 1) desktop.addNode(w, kinds[kind].second);
            } else if (action == 2 && n != 0) {
                closed.push_back(desktop.windows[any].id);
                std::erase_if(late, [&](const auto& p) { return p.first == closed.back(); });
                desktop.closeWindow(closed.back());
            } else if (action == 3 && n != 0) {
                desktop.bringToFront(desktop.windows[any].id);
            } else if (action == 4 && n != 0) {
                desktop.windows[any].visible ^= true;
            } else if (action == 5 && nodes != nullptr) {  // another page, or typing
                nodes->back()->value = pages[pick(std::size(pages))];
                nodes->back()->focused = pick(3) == 0;
            } else if (action == 6 && nodes != nullptr) {  // the tool bar is rebuilt: the same bar, a new element
                nodes->back()->alive = false;
                nodes->back() = std::make_shared<FakeNode>(FakeNode(*nodes->back()));
                nodes->back()->alive = true;
            }  // otherwise nothing changes between ticks
            SCOPED_TRACE("seed " + std::to_string(seed) + " step " + std::to_string(step));
            ASSERT_EQ(cached.readChromeAddress(), fresh.readChromeAddress());
            ASSERT_EQ(cached.readEdgeAddress(), fresh.readEdgeAddress());
            ASSERT_EQ(cached.readFirefoxAddress(), fresh.readFirefoxAddress());
            ASSERT_EQ(cached.languageSetting(), fresh.languageSetting());
        }
    }
}

// Other browsers, told by what their windows show.
using Found = std::vector<platform::OtherBrowser>;
using Names = std::vector<std::string>;

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
    // image, class, the element's name, an edit control, its automation id, the names inside, found
    const std::tuple<std::string, std::string_view, std::string, bool, std::string, Names, Found> cases[] = {
        {"brave.exe", chromium, chromeBar, false, {}, {}, {{"brave.exe", "brave.exe", false, true, false}}},
        {"nav.exe", chromium, chromeBar, false, {}, {"vivaldi.exe"}, {{"nav.exe", "nav.exe (vivaldi.exe)", false, true, false}}},
        {"lupo.exe", gecko, firefoxBar, true, {}, {}, {{"lupo.exe", "lupo.exe", true, true, false}}},
        {"tor.exe", gecko, "Cerca con DuckDuckGo", true, "urlbar-input", {}, {{"tor.exe", "tor.exe", true, true, false}}},
        {"code.exe", chromium, "Cerca nei file", true, {}, {}, {}},  // an editor on Chromium
        {"vivaldi.exe", chromium, "Pasek adresu", true, {}, {}, {{"vivaldi.exe", "vivaldi.exe", false, false, false}}},
        {"chrome.exe", chromium, chromeBar, false, {}, {"chrome.exe"}, {{"chrome.exe", "chrome.exe", false, true, true}}},
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

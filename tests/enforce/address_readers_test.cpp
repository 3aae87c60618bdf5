#include "enforce/address_readers.h"

#include <gtest/gtest.h>

#include <random>
#include <utility>

#include "enforce/site_rules.h"
#include "fakes/fake_desktop.h"

namespace ombrix::enforce {
namespace {

using test::FakeDesktop;
using test::FakeNode;

constexpr const char* kChromeBar = "Barra degli indirizzi e di ricerca";
constexpr const char* kEdgeBar = "Indirizzo e barra di ricerca";
constexpr const char* kFirefoxBar = "Cerca con Google o inserisci un indirizzo";

// The list the shell windows are written into, and its two readers: every
// address (the log timer) and the last one (the Internet Explorer blockers).
TEST(ShellWindowList, FormatAndReaders) {
    const std::string S = "\xC2\xA7";  // the section sign between number and address
    const std::pair<std::vector<std::string>, std::string> formats[] = {
        {{}, ""},
        {{"http://a", "ftp://b"}, "1" + S + "http://a|2" + S + "ftp://b|"},
        {{"about:blank", "https://c/x?y=1", "file:///C:/x", "ftp://d"}, "1" + S + "https://c/x?y=1|2" + S + "ftp://d|"},
        {{"HTTP://UPPER", "http://lower"}, "1" + S + "http://lower|"},  // the scheme test compares case
    };
    for (const auto& [addresses, list] : formats) EXPECT_EQ(shellWindowAddresses(addresses), list) << list;

    const std::pair<std::string, std::vector<std::string>> lists[] = {
        {"", {}},
        {"1" + S + "http://a", {}},  // no closing "|": the only piece is the last, never read
        {"1" + S + "http://a|", {"http://a"}},
        {"1" + S + "http://a|junk|", {"http://a"}},  // a piece without a second field
        {"1" + S + "http://a|b|2" + S + "http://c|", {"http://a", "http://c"}},
        {"1" + S + "http://x" + S + "y|", {"http://x"}},  // only the second field is kept
        {"1" + S + "|", {""}},
        {"|||", {}},
    };
    for (const auto& [list, addresses] : lists) {
        EXPECT_EQ(shellAddresses(list), addresses) << list;
        EXPECT_EQ(lastShellAddress(list), addresses.empty() ? "" : addresses.back()) << list;
    }
}

TEST(SchemeCompletion, HiddenSchemesGetHttp) {
    struct Case {
        Browser browser;
        const char* lowered;
        const char* expected;
    };
    const Case cases[] = {
        {Browser::Chrome, "example.org/path", "http://example.org/path"},
        {Browser::Chrome, "chrome://settings", "chrome://settings"},
        {Browser::Chrome, "about:blank", "about:blank"},
        {Browser::Chrome, "httpbin.org", "httpbin.org"},  // begins with "http": left alone
        {Browser::Chrome, "edge://settings", "http://edge://settings"},
        {Browser::Chrome, "about", "http://about"},
        {Browser::Edge, "edge://settings", "edge://settings"},
        {Browser::Edge, "chrome://settings", "http://chrome://settings"},
        {Browser::Edge, "example.org", "http://example.org"},
    };
    for (const auto& c : cases) EXPECT_EQ(completeScheme(c.lowered, c.browser), c.expected) << c.lowered;
}

// A desktop with running browsers, and readers over it.
class Readers : public ::testing::Test {
protected:
    test::Journal journal;
    test::FakeProcesses processes{journal};
    FakeDesktop desktop;

    AddressReaders make() { return AddressReaders(processes, desktop, desktop); }

    // Chrome as it runs: a hidden helper window first, then the visible one.
    platform::WindowId chromeWindow(FakeNode bar, const char* cls = "Chrome_WidgetWin_1") {
        desktop.addWindow(cls, false);
        const auto w = desktop.addWindow(cls);
        desktop.addNode(w, {"Indietro", "", false, "", false});
        desktop.addNode(w, std::move(bar));
        return w;
    }
};

TEST_F(Readers, NothingIsSearchedWhenTheBrowserIsNotRunning) {
    chromeWindow({kChromeBar, "", true, "example.org", false});
    auto readers = make();
    EXPECT_EQ(readers.readChromeAddress(), "");
    EXPECT_EQ(readers.readEdgeAddress(), "");
    EXPECT_EQ(readers.readFirefoxAddress(), "");
    EXPECT_EQ(desktop.searches, 0);
    processes.start("CHROME.EXE");  // the image name compares without case
    EXPECT_EQ(readers.readChromeAddress(), "http://example.org");
}

TEST_F(Readers, ChromeValueIsLoweredAndCompletedAndNothingWhileTheFocusIsInTheBar) {
    processes.start("chrome.exe");
    auto& bar = *desktop.find(chromeWindow({kChromeBar, "", false, "Example.ORG/Path?Q=1", true}))->nodes[1];
    auto readers = make();
    EXPECT_EQ(readers.readChromeAddress(), "") << "half typed";
    bar.focused = false;
    EXPECT_EQ(readers.readChromeAddress(), "http://example.org/path?q=1");
    bar.value = "chrome://settings";
    EXPECT_EQ(readers.readChromeAddress(), "chrome://settings");
}

// A timer's tick let in while a search waits on the browser reads nothing
// and leaves the read under way whole.
TEST_F(Readers, AReadAskedForDuringASearchAnswersNothing) {
    processes.start("chrome.exe");
    processes.start("firefox.exe");
    chromeWindow({kChromeBar, "", false, "x.org", false});
    auto readers = make();
    std::vector<std::string> nested;
    bool entered = false;
    desktop.duringSearch = [&] {
        if (std::exchange(entered, true)) return;
        nested = {readers.readChromeAddress(), readers.readEdgeAddress(), readers.readFirefoxAddress()};
    };
    EXPECT_EQ(readers.readChromeAddress(), "http://x.org");
    EXPECT_EQ(nested, (std::vector<std::string>{"", "", ""}));
    EXPECT_EQ(readers.readChromeAddress(), "http://x.org") << "the next read answers again";
}

TEST_F(Readers, LocalizedNamesByLanguageAndTheWriteBack) {
    struct Case {
        const char* setting;
        const char* barName;
        const char* read;
        const char* writtenBack;
    };
    const Case cases[] = {
        {"", kChromeBar, "http://x.org", "Italiano"},
        {"Italiano", kChromeBar, "http://x.org", "Italiano"},
        {"Inglese", "Address and search bar", "http://x.org", "Inglese"},
        {"Italiano", "Address and search bar", "", "Italiano"},
        {"Spagnolo", "Barra de direcciones y de b\xC3\xBAsqueda", "", "Spagnolo"},  // its trailing blank counts
        {"Portoghese", kChromeBar, "http://x.org", "Italiano"},
    };
    for (const auto& c : cases) {
        desktop = FakeDesktop{};
        processes.running.clear();
        processes.start("chrome.exe");
        // One window only: the first attempt, which searches the class's second
        // window, fails and the localized one reads and writes the setting back.
        const auto w = desktop.addWindow("Chrome_WidgetWin_1");
        desktop.addNode(w, {c.barName, "", false, "x.org", false});
        auto readers = make();
        readers.setLanguageSetting(c.setting);
        EXPECT_EQ(readers.readChromeAddress(), c.read) << c.setting << " " << c.barName;
        EXPECT_EQ(readers.languageSetting(), c.writtenBack) << c.setting;
    }
}

// The setting is written only when the localized attempt runs: after an
// empty bar, not after an answer.
TEST_F(Readers, TheLanguageSettingIsWrittenOnlyByTheLocalizedAttempt) {
    processes.start("chrome.exe");
    auto& bar = *desktop.find(chromeWindow({kChromeBar, "", false, "x.org", false}))->nodes[1];
    desktop.uiLanguage = 0x0416;
    auto readers = make();
    EXPECT_EQ(readers.readChromeAddress(), "http://x.org");
    EXPECT_EQ(readers.readFirefoxAddress(), "");
    EXPECT_EQ(readers.languageSetting(), "") << "the first attempt answered";
    bar.value = "";
    EXPECT_EQ(readers.readChromeAddress(), "");
    EXPECT_EQ(readers.languageSetting(), "Italiano");
}

TEST_F(Readers, EdgeRowsAndTheEditCondition) {
    processes.start("msedge.exe");
    struct Case {
        const char* setting;
        FakeNode bar;
        const char* expected;
    };
    const Case cases[] = {
        {"Italiano",
         {"Qualcosa", "Cerca o immetti l'indirizzo Web", true, "Edge://Settings", false},
         "edge://settings"},
        {"Italiano", {"Cerca o immetti l'indirizzo Web", "", true, "x.org", false}, ""},   // the name is not compared
        {"Italiano", {"", "Cerca o immetti l'indirizzo Web", false, "x.org", false}, ""},  // not an edit control
        {"Inglese", {"Search or enter web address", "", true, "x.org", false}, "http://x.org"},
        {"Inglese", {"Search or enter web address", "", false, "x.org", false}, ""},
        {"Inglese", {"Search or enter web address", "", true, "x.org", true}, ""},  // focus in the bar
    };
    for (const auto& c : cases) {
        desktop = FakeDesktop{};
        chromeWindow(c.bar);
        auto readers = make();
        readers.setLanguageSetting(c.setting);
        EXPECT_EQ(readers.readEdgeAddress(), c.expected) << c.setting << " " << c.bar.name;
    }
}

TEST_F(Readers, FirefoxSearchesTheDesktopFrontFirst) {
    processes.start("firefox.exe");
    const auto other = desktop.addWindow("Notepad");
    desktop.addNode(other, {kFirefoxBar, "", false, "not an edit", false});
    const auto back = desktop.addWindow("MozillaWindowClass");
    desktop.addNode(back, {kFirefoxBar, "", true, "Back.ORG/x", false});
    const auto hidden = desktop.addWindow("MozillaWindowClass", false, true);
    desktop.addNode(hidden, {kFirefoxBar, "", true, "hidden.org", false});
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
    readers.setLanguageSetting("Inglese");
    EXPECT_EQ(readers.readFirefoxAddress(), "");
    EXPECT_EQ(readers.languageSetting(), "Inglese");
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

TEST_F(Readers, EnglishChromeStopsSearchingForTheItalianName) {
    processes.start("chrome.exe");
    chromeWindow({"Address and search bar", "", false, "x.org", false});
    auto readers = make();
    readers.setLanguageSetting("Inglese");
    EXPECT_EQ(readers.readChromeAddress(), "http://x.org");
    // The Italian name is looked for once more now that the bar is known.
    EXPECT_EQ(readers.readChromeAddress(), "http://x.org");
    const int settled = desktop.searches;
    for (int i = 0; i < 5; ++i) EXPECT_EQ(readers.readChromeAddress(), "http://x.org");
    EXPECT_EQ(desktop.searches, settled);
}

TEST_F(Readers, EdgeNewTabStopsSearchingItsOwnWindowForTheHelpText) {
    processes.start("msedge.exe");
    chromeWindow({kEdgeBar, "", false, "", false});
    auto readers = make();
    readers.setLanguageSetting("Italiano");
    EXPECT_EQ(readers.readEdgeAddress(), "");
    const int afterFirst = desktop.searches;
    for (int i = 0; i < 5; ++i) EXPECT_EQ(readers.readEdgeAddress(), "");
    EXPECT_EQ(desktop.searches, afterFirst);
    // A window that appears may hold the localized element: it is searched.
    const auto w = desktop.addWindow("Other", true, true);
    desktop.addNode(w, {"", "Cerca o immetti l'indirizzo Web", true, "other.org", false});
    EXPECT_EQ(readers.readEdgeAddress(), "http://other.org");
}

TEST_F(Readers, WindowsInFrontOfTheKeptElementAreSearchedUnlessTheirBarIsKnown) {
    processes.start("firefox.exe");
    processes.start("chrome.exe");
    const auto firefox = desktop.addWindow("MozillaWindowClass");
    desktop.addNode(firefox, {kFirefoxBar, "", true, "f.org", false});
    auto readers = make();
    EXPECT_EQ(readers.readFirefoxAddress(), "f.org");
    const int steady = desktop.searches;
    EXPECT_EQ(readers.readFirefoxAddress(), "f.org");
    EXPECT_EQ(desktop.searches, steady) << "nothing in front";

    const auto editor = desktop.addWindow("Notepad", true, true);
    desktop.addNode(editor, {"Testo", "", true, "", false});
    EXPECT_EQ(readers.readFirefoxAddress(), "f.org");
    EXPECT_EQ(readers.readFirefoxAddress(), "f.org");
    EXPECT_EQ(desktop.searches, steady + 2) << "a window without a known bar is searched every time";
    desktop.closeWindow(editor);

    // Chrome in front: its hidden helper first, then its window.
    const auto chrome = desktop.addWindow("Chrome_WidgetWin_1", true, true);
    desktop.addNode(chrome, {kChromeBar, "", false, "c.org", false});
    desktop.addWindow("Chrome_WidgetWin_1", false, true);
    EXPECT_EQ(readers.readChromeAddress(), "http://c.org");
    EXPECT_EQ(readers.readFirefoxAddress(), "f.org");
    const int settled = desktop.searches;
    EXPECT_EQ(readers.readFirefoxAddress(), "f.org");
    EXPECT_EQ(readers.readChromeAddress(), "http://c.org");
    EXPECT_EQ(desktop.searches, settled) << "Chrome's window has its own bar";
}

// The kept elements must never change an answer: random runs of a desktop
// where browser windows open (their tool bar at once or later, some under the
// handle of a closed window), close, change order, show other pages, take the
// focus and rebuild their tool bars, read by a caching and a fresh reader.
TEST_F(Readers, KeptElementsAnswerAsFreshSearches) {
    const std::vector<std::pair<std::string, FakeNode>> kinds = {
        {"Chrome_WidgetWin_1", {kChromeBar, "", false, "", false}},
        {"Chrome_WidgetWin_1", {"Address and search bar", "", false, "", false}},
        {"Chrome_WidgetWin_1", {kEdgeBar, "", true, "", false}},
        {"Chrome_WidgetWin_1", {"Search or enter web address", "Cerca o immetti l'indirizzo Web", true, "", false}},
        {"MozillaWindowClass", {kFirefoxBar, "", true, "", false}},
        {"MozillaWindowClass", {"Search with Google or enter address", "", true, "", false}},
        {"Notepad", {"Testo", "", true, "", false}},
    };
    const char* pages[] = {"", "a.org", "Chrome://Settings", "about:blank", "edge://x", "HTTPS://B.org/P"};
    const char* languages[] = {"", "Italiano", "Inglese"};
    for (unsigned seed = 1; seed <= 40; ++seed) {
        std::mt19937 rng(seed);
        auto pick = [&](std::size_t n) { return static_cast<std::size_t>(rng() % n); };
        desktop = FakeDesktop{};
        processes.running.clear();
        for (const char* name : {"chrome.exe", "msedge.exe", "firefox.exe"}) processes.start(name);
        AddressReaders cached(processes, desktop, desktop);
        AddressReaders fresh(processes, desktop, desktop);
        fresh.setCaching(false);
        std::vector<std::pair<platform::WindowId, std::size_t>> pending;
        std::vector<platform::WindowId> closed;
        const std::string language = languages[pick(3)];
        cached.setLanguageSetting(language);
        fresh.setLanguageSetting(language);
        for (int step = 0; step < 120; ++step) {
            const auto ids = desktop.topLevelWindows();
            switch (pick(9)) {
                case 0: {  // a window opens, its tool bar with it or later, maybe under an old handle
                    const std::size_t kind = pick(kinds.size());
                    platform::WindowId reuse = 0;
                    if (!closed.empty() && pick(2) == 0) {
                        reuse = closed.back();
                        closed.pop_back();
                    }
                    const auto w = desktop.addWindow(kinds[kind].first, pick(4) != 0, pick(2) == 0, reuse);
                    desktop.addNode(w, {"Indietro", "", false, "", false});
                    if (pick(2) == 0) {
                        desktop.addNode(w, kinds[kind].second);
                    } else {
                        pending.emplace_back(w, kind);
                    }
                    break;
                }
                case 7:  // a tool bar appears late
                    if (!pending.empty()) {
                        const auto [w, kind] = pending[pick(pending.size())];
                        if (desktop.find(w) != nullptr && desktop.find(w)->nodes.size() == 1) {
                            desktop.addNode(w, kinds[kind].second);
                        }
                    }
                    break;
                case 1:
                    if (!ids.empty()) {
                        const auto w = ids[pick(ids.size())];
                        desktop.closeWindow(w);
                        closed.push_back(w);
                        std::erase_if(pending, [&](const auto& p) { return p.first == w; });
                    }
                    break;
                case 2:
                    if (!ids.empty()) desktop.bringToFront(ids[pick(ids.size())]);
                    break;
                case 3:
                    if (!ids.empty()) desktop.windows[pick(ids.size())].visible ^= true;
                    break;
                case 4:
                case 5: {  // another page, or typing
                    if (ids.empty()) break;
                    auto& nodes = desktop.windows[pick(ids.size())].nodes;
                    if (nodes.size() < 2) break;
                    auto& bar = *nodes.back();
                    bar.value = pages[pick(std::size(pages))];
                    bar.focused = pick(3) == 0;
                    break;
                }
                case 6: {  // the tool bar is rebuilt
                    if (ids.empty()) break;
                    auto& nodes = desktop.windows[pick(ids.size())].nodes;
                    if (nodes.size() < 2) break;
                    FakeNode copy = *nodes.back();
                    nodes.back()->alive = false;
                    nodes.back() = std::make_shared<FakeNode>(copy);
                    break;
                }
                default:
                    break;  // nothing changes between ticks
            }
            SCOPED_TRACE("seed " + std::to_string(seed) + " step " + std::to_string(step));
            ASSERT_EQ(cached.readChromeAddress(), fresh.readChromeAddress());
            ASSERT_EQ(cached.readEdgeAddress(), fresh.readEdgeAddress());
            ASSERT_EQ(cached.readFirefoxAddress(), fresh.readFirefoxAddress());
            ASSERT_EQ(cached.languageSetting(), fresh.languageSetting());
        }
    }
}

}  // namespace
}  // namespace ombrix::enforce

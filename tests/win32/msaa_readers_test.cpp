// The real address readers, through MSAA, against the browser stand-in.
#include <gtest/gtest.h>

#include <memory>

#include "enforce/win32/browser_readers.h"
#include "platform/win32/machine.h"
#include "win32/browser_standin.h"

namespace ombrix::win32 {
namespace {

using test::StandinBrowser;

class MsaaReaders : public ::testing::Test {
protected:
    std::unique_ptr<platform::Processes> processes = makeProcesses();
    std::unique_ptr<platform::WindowSystem> windows = makeWindowSystem();
    BrowserReaders readers{*processes, *windows, AccessibilityChoice::Msaa};

    // The stand-ins carry the Italian names unless told otherwise; the first
    // setting would follow this machine's language.
    MsaaReaders() { readers.readers().setLanguageSetting("Italiano"); }

    // The reader's answer once it settles on `expected` (the stand-in answers
    // commands at once, but a page takes a moment to show in another process).
    template <typename Read>
    std::string settle(Read read, const std::string& expected) {
        std::string last;
        test::waitFor([&] { return (last = read()) == expected; }, std::chrono::seconds(5));
        return last;
    }
    std::string chrome(const std::string& expected) {
        return settle([&] { return readers.IndirizzoChrome(); }, expected);
    }
    std::string edge(const std::string& expected) {
        return settle([&] { return readers.IndirizzoEdge(); }, expected);
    }
    std::string firefox(const std::string& expected) {
        return settle([&] { return readers.IndirizzoFirefox(); }, expected);
    }
};

TEST_F(MsaaReaders, NothingWhenNoBrowserRuns) {
    EXPECT_FALSE(readers.usesUiAutomation());
    EXPECT_EQ(readers.IndirizzoChrome(), "");
    EXPECT_EQ(readers.IndirizzoEdge(), "");
    EXPECT_EQ(readers.IndirizzoFirefox(), "");
    EXPECT_EQ(readers.accessibilityCalls(), 0u) << "the process check comes first";
}

TEST_F(MsaaReaders, ChromeAddressIsLoweredAndCompleted) {
    StandinBrowser browser("chrome.exe");
    ASSERT_TRUE(browser.started());
    struct Case {
        const char* shown;
        const char* read;
    };
    const Case cases[] = {
        {"Example.ORG/Path?Q=1", "http://example.org/path?q=1"},
        {"chrome://settings", "chrome://settings"},
        {"about:blank", "about:blank"},
        {"https://www.example.org/", "https://www.example.org/"},
        {"citt\xC3\xA0.example/\xC3\x88", "http://citt\xC3\xA0.example/\xC3\xA8"},
    };
    for (const auto& c : cases) {
        ASSERT_TRUE(browser.send(std::string("show ") + c.shown));
        EXPECT_EQ(chrome(c.read), c.read) << c.shown;
    }
    EXPECT_EQ(readers.UrlChrome2(), "http://citt\xC3\xA0.example/\xC3\xA8");
    EXPECT_EQ(readers.IndirizzoEdge(), "") << "msedge.exe is not running";
}

TEST_F(MsaaReaders, HalfTypedAddressIsNeverJudged) {
    StandinBrowser browser("chrome.exe", "casino.example");
    ASSERT_TRUE(browser.started());
    EXPECT_EQ(chrome("http://casino.example"), "http://casino.example");
    ASSERT_TRUE(browser.send("type casi"));
    EXPECT_EQ(chrome(""), "");
    ASSERT_TRUE(browser.send("blur"));
    EXPECT_EQ(chrome("http://casi"), "http://casi") << "the typed text, once the focus has left";
}

TEST_F(MsaaReaders, WithOneWindowOnlyTheLocalizedAttemptReads) {
    // The Italian name is there, but in the only window of the class: the
    // first attempt does not look at it, and the English search misses it.
    StandinBrowser browser("chrome.exe", "--one-window x.org");
    ASSERT_TRUE(browser.started());
    readers.readers().setLanguageSetting("Inglese");
    EXPECT_EQ(readers.IndirizzoChrome(), "");
    readers.readers().setLanguageSetting("Italiano");
    EXPECT_EQ(chrome("http://x.org"), "http://x.org");
}

TEST_F(MsaaReaders, LocalizedAttemptFindsTheEnglishBarAndKeepsTheLanguage) {
    StandinBrowser browser("chrome.exe", "--name \"Address and search bar\" x.org");
    ASSERT_TRUE(browser.started());
    readers.readers().setLanguageSetting("");
    EXPECT_EQ(readers.IndirizzoChrome(), "");
    EXPECT_EQ(readers.readers().languageSetting(), "Italiano") << "an empty setting becomes Italian";
    readers.readers().setLanguageSetting("Inglese");
    EXPECT_EQ(chrome("http://x.org"), "http://x.org");
    EXPECT_EQ(readers.readers().languageSetting(), "Inglese");
}

TEST_F(MsaaReaders, EdgeItalianRowComparesTheHelpText) {
    StandinBrowser browser("msedge.exe", "--name \"Barra\" --help \"Cerca o immetti l'indirizzo Web\" Edge://Settings");
    ASSERT_TRUE(browser.started());
    readers.readers().setLanguageSetting("Italiano");
    EXPECT_EQ(edge("edge://settings"), "edge://settings");
    ASSERT_TRUE(browser.send("show example.org"));
    EXPECT_EQ(edge("http://example.org"), "http://example.org");
    EXPECT_EQ(readers.IndirizzoChrome(), "");
}

TEST_F(MsaaReaders, FirefoxValueAsShownAndTheFocusRule) {
    StandinBrowser browser("firefox.exe", "Example.ORG/Path");
    ASSERT_TRUE(browser.started());
    readers.readers().setLanguageSetting("Italiano");
    EXPECT_EQ(firefox("Example.ORG/Path"), "Example.ORG/Path");
    ASSERT_TRUE(browser.send("focus"));
    EXPECT_EQ(firefox(""), "");
    ASSERT_TRUE(browser.send("blur"));
    EXPECT_EQ(firefox("Example.ORG/Path"), "Example.ORG/Path");
}

TEST_F(MsaaReaders, KeptElementFollowsANewBrowserWindow) {
    {
        StandinBrowser first("chrome.exe", "first.org");
        ASSERT_TRUE(first.started());
        EXPECT_EQ(chrome("http://first.org"), "http://first.org");
    }
    EXPECT_EQ(readers.IndirizzoChrome(), "") << "closed";
    StandinBrowser second("chrome.exe", "second.org");
    ASSERT_TRUE(second.started());
    EXPECT_EQ(chrome("http://second.org"), "http://second.org");
}

TEST_F(MsaaReaders, KeptElementSurvivesWhileAnotherBrowserComesAndGoes) {
    StandinBrowser chromeBrowser("chrome.exe", "c.org");
    ASSERT_TRUE(chromeBrowser.started());
    EXPECT_EQ(chrome("http://c.org"), "http://c.org");
    {
        StandinBrowser firefoxBrowser("firefox.exe", "f.org");
        ASSERT_TRUE(firefoxBrowser.started());
        EXPECT_EQ(firefox("f.org"), "f.org");
        EXPECT_EQ(readers.IndirizzoChrome(), "http://c.org");
    }
    EXPECT_EQ(firefox(""), "");
    ASSERT_TRUE(chromeBrowser.send("show d.org"));
    EXPECT_EQ(chrome("http://d.org"), "http://d.org");
}

TEST_F(MsaaReaders, AccessibilityCallsPerRead) {
    struct Case {
        const char* image;
        std::string (BrowserReaders::*read)();
        const char* expected;
    };
    const Case cases[] = {
        {"chrome.exe", &BrowserReaders::IndirizzoChrome, "http://x.org"},
        {"msedge.exe", &BrowserReaders::IndirizzoEdge, "http://x.org"},
        {"firefox.exe", &BrowserReaders::IndirizzoFirefox, "x.org"},
    };
    for (const auto& c : cases) {
        StandinBrowser browser(c.image, "x.org");
        ASSERT_TRUE(browser.started());
        ASSERT_EQ(settle([&] { return (readers.*c.read)(); }, c.expected), c.expected);
        const auto perRead = [&] {
            const auto before = readers.accessibilityCalls();
            EXPECT_EQ((readers.*c.read)(), c.expected);
            return readers.accessibilityCalls() - before;
        };
        const auto kept = perRead();
        readers.readers().setCaching(false);
        const auto fresh = perRead();
        readers.readers().setCaching(true);
        EXPECT_EQ(kept, 2u) << c.image << ": the value and the focus state";
        EXPECT_GT(fresh, kept) << c.image;
        EXPECT_EQ(perRead(), fresh) << c.image << ": the read that searches again and keeps";
    }
}

TEST(ShellWindows, NoInternetExplorerWindowsGiveEmptyAnswers) {
    auto processes = makeProcesses();
    auto windows = makeWindowSystem();
    BrowserReaders readers(*processes, *windows);
    EXPECT_EQ(readers.ElencoFinestreShell(), "");
    EXPECT_TRUE(readers.windows().empty());
    readers.goBack(0);  // nothing listed: nothing happens
}

}  // namespace
}  // namespace ombrix::win32

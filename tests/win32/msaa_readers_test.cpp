// The real address readers, through MSAA, against the browser stand-in: what
// the native tests of the readers cannot see, the accessible objects of
// another process. The end-to-end tests drive the same readers inside the
// program.
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
    // The stand-ins carry the Italian names unless told otherwise; the first
    // setting would follow this machine's language.
    MsaaReaders() { readers.readers().setLanguageSetting("Italiano"); }

    // The reader's answer once it settles on `expected` (a page takes a
    // moment to show in another process).
    std::string settle(std::string (BrowserReaders::*read)(), const std::string& expected) {
        std::string last;
        test::waitFor([&] { return (last = (readers.*read)()) == expected; }, std::chrono::seconds(5));
        return last;
    }
    std::string chrome(const std::string& expected) { return settle(&BrowserReaders::IndirizzoChrome, expected); }

    std::unique_ptr<platform::Processes> processes = makeProcesses();
    std::unique_ptr<platform::WindowSystem> windows = makeWindowSystem();
    BrowserReaders readers{*processes, *windows, AccessibilityChoice::Msaa};
};

TEST_F(MsaaReaders, ChromeAddressIsLoweredAndCompletedFromUtf16) {
    ASSERT_FALSE(readers.usesUiAutomation());
    StandinBrowser browser("chrome.exe");
    ASSERT_TRUE(browser.started());
    const std::pair<const char*, const char*> cases[] = {
        {"Example.ORG/Path?Q=1", "http://example.org/path?q=1"},
        {"chrome://settings", "chrome://settings"},
        {"citt\xC3\xA0.example/\xC3\x88", "http://citt\xC3\xA0.example/\xC3\xA8"},
    };
    for (const auto& [shown, read] : cases) {
        ASSERT_TRUE(browser.send(std::string("show ") + shown));
        EXPECT_EQ(chrome(read), read) << shown;
    }
    EXPECT_EQ(readers.IndirizzoEdge(), "") << "msedge.exe is not running";
}

TEST_F(MsaaReaders, FirefoxValueAsShownAndNothingWhileTheFocusIsInTheBar) {
    StandinBrowser browser("firefox.exe", "Example.ORG/Path");
    ASSERT_TRUE(browser.started());
    EXPECT_EQ(settle(&BrowserReaders::IndirizzoFirefox, "Example.ORG/Path"), "Example.ORG/Path");
    ASSERT_TRUE(browser.send("type casi"));
    EXPECT_EQ(settle(&BrowserReaders::IndirizzoFirefox, ""), "");
    ASSERT_TRUE(browser.send("blur"));
    EXPECT_EQ(settle(&BrowserReaders::IndirizzoFirefox, "casi"), "casi") << "the typed text, once the focus left";
}

TEST_F(MsaaReaders, EdgeItalianRowComparesTheHelpText) {
    StandinBrowser browser("msedge.exe", "--name \"Barra\" --help \"Cerca o immetti l'indirizzo Web\" Edge://Settings");
    ASSERT_TRUE(browser.started());
    EXPECT_EQ(settle(&BrowserReaders::IndirizzoEdge, "edge://settings"), "edge://settings");
    EXPECT_EQ(readers.IndirizzoChrome(), "");
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

}  // namespace
}  // namespace ombrix::win32

#include "machine/browser_policies.h"
#include "machine/firefox_prefs.h"

#include <gtest/gtest.h>

#include <tuple>

#include "fakes/fake_machine.h"
#include "fakes/fixtures.h"
#include "machine/firefox_profile.h"
#include "platform/files.h"

namespace ombrix::core {
namespace {

std::vector<std::string> listOf(const BrowserPolicies& p, const std::string& key) {
    std::vector<std::string> out;
    for (const auto& v : p.values) if (v.path == key) out.push_back(v.value);
    return out;
}

const std::string kChromeBlock = std::string(kChromePolicies) + "\\URLBlocklist", kChromeAllow = std::string(kChromePolicies) + "\\URLAllowlist";
const std::string kEdgeBlock = std::string(kEdgePolicies) + "\\URLBlocklist", kFirefoxBlock = std::string(kFirefoxPolicies) + "\\WebsiteFilter\\Block";

// Each entry as Chrome's and Firefox's lists write it; "" with no form, "ALL" for every page.
TEST(BrowserPolicies, EachEntryInEachBrowsersSyntax) {
    const std::tuple<const char*, std::vector<std::string>, std::vector<std::string>> cases[] = {  // entry, Chrome, Firefox
        {".example.org", {"example.org"}, {"*://*.example.org/*"}},
        {".Example.ORG/News", {"example.org/news"}, {"*://*.example.org/news*"}},
        {"https://www.example.org", {".example.org", ".www.example.org"}, {"*://example.org/*", "*://www.example.org/*"}},
        {"müller.de/shop", {".xn--mller-kva.de/shop", ".www.xn--mller-kva.de/shop"},
         {"*://xn--mller-kva.de/shop*", "*://www.xn--mller-kva.de/shop*"}},
        {".", {"ALL"}, {"ALL"}},    // every address has "//" in it
        {"www.", {"ALL"}, {"ALL"}}, // nothing left: every address begins with it
        {"*casino", {}, {}},            {".exa\"mple.org", {}, {}},  // the rule drops quotes from the address only
        {"ftp://example.org", {}, {}},  {"example.org/search?q=x", {}, {}},
    };
    for (const auto& [entry, wantChromium, wantFirefox] : cases) {
        const EntryFilters e = entryFilters(entry);
        std::vector<std::string> chromium, firefox;
        if (e.reach == EntryFilters::Reach::Everything) chromium = firefox = {"ALL"};
        for (const auto& f : e.filters) chromium.push_back(chromiumFilter(f)), firefox.push_back(firefoxFilter(f));
        EXPECT_EQ(std::pair(chromium, firefox), std::pair(wantChromium, wantFirefox)) << entry;
        EXPECT_EQ(e.reach == EntryFilters::Reach::None, !e.why.empty()) << entry;
    }
}

TEST(BrowserPolicies, ForbiddenListsAreCutAllowedListsWrittenWholeOrNotAtAll) {
    const BrowserPolicies blocked = translatePolicies({{".a.it", "*casino", "b.it", ".a.it"}, false});
    EXPECT_EQ(listOf(blocked, kEdgeBlock),
              (std::vector<std::string>{"a.it", ".b.it", ".www.b.it", "edge://extensions", "edge://policy"}));
    EXPECT_EQ(listOf(blocked, kFirefoxBlock), (std::vector<std::string>{"*://*.a.it/*", "*://b.it/*", "*://www.b.it/*"}));
    EXPECT_EQ(blocked.leftToReaders.size(), 1u) << "the keyword";
    const BrowserPolicies allowed = translatePolicies({{".scuola.it", "wiki.org/it"}, true});
    EXPECT_EQ(listOf(allowed, kChromeBlock), (std::vector<std::string>{"*", "chrome://extensions", "chrome://policy"}));
    EXPECT_EQ(listOf(allowed, kChromeAllow), (std::vector<std::string>{"scuola.it", ".wiki.org/it", ".www.wiki.org/it"}));
    EXPECT_EQ(listOf(allowed, kFirefoxBlock), std::vector<std::string>{"<all_urls>"});
    // Nothing allowed ("no profile"): the browsers refuse every page too.
    const BrowserPolicies nothing = translatePolicies({{}, true});
    EXPECT_TRUE(listOf(nothing, kChromeBlock) == listOf(allowed, kChromeBlock) && listOf(nothing, kChromeAllow).empty());
    EXPECT_EQ(listOf(nothing, kFirefoxBlock), std::vector<std::string>{"<all_urls>"});
    std::vector<std::string> many;
    for (int i = 0; i < 1500; ++i) many.push_back(".host" + std::to_string(i) + ".it");
    const auto chrome = listOf(translatePolicies({many, false}), kChromeBlock);
    ASSERT_EQ(chrome.size(), kPolicyListLimit);
    EXPECT_EQ(chrome[kPolicyListLimit - 3] + " " + chrome.back(), "host997.it chrome://policy") << "the undoing pages are never cut";
    // A keyword, "*", or a list past the limit: the browser would refuse pages the list allows.
    for (auto entries : {std::vector<std::string>{".scuola.it", "*compiti"}, std::vector<std::string>{"*"}, many}) {
        const BrowserPolicies p = translatePolicies({entries, true});
        EXPECT_EQ(listOf(p, kChromeBlock).size(), 2u);
        EXPECT_TRUE(listOf(p, kChromeAllow).empty() && listOf(p, kFirefoxBlock).empty());
        EXPECT_EQ(p.values.size(), 2 + 2 + 14u) << "the pages and the switches";
    }
}

// profiles.ini's first Path line names the folder; without prefs.js Firefox is not set up and nothing is made.
TEST(FirefoxPrefs, EachApplicationAddsOneLineAndAMissingFileIsNeverMade) {
    test::TempDir dir;
    const std::string appData = pathToUtf8(dir.path());
    EXPECT_EQ(firefoxProfilePath(appData), "") << "no profiles.ini";
    test::writeFile(pathToUtf8(dir.path() / "Mozilla" / "Firefox" / "profiles.ini"),
                    "[General]\r\nStartWithLastProfile=1\r\n\r\n[Profile0]\r\nName=default\r\n"
                    "PATH=Profiles/k2.default\r\n[Profile1]\r\nPath=Profiles/other\r\n");
    const std::string folder = firefoxProfilePath(appData);
    EXPECT_EQ(folder, pathToUtf8(dir.path() / "Mozilla" / "Firefox" / "Profiles" / "k2.default"));
    EXPECT_FALSE(setFirefoxHomePage(folder, "http://one/") || fileSize(folder + "/prefs.js"));

    test::writeFile(folder + "/prefs.js", "// Mozilla\r\nuser_pref(\"browser.startup.homepage\", \"http://own/\");\r\n");
    EXPECT_EQ(HomePageFirefox(folder), "http://own/");
    ASSERT_TRUE(setFirefoxHomePage(folder, "http://one/") && setFirefoxHomePage(folder, "http://two/"));
    EXPECT_EQ(*readWholeFile(folder + "/prefs.js"),
              "// Mozilla\r\n////user_pref(\"browser.startup.homepage\", \"http://own/\");\r\n"
              "//user_pref(\"browser.startup.homepage\",\"http://one/\");\r\n"
              "user_pref(\"browser.startup.homepage\",\"http://two/\");");
    EXPECT_EQ(HomePageFirefox(folder), "http://two/");
    ASSERT_TRUE(ClearFirefoxHomePage(folder));
    EXPECT_EQ(HomePageFirefox(folder), "") << "Firefox's own default counts again";
}

TEST(FirefoxProfile, TheSavedSessionIsDeleted) {
    test::FakeFileSystem files;
    files.files["C:\\p\\sessionstore.js"] = "{}";
    EXPECT_TRUE(clearFirefoxSession(files, "C:\\p", '\\') && files.files.count("C:\\p\\sessionstore.js") == 0);
    EXPECT_TRUE(clearFirefoxSession(files, "", '\\')) << "no Firefox: nothing to do";
    files.files["C:\\locked\\sessionstore.js"] = "{}"; files.readOnlyDirectories.insert("C:\\locked");
    EXPECT_FALSE(clearFirefoxSession(files, "C:\\locked", '\\'));
}

}  // namespace
}  // namespace ombrix::core

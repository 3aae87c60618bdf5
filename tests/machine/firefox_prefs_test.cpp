#include "machine/firefox_prefs.h"

#include <gtest/gtest.h>

#include "fakes/fake_machine.h"
#include "fakes/fixtures.h"
#include "machine/firefox_profile.h"
#include "platform/files.h"

namespace ombrix::core {
namespace {

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
    files.files["C:\\locked\\sessionstore.js"] = "{}", files.readOnlyDirectories.insert("C:\\locked");
    EXPECT_FALSE(clearFirefoxSession(files, "C:\\locked", '\\'));
}

}  // namespace
}  // namespace ombrix::core

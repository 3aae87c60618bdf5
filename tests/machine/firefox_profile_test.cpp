#include "machine/firefox_profile.h"

#include <gtest/gtest.h>

#include "fakes/fake_machine.h"
#include "fakes/fixtures.h"
#include "platform/files.h"

namespace ombrix::core {
namespace {

TEST(FirefoxProfile, TheFirstPathLineNamesTheFolder) {
    test::TempDir dir;
    const std::string appData = pathToUtf8(dir.path());
    EXPECT_EQ(firefoxProfilePath(appData), "") << "no profiles.ini";
    EXPECT_EQ(firefoxProfilePath(""), "");
    const std::string sep(1, platform::pathSeparator());
    test::writeFile(appData + sep + "Mozilla" + sep + "Firefox" + sep + "profiles.ini",
                    "[General]\r\nStartWithLastProfile=1\r\n\r\n[Profile0]\r\nName=default\r\nIsRelative=1\r\n"
                    "PATH=Profiles/abc.default\r\n[Profile1]\r\nPath=Profiles/other\r\n");
    EXPECT_EQ(firefoxProfilePath(appData),
              appData + sep + "Mozilla" + sep + "Firefox" + sep + "Profiles" + sep + "abc.default");
}

TEST(FirefoxProfile, TheSavedSessionIsDeleted) {
    test::FakeFileSystem files;
    files.files["C:\\p\\sessionstore.js"] = "{}";
    EXPECT_TRUE(clearFirefoxSession(files, "C:\\p", '\\'));
    EXPECT_EQ(files.files.count("C:\\p\\sessionstore.js"), 0u);
    EXPECT_TRUE(clearFirefoxSession(files, "", '\\')) << "no Firefox: nothing to do";
    files.files["C:\\locked\\sessionstore.js"] = "{}";
    files.readOnlyDirectories.insert("C:\\locked");
    EXPECT_FALSE(clearFirefoxSession(files, "C:\\locked", '\\'));
}

}  // namespace
}  // namespace ombrix::core

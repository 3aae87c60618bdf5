// The file and printer steps of applying a profile, on Wine's files and spooler.
#include <windows.h>

#include <gtest/gtest.h>

#include "fakes/fixtures.h"
#include "machine/firefox_prefs.h"
#include "machine/machine_profile.h"
#include "platform/durable.h"
#include "platform/files.h"
#include "platform/win32/handles.h"
#include "platform/win32/machine.h"
#include "platform/win32/wide.h"

namespace ombrix::core {
namespace {

TEST(Win32MachineProfile, ALockedFileIsLeftAsItWas) {
    test::TempDir dir;
    const std::string folder = pathToUtf8(dir.path()), prefs = dir.file("prefs.js"), journal = dir.file(kJournalFileName);
    ASSERT_TRUE(writeWholeFile(prefs, "user_pref(\"browser.startup.homepage\", \"http://own/\");\n"));
    ASSERT_TRUE(platform::systemDurableWriter().replace(journal, "old"));
    {
        const auto hold = [](const std::string& path) {  // another program, sharing nothing
            return win32::adoptInvalidOnFailure(
                CreateFileW(win32::toWide(path).c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
        };
        const auto a = hold(prefs), b = hold(journal);
        ASSERT_TRUE(a && b);
        EXPECT_FALSE(setFirefoxHomePage(folder, "http://foreign.example/"));
        EXPECT_FALSE(platform::systemDurableWriter().replace(journal, "new"));
    }
    EXPECT_EQ(HomePageFirefox(folder), "http://own/");
    EXPECT_EQ(readWholeFile(journal), "old") << "the old journal stays whole";
    EXPECT_FALSE(platform::realFileSystem().fileExists(journal + ".new"));
}

TEST(Win32MachineProfile, TheDefaultDeviceIsWrittenAndGivenBack) {
    platform::Printers& printers = win32::machine().printers();
    const std::string before = printers.profileString("windows", "Device");
    ASSERT_TRUE(printers.writeDefaultDevice("Stand-in,winspool,FILE:"));
    EXPECT_EQ(defaultPrinterName(printers), "Stand-in");
    EXPECT_FALSE(printers.rewriteSettings("No printer of this name"));
    ASSERT_TRUE(printers.writeDefaultDevice(before));
    EXPECT_EQ(printers.profileString("windows", "Device"), before);
}

}  // namespace
}  // namespace ombrix::core

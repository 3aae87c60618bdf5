// The file and printer steps of applying a profile, on Wine's files and
// spooler (the registry steps are in the end-to-end tests).
#include <windows.h>

#include <gtest/gtest.h>

#include <filesystem>

#include "machine/firefox_prefs.h"
#include "machine/machine_profile.h"
#include "platform/durable.h"
#include "platform/files.h"
#include "platform/win32/machine.h"
#include "platform/win32/wide.h"

namespace ombrix::core {
namespace {

// Another program holds the file open, sharing nothing, while it lives.
struct HeldOpen {
    explicit HeldOpen(const std::string& path)
        : handle(CreateFileW(win32::toWide(path).c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr)) {}
    ~HeldOpen() { CloseHandle(handle); }
    HANDLE handle;
};

TEST(Win32MachineProfile, ALockedFileIsLeftAsItWas) {
    const std::string folder = pathToUtf8(std::filesystem::temp_directory_path()) + "\\ombrix-locked-" +
                               std::to_string(GetCurrentProcessId());
    std::filesystem::create_directories(pathFromUtf8(folder));
    const std::string prefs = folder + "\\prefs.js";
    const std::string journal = folder + "\\" + kJournalFileName;
    ASSERT_TRUE(writeWholeFile(prefs, "user_pref(\"browser.startup.homepage\", \"http://own/\");\n"));
    ASSERT_TRUE(platform::systemDurableWriter().replace(journal, "old"));
    {
        const HeldOpen a(prefs), b(journal);
        ASSERT_NE(a.handle, INVALID_HANDLE_VALUE);
        EXPECT_FALSE(setFirefoxHomePage(folder, "http://foreign.example/"));
        EXPECT_FALSE(platform::systemDurableWriter().replace(journal, "new"));
    }
    EXPECT_EQ(HomePageFirefox(folder), "http://own/");
    EXPECT_EQ(readWholeFile(journal), "old") << "the old journal stays whole";
    EXPECT_FALSE(platform::realFileSystem().fileExists(journal + ".new"));
    std::filesystem::remove_all(pathFromUtf8(folder));
}

TEST(Win32MachineProfile, TheDefaultDeviceIsWrittenAndGivenBack) {
    platform::Printers& printers = win32::machine().printers();
    const std::string before = printers.profileString("windows", "Device");
    EXPECT_EQ(printers.profileString("PrinterPorts", "No printer of this name"), "");
    ASSERT_TRUE(printers.writeDefaultDevice("Stand-in,winspool,FILE:"));
    EXPECT_EQ(defaultPrinterName(printers), "Stand-in");
    EXPECT_FALSE(printers.rewriteSettings("No printer of this name"));
    ASSERT_TRUE(printers.writeDefaultDevice(before));
    EXPECT_EQ(printers.profileString("windows", "Device"), before);
}

}  // namespace
}  // namespace ombrix::core

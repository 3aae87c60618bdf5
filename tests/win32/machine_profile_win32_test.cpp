// Applying a profile and giving it back, on Wine's registry, files and printers.
#include <windows.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>

#include "core/firefox_prefs.h"
#include "core/machine_profile.h"
#include "fakes/fake_machine.h"
#include "fakes/fake_machine_profile.h"
#include "platform/durable.h"
#include "platform/file_registry.h"
#include "platform/files.h"
#include "platform/win32/machine.h"
#include "platform/win32/wide.h"

namespace ombrix::core {
namespace {

// The value as the system holds it: its type and its data, or nothing.
struct RawValue {
    DWORD type = REG_NONE;
    std::wstring text;
    DWORD number = 0;
    bool operator==(const RawValue&) const = default;
};

std::optional<RawValue> raw(const char* key, const char* name) {
    BYTE data[2048] = {};
    DWORD size = sizeof data;
    RawValue v;
    if (RegGetValueW(HKEY_CURRENT_USER, win32::toWide(key).c_str(), win32::toWide(name).c_str(),
                     RRF_RT_ANY | RRF_NOEXPAND, &v.type, data, &size) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    if (v.type == REG_DWORD) v.number = *reinterpret_cast<DWORD*>(data);
    if (v.type == REG_SZ) v.text = reinterpret_cast<wchar_t*>(data);
    return v;
}

class Win32MachineProfile : public ::testing::Test {
protected:
    Win32MachineProfile() {
        folder = pathToUtf8(std::filesystem::temp_directory_path()) + "\\ombrix-machine-" +
                 std::to_string(GetCurrentProcessId());
        std::filesystem::create_directories(pathFromUtf8(folder + "\\Mozilla\\Firefox\\Profiles\\p.default"));
        EXPECT_TRUE(writeWholeFile(folder + "\\Mozilla\\Firefox\\profiles.ini", "[Profile0]\r\nPath=Profiles/p.default\r\n"));
        prefs = folder + "\\Mozilla\\Firefox\\Profiles\\p.default\\prefs.js";
        EXPECT_TRUE(writeWholeFile(prefs, "user_pref(\"browser.startup.homepage\", \"http://own/\");\n"));
        system.env["APPDATA"] = folder;
        newRun();
    }
    ~Win32MachineProfile() override {
        settings.reset();
        std::error_code ignored;
        std::filesystem::remove_all(pathFromUtf8(folder), ignored);
    }
    void newRun() {
        settings.reset();
        journal = std::make_unique<MachineJournal>(platform::systemDurableWriter(), platform::realFileSystem());
        settings = std::make_unique<MachineSettings>(
            MachineSeams{platform::systemRegistry(), system, win32::machine().printers(), processes, pump, shell,
                         platform::realFileSystem(), desktop, *journal},
            [this] { return folder + "\\" + kJournalFileName; });
    }

    std::string folder, prefs;
    test::Journal log;
    test::FakeSystem system;
    test::FakeProcesses processes{log};
    test::FakePump pump;
    test::FakeShell shell{log};
    test::FakeDesktopLock desktop{log};
    std::unique_ptr<MachineJournal> journal;
    std::unique_ptr<MachineSettings> settings;
};

TEST_F(Win32MachineProfile, AForcedEndLeavesNothingTheNextStartDoesNotGiveBack) {
    const auto startPage = raw(kInternetExplorerMain, kStartPage);
    const auto zone = raw(kZone3, kDownloadValue);
    const std::string device = win32::machine().printers().profileString("windows", "Device");

    ProfileSwitches profile;
    profile.paginaPredefinita = "http://foreign.example/";
    profile.bloccaDownload = true;
    profile.stampantePredefinita = "No printer of this name";
    settings->rememberSettings();
    settings->applyToMachine(profile);
    EXPECT_EQ(raw(kZone3, kDownloadValue), (RawValue{REG_DWORD, {}, 3}));
    EXPECT_EQ(raw(kInternetExplorerMain, kStartPage), (RawValue{REG_SZ, L"http://foreign.example/", 0}));
    EXPECT_EQ(HomePageFirefox(folder + "\\Mozilla\\Firefox\\Profiles\\p.default"), "http://foreign.example/");
    EXPECT_EQ(win32::machine().printers().profileString("windows", "Device"), device) << "not a printer here";
    EXPECT_TRUE(platform::realFileSystem().fileExists(journal->path()));

    newRun();
    settings->rememberSettings();
    EXPECT_EQ(raw(kZone3, kDownloadValue), zone);
    EXPECT_EQ(raw(kInternetExplorerMain, kStartPage), startPage);
    EXPECT_EQ(HomePageFirefox(folder + "\\Mozilla\\Firefox\\Profiles\\p.default"), "http://own/");
    EXPECT_FALSE(platform::realFileSystem().fileExists(journal->path()));
}

TEST_F(Win32MachineProfile, ALockedFileIsLeftAsItWas) {
    const std::wstring wide = win32::toWide(prefs);
    const HANDLE held = CreateFileW(wide.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(held, INVALID_HANDLE_VALUE);
    const std::string profile = folder + "\\Mozilla\\Firefox\\Profiles\\p.default";
    EXPECT_FALSE(ImpostaPaginaInizialeFirefox(profile, "http://foreign.example/"));
    CloseHandle(held);
    EXPECT_EQ(readWholeFile(prefs), "user_pref(\"browser.startup.homepage\", \"http://own/\");\n");

    // The journal too: a replacement that cannot land leaves the old one whole.
    const std::string path = folder + "\\" + kJournalFileName;
    ASSERT_TRUE(platform::systemDurableWriter().replace(path, "old"));
    const HANDLE journalHeld =
        CreateFileW(win32::toWide(path).c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(journalHeld, INVALID_HANDLE_VALUE);
    EXPECT_FALSE(platform::systemDurableWriter().replace(path, "new"));
    CloseHandle(journalHeld);
    EXPECT_EQ(readWholeFile(path), "old");
    EXPECT_FALSE(platform::realFileSystem().fileExists(path + ".new"));
}

TEST(Win32Printers, TheDefaultDeviceIsWrittenAndGivenBack) {
    platform::Printers& printers = win32::machine().printers();
    const std::string before = printers.profileString("windows", "Device");
    EXPECT_EQ(printers.profileString("PrinterPorts", "No printer of this name"), "");
    ASSERT_TRUE(printers.writeDefaultDevice("Stand-in,winspool,FILE:"));
    EXPECT_EQ(printers.profileString("windows", "Device"), "Stand-in,winspool,FILE:");
    EXPECT_EQ(defaultPrinterName(printers), "Stand-in");
    EXPECT_FALSE(printers.rewriteSettings("No printer of this name"));
    ASSERT_TRUE(printers.writeDefaultDevice(before));
    EXPECT_EQ(printers.profileString("windows", "Device"), before);
}

}  // namespace
}  // namespace ombrix::core

#include "core/settings_reg.h"
#include <gtest/gtest.h>
#include "fakes/fixtures.h"
#include "platform/file_registry.h"
#include "platform/files.h"

namespace ombrix::core {
namespace {
using platform::RegRoot;

const std::string kMachineKey = "SOFTWARE\\Ombrix\\Opzioni";

// Saved to the machine's key and mirrored per user; read from the machine, falling back to the user's copy,
// which a machine value refreshes.
TEST(SettingsReg, SaveMirrorsPerUserAndGetFallsBackToIt) {
    platform::FileRegistry reg;
    const std::string userKey = programSettingsKey("Ombrix", "Opzioni");
    EXPECT_TRUE(SaveSettingReg(reg, "Ombrix", "Opzioni", "DataBase", "C:\\Ombrix"));
    EXPECT_EQ(reg.readValue(RegRoot::CurrentUser, userKey, "DataBase"), "C:\\Ombrix");
    reg.writeString(RegRoot::CurrentUser, userKey, "DataBase", "D:\\Utente");
    reg.writeString(RegRoot::LocalMachine, kMachineKey, "DataBase", "");
    EXPECT_EQ(GetSettingReg(reg, "Ombrix", "Opzioni", "DataBase"), "D:\\Utente") << "an empty machine value";
    reg.writeString(RegRoot::LocalMachine, kMachineKey, "DataBase", "E:\\Macchina");
    EXPECT_EQ(GetSettingReg(reg, "Ombrix", "Opzioni", "DataBase"), "E:\\Macchina");
    EXPECT_EQ(reg.readValue(RegRoot::CurrentUser, userKey, "DataBase"), "E:\\Macchina") << "copied per user";
    const std::string zone = "Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings\\Zones\\3";
    reg.writeDword(RegRoot::CurrentUser, zone, "1803", 3);
    reg.writeDword(RegRoot::LocalMachine, zone, "1803", 0);
    EXPECT_EQ(GetSettingRegRoot(reg, 2, "", zone, "1803") + GetSettingRegRoot(reg, 1, "", zone, "1803"), "30")
        << "1 is the machine, anything else the current user";
}

// The native stand-in for the registry, kept in a file.
TEST(FileRegistry, KeysIgnoreCaseValuesSurviveAReloadAndAFailedWriteKeepsNothing) {
    test::TempDir dir;
    {
        platform::FileRegistry reg(dir.file("registry.txt"));
        EXPECT_TRUE(reg.writeString(RegRoot::LocalMachine, kMachineKey, "DataBase", "C:\\a\tb\nc\\") &&
                    reg.writeDword(RegRoot::CurrentUser, "Software\\X", "N", 4294967295u) &&
                    reg.writeString(RegRoot::CurrentUser, "Software\\X", "Gone", "1") && reg.deleteValue(RegRoot::CurrentUser, "Software\\X", "Gone"));
    }
    platform::FileRegistry reg(dir.file("registry.txt"));
    EXPECT_EQ(reg.readValue(RegRoot::LocalMachine, "software\\OMBRIX\\opzioni\\", "database"), "C:\\a\tb\nc\\");
    EXPECT_EQ(reg.readValue(RegRoot::CurrentUser, "Software\\X", "N"), "4294967295");
    EXPECT_EQ(reg.readValue(RegRoot::CurrentUser, "Software\\X", "Gone"), std::nullopt);
    EXPECT_EQ(reg.readValue(RegRoot::LocalMachine, "Software\\X", "N"), std::nullopt) << "roots are apart";

    test::writeFile(dir.file("blocker"), "x");
    platform::FileRegistry blocked(dir.file("blocker/registry.txt"));
    EXPECT_FALSE(blocked.writeString(RegRoot::CurrentUser, "Software\\X", "A", "1") || blocked.readValue(RegRoot::CurrentUser, "Software\\X", "A"));
}
}  // namespace
}  // namespace ombrix::core

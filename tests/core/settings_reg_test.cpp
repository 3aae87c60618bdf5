#include "core/settings_reg.h"

#include <gtest/gtest.h>

#include "fakes/fixtures.h"
#include "platform/file_registry.h"
#include "platform/files.h"

namespace ombrix::core {
namespace {

using platform::RegRoot;

const std::string kMachineKey = "SOFTWARE\\Ombrix\\Opzioni";

// Saved to the machine's key and mirrored per user; read from the machine,
// falling back to the user's copy, which a machine value refreshes.
TEST(SettingsReg, SaveMirrorsPerUserAndGetFallsBackToIt) {
    platform::FileRegistry reg;
    const std::string userKey = programSettingsKey("Ombrix", "Opzioni");
    EXPECT_TRUE(SaveSettingReg(reg, "Ombrix", "Opzioni", "DataBase", "C:\\Ombrix"));
    EXPECT_TRUE(reg.readValue(RegRoot::LocalMachine, kMachineKey, "DataBase") == "C:\\Ombrix" &&
                reg.readValue(RegRoot::CurrentUser, userKey, "DataBase") == "C:\\Ombrix");
    // With no application the section is the key, and nothing is mirrored.
    const std::string run = "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run";
    EXPECT_TRUE(SaveSettingReg(reg, "", run, "Ombrix", "C:\\ombrix.exe"));
    EXPECT_EQ(reg.readValue(RegRoot::LocalMachine, run, "Ombrix"), "C:\\ombrix.exe");
    EXPECT_FALSE(reg.keyExists(RegRoot::CurrentUser, programSettingsKey("", run)));

    reg.writeString(RegRoot::CurrentUser, userKey, "DataBase", "D:\\Utente");
    reg.writeString(RegRoot::LocalMachine, kMachineKey, "DataBase", "");
    EXPECT_EQ(GetSettingReg(reg, "Ombrix", "Opzioni", "DataBase"), "D:\\Utente") << "an empty machine value";
    reg.writeString(RegRoot::LocalMachine, kMachineKey, "DataBase", "E:\\Macchina");
    EXPECT_EQ(GetSettingReg(reg, "Ombrix", "Opzioni", "DataBase"), "E:\\Macchina");
    EXPECT_EQ(reg.readValue(RegRoot::CurrentUser, userKey, "DataBase"), "E:\\Macchina") << "copied per user";
    EXPECT_EQ(GetSettingReg(reg, "Ombrix", "Opzioni", "Missing"), "");

    const std::string zone = "Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings\\Zones\\3";
    reg.writeDword(RegRoot::CurrentUser, zone, "1803", 3);
    reg.writeDword(RegRoot::LocalMachine, zone, "1803", 0);
    EXPECT_EQ(GetSettingRegRoot(reg, 2, "", zone, "1803"), "3") << "anything but 1 is the current user";
    EXPECT_EQ(GetSettingRegRoot(reg, 1, "", zone, "1803"), "0");
    reg.writeString(RegRoot::CurrentUser, kMachineKey, "Lingua", "it");
    EXPECT_EQ(GetSettingRegCurrentUser(reg, "Ombrix", "Opzioni", "Lingua"), "it");
    EXPECT_EQ(GetSettingReg(reg, "Ombrix", "Opzioni", "Lingua"), "") << "the plain variant reads the machine";
}

// The native stand-in for the registry, kept in a file.
TEST(FileRegistry, KeysIgnoreCaseValuesSurviveAReloadAndAFailedWriteKeepsNothing) {
    test::TempDir dir;
    {
        platform::FileRegistry reg(dir.file("registry.txt"));
        EXPECT_TRUE(reg.writeString(RegRoot::LocalMachine, kMachineKey, "DataBase", "C:\\a\tb\nc\\"));
        EXPECT_TRUE(reg.writeDword(RegRoot::CurrentUser, "Software\\X", "N", 4294967295u));
        EXPECT_TRUE(reg.writeString(RegRoot::CurrentUser, "Software\\X", "Gone", "1"));
        EXPECT_TRUE(reg.deleteValue(RegRoot::CurrentUser, "Software\\X", "Gone"));
    }
    platform::FileRegistry reg(dir.file("registry.txt"));
    EXPECT_EQ(reg.readValue(RegRoot::LocalMachine, "software\\OMBRIX\\opzioni\\", "database"), "C:\\a\tb\nc\\");
    EXPECT_EQ(reg.readValue(RegRoot::CurrentUser, "Software\\X", "N"), "4294967295");
    EXPECT_EQ(reg.readValue(RegRoot::CurrentUser, "Software\\X", "Gone"), std::nullopt);
    EXPECT_EQ(reg.readValue(RegRoot::LocalMachine, "Software\\X", "N"), std::nullopt) << "roots are apart";

    test::writeFile(dir.file("blocker"), "x");
    platform::FileRegistry blocked(dir.file("blocker/registry.txt"));
    EXPECT_FALSE(blocked.writeString(RegRoot::CurrentUser, "Software\\X", "A", "1"));
    EXPECT_EQ(blocked.readValue(RegRoot::CurrentUser, "Software\\X", "A"), std::nullopt);
}

}  // namespace
}  // namespace ombrix::core

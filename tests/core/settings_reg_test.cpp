#include "core/settings_reg.h"

#include <gtest/gtest.h>

#include "fakes/fixtures.h"
#include "platform/file_registry.h"

namespace ombrix::core {
namespace {

using platform::RegRoot;

TEST(SettingsReg, SaveWritesTheMachineKeyAndMirrorsPerUser) {
    platform::FileRegistry reg;
    EXPECT_TRUE(SaveSettingReg(reg, "Ombrix", "Opzioni", "DataBase", "C:\\Ombrix\\DataBase"));
    EXPECT_EQ(reg.readValue(RegRoot::LocalMachine, "SOFTWARE\\Ombrix\\Opzioni", "DataBase"), "C:\\Ombrix\\DataBase");
    EXPECT_EQ(reg.readValue(RegRoot::CurrentUser, programSettingsKey("Ombrix", "Opzioni"), "DataBase"),
              "C:\\Ombrix\\DataBase");
    EXPECT_EQ(GetSettingReg(reg, "Ombrix", "Opzioni", "DataBase"), "C:\\Ombrix\\DataBase");
}

TEST(SettingsReg, EmptyApplicationUsesTheSectionAsKeyAndMirrorsNothing) {
    platform::FileRegistry reg;
    const std::string run = "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run";
    EXPECT_TRUE(SaveSettingReg(reg, "", run, "Ombrix", "C:\\Programmi\\Ombrix\\ombrix.exe"));
    EXPECT_EQ(reg.readValue(RegRoot::LocalMachine, run, "Ombrix"), "C:\\Programmi\\Ombrix\\ombrix.exe");
    EXPECT_FALSE(reg.keyExists(RegRoot::CurrentUser, "Software\\Ombrix"));
}

TEST(SettingsReg, GetFallsBackToThePerUserStoreAndCopiesMachineValues) {
    platform::FileRegistry reg;
    reg.writeString(RegRoot::CurrentUser, programSettingsKey("Ombrix", "Opzioni"), "DataBase", "D:\\Utente");
    EXPECT_EQ(GetSettingReg(reg, "Ombrix", "Opzioni", "DataBase"), "D:\\Utente") << "no machine value";

    reg.writeString(RegRoot::LocalMachine, "SOFTWARE\\Ombrix\\Opzioni", "DataBase", "");
    EXPECT_EQ(GetSettingReg(reg, "Ombrix", "Opzioni", "DataBase"), "D:\\Utente") << "an empty machine value";

    reg.writeString(RegRoot::LocalMachine, "SOFTWARE\\Ombrix\\Opzioni", "DataBase", "E:\\Macchina");
    EXPECT_EQ(GetSettingReg(reg, "Ombrix", "Opzioni", "DataBase"), "E:\\Macchina");
    EXPECT_EQ(reg.readValue(RegRoot::CurrentUser, programSettingsKey("Ombrix", "Opzioni"), "DataBase"), "E:\\Macchina")
        << "the machine value is copied to the per-user store";
    EXPECT_EQ(GetSettingReg(reg, "Ombrix", "Opzioni", "Missing"), "");
}

TEST(SettingsReg, CurrentUserAndRootVariants) {
    platform::FileRegistry reg;
    const std::string zone = "Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings\\Zones\\3";
    reg.writeDword(RegRoot::CurrentUser, zone, "1803", 3);
    reg.writeDword(RegRoot::LocalMachine, zone, "1803", 0);
    EXPECT_EQ(GetSettingRegRoot(reg, 0, "", zone, "1803"), "3");
    EXPECT_EQ(GetSettingRegRoot(reg, 2, "", zone, "1803"), "3") << "anything but 1 is the current user";
    EXPECT_EQ(GetSettingRegRoot(reg, 1, "", zone, "1803"), "0");
    reg.writeString(RegRoot::CurrentUser, "SOFTWARE\\Ombrix\\Opzioni", "Lingua", "it");
    EXPECT_EQ(GetSettingRegCurrentUser(reg, "Ombrix", "Opzioni", "Lingua"), "it");
    EXPECT_EQ(GetSettingReg(reg, "Ombrix", "Opzioni", "Lingua"), "") << "the plain variant reads the machine";
}

TEST(FileRegistry, KeysIgnoreCaseAndValuesSurviveAReload) {
    test::TempDir dir;
    const std::string file = dir.file("registry.txt");
    {
        platform::FileRegistry reg(file);
        EXPECT_TRUE(reg.writeString(RegRoot::LocalMachine, "SOFTWARE\\Ombrix\\Opzioni", "DataBase", "C:\\a\tb\nc\\"));
        EXPECT_TRUE(reg.writeDword(RegRoot::CurrentUser, "Software\\X", "N", 4294967295u));
        EXPECT_TRUE(reg.writeString(RegRoot::CurrentUser, "Software\\X", "Gone", "1"));
        EXPECT_TRUE(reg.deleteValue(RegRoot::CurrentUser, "Software\\X", "Gone"));
        EXPECT_TRUE(reg.deleteValue(RegRoot::CurrentUser, "Software\\X", "NeverThere"));
    }
    platform::FileRegistry reg(file);
    EXPECT_EQ(reg.readValue(RegRoot::LocalMachine, "software\\OMBRIX\\opzioni\\", "database"), "C:\\a\tb\nc\\");
    EXPECT_EQ(reg.readValue(RegRoot::CurrentUser, "Software\\X", "N"), "4294967295");
    EXPECT_EQ(reg.readValue(RegRoot::CurrentUser, "Software\\X", "Gone"), std::nullopt);
    EXPECT_EQ(reg.readValue(RegRoot::LocalMachine, "Software\\X", "N"), std::nullopt) << "roots are apart";
}

TEST(FileRegistry, AnUnwritableFileReportsFailureAndKeepsNothing) {
    test::TempDir dir;
    test::writeFile(dir.file("blocker"), "x");
    platform::FileRegistry reg(dir.file("blocker/registry.txt"));
    EXPECT_FALSE(reg.writeString(RegRoot::CurrentUser, "Software\\X", "A", "1"));
    EXPECT_EQ(reg.readValue(RegRoot::CurrentUser, "Software\\X", "A"), std::nullopt);
}

}  // namespace
}  // namespace ombrix::core

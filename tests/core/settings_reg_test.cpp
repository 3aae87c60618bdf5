#include "core/settings_reg.h"

#include <gtest/gtest.h>

#include "fakes/fixtures.h"
#include "platform/file_registry.h"
#include "platform/files.h"

namespace ombrix::core {
namespace {

using platform::RegRoot;

const std::string kMachineKey = "SOFTWARE\\Ombrix\\Opzioni";

TEST(SettingsReg, SaveWritesTheMachineKeyAndMirrorsPerUser) {
    platform::FileRegistry reg;
    EXPECT_TRUE(SaveSettingReg(reg, "Ombrix", "Opzioni", "DataBase", "C:\\Ombrix\\DataBase"));
    EXPECT_EQ(reg.readValue(RegRoot::LocalMachine, kMachineKey, "DataBase"), "C:\\Ombrix\\DataBase");
    EXPECT_EQ(reg.readValue(RegRoot::CurrentUser, programSettingsKey("Ombrix", "Opzioni"), "DataBase"),
              "C:\\Ombrix\\DataBase");

    // With no application the section is the key, and nothing is mirrored.
    const std::string run = "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run";
    EXPECT_TRUE(SaveSettingReg(reg, "", run, "Ombrix", "C:\\Programmi\\Ombrix\\ombrix.exe"));
    EXPECT_EQ(reg.readValue(RegRoot::LocalMachine, run, "Ombrix"), "C:\\Programmi\\Ombrix\\ombrix.exe");
    EXPECT_FALSE(reg.keyExists(RegRoot::CurrentUser, programSettingsKey("", run)));
}

TEST(SettingsReg, GetFallsBackToThePerUserStoreAndCopiesMachineValues) {
    platform::FileRegistry reg;
    reg.writeString(RegRoot::CurrentUser, programSettingsKey("Ombrix", "Opzioni"), "DataBase", "D:\\Utente");
    reg.writeString(RegRoot::LocalMachine, kMachineKey, "DataBase", "");
    EXPECT_EQ(GetSettingReg(reg, "Ombrix", "Opzioni", "DataBase"), "D:\\Utente") << "an empty machine value";
    reg.writeString(RegRoot::LocalMachine, kMachineKey, "DataBase", "E:\\Macchina");
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

// A key outlives its values, as in the real registry, and goes only empty.
TEST(FileRegistry, OnlyAnEmptyKeyIsDeleted) {
    test::TempDir dir;
    {
        platform::FileRegistry reg(dir.file("registry.txt"));
        reg.writeString(RegRoot::CurrentUser, "A\\B\\C", "V", "1");
        reg.writeString(RegRoot::CurrentUser, "A\\D", "V", "1");
        reg.deleteValue(RegRoot::CurrentUser, "A\\D", "V");
        reg.writeString(RegRoot::LocalMachine, "A\\E", "V", "1");
    }
    platform::FileRegistry reg(dir.file("registry.txt"));  // the empty key survives a reload
    struct Case {
        RegRoot root;
        const char* key;
        bool gone;
    };
    for (const auto& [root, key, gone] : {
             Case{RegRoot::CurrentUser, "A\\B\\C", false},  // holds a value
             Case{RegRoot::CurrentUser, "A\\B", false},       // holds a subkey
             Case{RegRoot::CurrentUser, "a\\d\\", true},     // empty once its value went
             Case{RegRoot::CurrentUser, "A\\E", true},        // never there: the other root's
             Case{RegRoot::LocalMachine, "A", false},
         }) {
        EXPECT_EQ(reg.deleteEmptyKey(root, key), gone) << key;
        EXPECT_EQ(reg.keyExists(root, key), !gone) << key;
    }
    EXPECT_EQ(reg.readValue(RegRoot::CurrentUser, "A\\B\\C", "V"), "1");

    // A file of the previous format has value lines only: their keys exist.
    test::writeFile(dir.file("old.txt"), "HKCU\tsoftware\\\\x\tn\tdword\t7\n");
    platform::FileRegistry old(dir.file("old.txt"));
    EXPECT_TRUE(old.keyExists(RegRoot::CurrentUser, "Software"));
    EXPECT_FALSE(old.deleteEmptyKey(RegRoot::CurrentUser, "Software\\X"));
}

}  // namespace
}  // namespace ombrix::core

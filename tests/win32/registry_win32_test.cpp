#include <windows.h>

#include <gtest/gtest.h>

#include "platform/registry.h"

namespace ombrix::platform {

Registry& systemRegistry();

namespace {

const char* kKey = "Software\\OmbrixTest\\Registry";

class Win32RegistryTest : public ::testing::Test {
protected:
    void TearDown() override {
        RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\OmbrixTest");
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\OmbrixTest");
    }
    Registry& reg = systemRegistry();
};

TEST_F(Win32RegistryTest, TextAndDoubleWordValuesRoundTrip) {
    for (const RegRoot root : {RegRoot::CurrentUser, RegRoot::LocalMachine}) {
        EXPECT_TRUE(reg.writeString(root, kKey, "Testo", "Città – €"));
        EXPECT_EQ(reg.readValue(root, kKey, "Testo"), "Città – €");
        EXPECT_TRUE(reg.writeString(root, kKey, "Vuoto", ""));
        EXPECT_EQ(reg.readValue(root, kKey, "Vuoto"), "");
        EXPECT_TRUE(reg.writeDword(root, kKey, "1803", 3));
        EXPECT_EQ(reg.readValue(root, kKey, "1803"), "3");
        EXPECT_EQ(reg.readValue(root, "software\\ombrixtest\\REGISTRY", "testo"), "Città – €") << "case ignored";
        EXPECT_TRUE(reg.deleteValue(root, kKey, "Testo"));
        EXPECT_EQ(reg.readValue(root, kKey, "Testo"), std::nullopt);
        EXPECT_TRUE(reg.deleteValue(root, kKey, "Testo")) << "already gone";
        EXPECT_TRUE(reg.deleteValue(root, "Software\\OmbrixTest\\NoSuchKey", "X"));
    }
    EXPECT_EQ(reg.readValue(RegRoot::CurrentUser, "Software\\OmbrixTest\\NoSuchKey", "X"), std::nullopt);
}

// Only a key with nothing in it goes; another program's value or subkey keeps it.
TEST_F(Win32RegistryTest, OnlyAnEmptyKeyIsDeleted) {
    const std::string parent = "Software\\OmbrixTest\\Keys";
    ASSERT_TRUE(reg.writeString(RegRoot::CurrentUser, parent + "\\Empty", "V", "1"));
    ASSERT_TRUE(reg.deleteValue(RegRoot::CurrentUser, parent + "\\Empty", "V"));
    ASSERT_EQ(RegSetKeyValueW(HKEY_CURRENT_USER, L"Software\\OmbrixTest\\Keys\\Held", L"", REG_SZ, L"x", 4),
              ERROR_SUCCESS);
    ASSERT_EQ(RegSetKeyValueW(HKEY_CURRENT_USER, L"Software\\OmbrixTest\\Keys\\Deep\\Sub", L"", REG_SZ, L"x", 4),
              ERROR_SUCCESS);
    ASSERT_EQ(RegDeleteKeyValueW(HKEY_CURRENT_USER, L"Software\\OmbrixTest\\Keys\\Deep\\Sub", L""), ERROR_SUCCESS);
    struct Case {
        const char* key;
        bool gone;
    };
    for (const auto& [key, gone] : {
             Case{"Held", false},     // a default value
             Case{"Deep", false},     // an empty subkey
             Case{"deep\\SUB", true},  // case ignored
             Case{"Deep", true},      // empty now
             Case{"EMPTY", true},
             Case{"Missing", true},
         }) {
        EXPECT_EQ(reg.deleteEmptyKey(RegRoot::CurrentUser, parent + "\\" + key), gone) << key;
        EXPECT_EQ(reg.keyExists(RegRoot::CurrentUser, parent + "\\" + key), !gone) << key;
    }
    EXPECT_EQ(reg.readValue(RegRoot::CurrentUser, parent + "\\Held", ""), "x");
    EXPECT_TRUE(reg.keyExists(RegRoot::CurrentUser, "Software"));
}

TEST_F(Win32RegistryTest, ValuesAreWhereOtherProgramsLookForThem) {
    ASSERT_TRUE(reg.writeString(RegRoot::LocalMachine, "SOFTWARE\\OmbrixTest\\Opzioni", "DataBase", "C:\\Dati"));
    wchar_t buffer[64] = {};
    DWORD size = sizeof buffer;
    EXPECT_EQ(RegGetValueW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\OmbrixTest\\Opzioni", L"DataBase", RRF_RT_REG_SZ, nullptr,
                           buffer, &size),
              ERROR_SUCCESS)
        << "a REG_SZ value";
    EXPECT_STREQ(buffer, L"C:\\Dati");
}

}  // namespace
}  // namespace ombrix::platform

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

TEST_F(Win32RegistryTest, ValuesAreWhereOtherProgramsLookForThem) {
    ASSERT_TRUE(reg.writeString(RegRoot::LocalMachine, "SOFTWARE\\OmbrixTest\\Opzioni", "DataBase", "C:\\Dati"));
    HKEY key = nullptr;
    ASSERT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\OmbrixTest\\Opzioni", 0, KEY_READ, &key), ERROR_SUCCESS);
    wchar_t buffer[64] = {};
    DWORD size = sizeof buffer, type = 0;
    EXPECT_EQ(RegQueryValueExW(key, L"DataBase", nullptr, &type, reinterpret_cast<BYTE*>(buffer), &size),
              ERROR_SUCCESS);
    RegCloseKey(key);
    EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
    EXPECT_STREQ(buffer, L"C:\\Dati");
}

}  // namespace
}  // namespace ombrix::platform

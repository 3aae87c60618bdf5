// The system's files, INI reader, trace and registry under the portable seams.
#include <windows.h>

#include <gtest/gtest.h>

#include <filesystem>

#include "fakes/fixtures.h"
#include "platform/failures.h"
#include "platform/file_registry.h"
#include "platform/files.h"
#include "platform/filesystem.h"
#include "platform/ini.h"
#include "platform/ini_cases.h"
#include "platform/trace_file.h"
#include "platform/win32/debugger_output.h"
#include "platform/win32/wide.h"

namespace ombrix::win32 {
namespace {

using platform::RegRoot;

TEST(Win32FileSystem, WideNamesWork) {
    test::TempDir dir;
    const std::string base = dir.file("città"), file = base + "\\è.txt", copy = base + "\\ù.txt";
    platform::FileSystem& fs = platform::realFileSystem();
    ASSERT_TRUE(fs.createDirectory(base));
    EXPECT_TRUE(fs.createDirectory(base)) << "an existing folder is fine";
    ASSERT_TRUE(writeWholeFile(file, "x"));
    EXPECT_TRUE(fs.copyFile(file, copy));
    EXPECT_EQ(readWholeFile(copy), "x");
    EXPECT_TRUE(fs.removeFile(file));
    EXPECT_FALSE(fs.fileExists(file));
}

TEST(SystemProfileReader, AgreesWithThePortableReader) {
    test::TempDir dir;
    int n = 0;
    for (const auto& c : test::profileCases()) {
        const std::string path = dir.file("case" + std::to_string(n++) + ".ini");
        test::writeFile(path, c.file);
        const std::string system = ini::systemProfileReader()(path, c.section, c.key);
        EXPECT_EQ(system, ini::portableProfileString(path, c.section, c.key)) << c.name;
        EXPECT_EQ(system, c.expected) << c.name;
    }
}

TEST(TraceWin32, WritesTheSystemsTextAndRotates) {
    test::TempDir dir;
    sendFailuresToDebugger();
    platform::setTraceFolder(pathToUtf8(dir.path()), "ombrix");
    platform::recordFailure("a test failure", "first", {ERROR_ACCESS_DENIED});
    const std::string first = readWholeFile(dir.file("ombrix-trace.txt")).value_or("(missing)");
    EXPECT_TRUE(first.ends_with("\ta test failure: first (error 5: " + systemMessage(ERROR_ACCESS_DENIED) + ")\r\n"))
        << first;
    platform::setTraceBytesForTests(first.size() + 1);
    platform::recordFailure("a test failure", "second");
    EXPECT_EQ(readWholeFile(dir.file("ombrix-trace.txt.1")).value_or("(missing)"), first);
    EXPECT_TRUE(readWholeFile(dir.file("ombrix-trace.txt")).value_or("").ends_with("a test failure: second\r\n"));
    platform::setTraceFolder({}, {});
    platform::setTraceBytesForTests(platform::kTraceBytes);
    platform::setFailureSink(nullptr);
}

class Win32Registry : public ::testing::Test {
protected:
    ~Win32Registry() override {
        RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\OmbrixTest");
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\OmbrixTest");
    }
    platform::Registry& reg = platform::systemRegistry();
};

TEST_F(Win32Registry, ValuesRoundTripAsOtherProgramsReadThem) {
    const std::string key = "Software\\OmbrixTest\\Registry", none = "Software\\OmbrixTest\\NoSuchKey";
    for (const RegRoot root : {RegRoot::CurrentUser, RegRoot::LocalMachine}) {
        EXPECT_TRUE(reg.writeString(root, key, "Testo", "Città – €"));
        EXPECT_EQ(reg.readValue(root, "software\\ombrixtest\\REGISTRY", "testo"), "Città – €") << "case ignored";
        EXPECT_TRUE(reg.writeDword(root, key, "1803", 3));
        EXPECT_EQ(reg.readValue(root, key, "1803"), "3");
        wchar_t buffer[64] = {};
        DWORD size = sizeof buffer;
        EXPECT_EQ(RegGetValueW(root == RegRoot::CurrentUser ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE,
                               L"Software\\OmbrixTest\\Registry", L"Testo", RRF_RT_REG_SZ, nullptr, buffer, &size),
                  ERROR_SUCCESS);
        EXPECT_EQ(fromWide(buffer), "Città – €") << "a REG_SZ value";
        EXPECT_TRUE(reg.deleteValue(root, key, "Testo"));
        EXPECT_EQ(reg.readValue(root, key, "Testo"), std::nullopt);
        EXPECT_TRUE(reg.deleteValue(root, key, "Testo")) << "already gone";
        EXPECT_TRUE(reg.deleteValue(root, none, "X"));
        EXPECT_EQ(reg.readValue(root, none, "X"), std::nullopt);
    }
}

// Only a key with nothing in it goes; another program's value or subkey keeps it.
TEST_F(Win32Registry, OnlyAnEmptyKeyIsDeleted) {
    const std::string parent = "Software\\OmbrixTest\\Keys\\";
    ASSERT_TRUE(reg.writeString(RegRoot::CurrentUser, parent + "Empty", "V", "1"));
    ASSERT_TRUE(reg.deleteValue(RegRoot::CurrentUser, parent + "Empty", "V"));
    ASSERT_EQ(RegSetKeyValueW(HKEY_CURRENT_USER, L"Software\\OmbrixTest\\Keys\\Held", L"", REG_SZ, L"x", 4), ERROR_SUCCESS);
    HKEY sub = nullptr;
    ASSERT_EQ(RegCreateKeyW(HKEY_CURRENT_USER, L"Software\\OmbrixTest\\Keys\\Deep\\Sub", &sub), ERROR_SUCCESS);
    RegCloseKey(sub);
    const std::pair<const char*, bool> cases[] = {
        {"Held", false}, {"Deep", false},  // a default value, an empty subkey
        {"deep\\SUB", true}, {"Deep", true}, {"EMPTY", true}, {"Missing", true},  // case ignored; empty now
    };
    for (const auto& [key, gone] : cases) {
        EXPECT_EQ(reg.deleteEmptyKey(RegRoot::CurrentUser, parent + key), gone) << key;
        EXPECT_EQ(reg.keyExists(RegRoot::CurrentUser, parent + key), !gone) << key;
    }
}

}  // namespace
}  // namespace ombrix::win32

#include "platform/ini.h"

#include <gtest/gtest.h>

#include "fakes/fixtures.h"
#include "platform/ini_cases.h"

namespace ombrix::ini {
namespace {

TEST(IniReaders, PlatformRulesAndTheLargeFileScan) {
    for (const auto& c : test::profileCases()) {
        EXPECT_EQ(profileStringFromText(c.file, c.section, c.key), c.expected) << c.name;
    }
    const test::ProfileCase cases[] = {
        {"quoted value", "[Strings]\r\n0001=\"Ciao\"\r\n", "", "0001", "Ciao"},
        {"unquoted value loses first and last", "0001=Ciao\r\n", "", "0001", "ia"},
        {"key compared exactly", "K=\"upper\"\r\nk=\"lower\"\r\n", "", "k", "lower"}, {"beginning of line only", "xk=\"no\"\r\nk=\"yes\"\r\n", "", "k", "yes"},
        {"a longer key with the same start", "00010=\"ten\"\r\n0001=\"one\"\r\n", "", "0001", "\"ten"},
        {"value too short", "k=x\r\n", "", "k", ""},         {"no value", "k\r\n", "", "k", ""},
        {"CR only line ends", "a=\"1\"\rk=\"2\"\r", "", "k", "2"},
    };
    for (const auto& c : cases) EXPECT_EQ(scanByKeyFromText(c.file, c.key), c.expected) << c.name;
}

TEST(ReadValue, ChoosesThePathByFileSizeAndDecodesWindows1252) {
    test::TempDir dir;
    const std::string small = dir.file("small.ini"), large = dir.file("large.ini");
    const std::string head = "[Strings]\r\n0001=\"Perch\xE9\"\r\n[Filler]\r\n";
    test::writeFile(small, head + std::string(kPlatformReaderLimit - head.size(), ';'));
    test::writeFile(large, head + std::string(kPlatformReaderLimit + 1 - head.size(), ';'));
    const auto fixedReader = +[](const std::string&, const std::string&, const std::string&) { return std::string("from-reader"); };
    EXPECT_EQ(readValue(small, "Strings", "0001", fixedReader), "from-reader");
    EXPECT_EQ(readValue(large, "Strings", "0001", fixedReader), "Perché");
    EXPECT_EQ(readValue(dir.file("missing.ini"), "Strings", "0001", fixedReader), "");
    test::writeFile(small, "[Strings]\r\n0001=Perch\xE9 \x80\r\n");
    EXPECT_EQ(readValue(small, "Strings", "0001", &portableProfileString), "Perché €");
}

}  // namespace
}  // namespace ombrix::ini

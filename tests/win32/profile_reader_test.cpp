#include <gtest/gtest.h>

#include "fakes/fixtures.h"
#include "platform/ini.h"
#include "platform/ini_cases.h"

namespace ombrix::ini {
namespace {

// The same files through the system's reader and the portable one.
TEST(SystemProfileReader, AgreesWithThePortableReader) {
    test::TempDir dir;
    int n = 0;
    for (const auto& c : test::profileCases()) {
        const std::string path = dir.file("case" + std::to_string(n++) + ".ini");
        test::writeFile(path, c.file);
        const std::string system = systemProfileReader()(path, c.section, c.key);
        EXPECT_EQ(system, portableProfileString(path, c.section, c.key)) << c.name;
        EXPECT_EQ(system, c.expected) << c.name;
    }
}

TEST(SystemProfileReader, MissingFileGivesNothing) {
    test::TempDir dir;
    EXPECT_EQ(systemProfileReader()(dir.file("none.ini"), "S", "k"), "");
}

}  // namespace
}  // namespace ombrix::ini

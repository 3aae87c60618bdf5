#include <gtest/gtest.h>

#include <filesystem>

#include "platform/filesystem.h"
#include "platform/system.h"
#include "platform/files.h"

namespace ombrix::platform {
namespace {

TEST(Win32FileSystem, WideNamesWork) {
    const std::string base = pathToUtf8(std::filesystem::temp_directory_path()) + "\\ombrix-città";
    FileSystem& fs = realFileSystem();
    ASSERT_TRUE(fs.createDirectory(base));
    EXPECT_TRUE(fs.createDirectory(base)) << "an existing folder is fine";
    ASSERT_TRUE(writeWholeFile(base + "\\è.txt", "x"));
    EXPECT_TRUE(fs.fileExists(base + "\\è.txt"));
    EXPECT_TRUE(fs.copyFile(base + "\\è.txt", base + "\\ù.txt"));
    EXPECT_EQ(readWholeFile(base + "\\ù.txt"), "x");
    EXPECT_TRUE(fs.removeFile(base + "\\è.txt"));
    EXPECT_FALSE(fs.fileExists(base + "\\è.txt"));
    std::filesystem::remove_all(pathFromUtf8(base));
}

}  // namespace
}  // namespace ombrix::platform

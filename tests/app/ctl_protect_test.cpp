#include <gtest/gtest.h>

#include <filesystem>

#include "app/ctl_fixture.h"
#include "core/schema.h"

namespace ombrix::app {
namespace {

using platform::FolderAccessKind;

class CtlProtect : public CtlFixture {
protected:
    CtlProtect() : CtlFixture("0090=Database non trovato\r\n") { EXPECT_TRUE(core::createDeliveredDatabase(db)); }
    std::string folder = pathToUtf8(dir.path());
    std::string logFolder = dir.file("Registro");
};

TEST_F(CtlProtect, TheDatabasesFolderIsReadOnlyAndItsLogFolderWritable) {
#ifdef _WIN32
    if (!platform::realSystem().elevated()) GTEST_SKIP() << "only an elevated process may set the lists";
#endif
    for (int run = 0; run < 2; ++run) {  // an existing log folder is fine
        ASSERT_EQ(this->run({"protect"}), kOk) << err.str();
        EXPECT_EQ(out.str(), "read-only for users\t" + folder + "\nwritable for users\t" + logFolder + "\n");
    }
    EXPECT_TRUE(std::filesystem::is_directory(dir.path() / "Registro"));
#ifndef _WIN32
    using std::filesystem::perms;
    EXPECT_EQ(std::filesystem::status(dir.path()).permissions(), perms(0755));
    EXPECT_EQ(std::filesystem::status(dir.path() / "Registro").permissions(), perms(0777));
#endif
}

TEST_F(CtlProtect, EachFailureIsToldAndStopsThere) {
    test::FakeFolderAccess fake;
    folderAccess = &fake;
    EXPECT_EQ(ctl({"--db", dir.file("assente.db"), "protect"}), kRefused);
    EXPECT_EQ(err.str(), "0090: Database non trovato " + dir.file("assente.db") + "\n");

    fake.refused[folder] = "Access is denied.";
    EXPECT_EQ(run({"protect"}), kRefused);
    EXPECT_EQ(err.str(), "0345: The access list of the folder could not be set: " + folder + ": Access is denied.\n");
    EXPECT_FALSE(std::filesystem::exists(dir.path() / "Registro")) << "nothing after the store's folder";

    fake.refused = {{logFolder, "Access is denied."}};
    EXPECT_EQ(run({"protect"}), kRefused);
    EXPECT_EQ(err.str(), "0345: The access list of the folder could not be set: " + logFolder + ": Access is denied.\n");

    std::filesystem::remove(dir.path() / "Registro");
    test::writeFile(logFolder, "a file in the way");
    fake.set.clear();
    EXPECT_EQ(run({"protect", "extra"}), kUsage);
    EXPECT_EQ(run({"protect"}), kRefused);
    EXPECT_EQ(err.str(), "0346: The log folder could not be created: " + logFolder + "\n");
    ASSERT_EQ(fake.set.size(), 1u);
    EXPECT_EQ(fake.set[0], std::make_pair(folder, FolderAccessKind::ReadOnlyForUsers));
}

}  // namespace
}  // namespace ombrix::app

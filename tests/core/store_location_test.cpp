#include "core/store_location.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "core/schema.h"
#include "core/settings_reg.h"
#include "fakes/fake_machine.h"
#include "fakes/fixtures.h"
#include "platform/file_registry.h"
#include "platform/files.h"
#include "support/language.h"

namespace ombrix::core {
namespace {

using platform::RegRoot;

const std::string kProgramDb = "C:\\Programmi\\Ombrix\\DataBase\\DataBase.db";
const std::string kMachineDb = "C:\\Ombrix\\DataBase\\DataBase.db";

class FolderChoice : public ::testing::Test {
protected:
    platform::FileRegistry registry;
    test::FakeFileSystem files;
    test::FakeSystem system;
    test::RecordingDialogs dialogs;
    Language language{"C:\\nowhere", '\\'};
    StoreEnvironment env{registry, files, system, dialogs, language, '\\'};
};

TEST_F(FolderChoice, TheRememberedFolderWins) {
    registry.writeString(RegRoot::LocalMachine, "SOFTWARE\\Ombrix\\Opzioni", "DataBase", "D:\\Scuola");
    files.files[kProgramDb] = "db";
    EXPECT_EQ(ScegliCartellaDatabase(env), "D:\\Scuola");
    EXPECT_TRUE(files.calls.empty()) << "nothing is looked at or moved";
}

TEST_F(FolderChoice, OldWindowsKeepsTheProgramFolder) {
    system.major = 5;
    files.files[kProgramDb] = "db";
    files.files[kMachineDb] = "other";
    EXPECT_EQ(ScegliCartellaDatabase(env), "C:\\Programmi\\Ombrix\\DataBase");
    EXPECT_TRUE(files.calls.empty());
}

TEST_F(FolderChoice, AnExistingPerMachineFileIsUsedAndNothingMoves) {
    files.files[kProgramDb] = "delivered";
    files.files[kMachineDb] = "in use";
    EXPECT_EQ(ScegliCartellaDatabase(env), "C:\\Ombrix\\DataBase");
    EXPECT_EQ(files.files[kProgramDb], "delivered");
    EXPECT_EQ(files.files[kMachineDb], "in use");
}

TEST_F(FolderChoice, TheDeliveredFileMovesToThePerMachineFolder) {
    files.files[kProgramDb] = "delivered";
    files.directories.insert("C:\\Ombrix");  // an existing folder is fine
    EXPECT_EQ(ScegliCartellaDatabase(env), "C:\\Ombrix\\DataBase");
    EXPECT_EQ(files.files.count(kProgramDb), 0u);
    EXPECT_EQ(files.files[kMachineDb], "delivered");
}

TEST_F(FolderChoice, AFailedMoveKeepsTheProgramFolder) {
    files.files[kProgramDb] = "delivered";
    files.readOnlyDirectories.insert("C:\\Ombrix");
    EXPECT_EQ(ScegliCartellaDatabase(env), "C:\\Programmi\\Ombrix\\DataBase");
    EXPECT_EQ(files.files[kProgramDb], "delivered");
}

TEST_F(FolderChoice, AFailedDeleteStillCountsAsMoved) {
    files.files[kProgramDb] = "delivered";
    files.readOnlyDirectories.insert("C:\\Programmi");
    EXPECT_TRUE(SpostaDatabase(env));
    EXPECT_EQ(files.files[kMachineDb], "delivered");
}

TEST_F(FolderChoice, NoHomeDriveNoMove) {
    system.env.clear();
    files.files[kProgramDb] = "delivered";
    EXPECT_FALSE(SpostaDatabase(env));
    EXPECT_EQ(ScegliCartellaDatabase(env), "C:\\Programmi\\Ombrix\\DataBase");
}

TEST_F(FolderChoice, ADriveRootProgramFolderGetsOneSeparator) {
    system.major = 5;
    system.folder = "C:\\";
    EXPECT_EQ(ScegliCartellaDatabase(env), "C:\\DataBase");
}

// Opening for real, in a temporary folder.
class Connection : public ::testing::Test {
protected:
    Connection() {
        test::writeFile(dir.file("italian.lng"), "[Strings]\r\n0090=Manca\r\n0091=Titolo\r\n0092=Scegli\r\n0093=Altro\r\n");
        std::filesystem::create_directories(dir.path() / "good");
        EXPECT_TRUE(createDeliveredDatabase(dir.file("good/DataBase.db")));
    }
    test::TempDir dir;
    platform::FileRegistry registry;
    test::FakeSystem system;
    test::RecordingDialogs dialogs;
    Language language{pathToUtf8(dir.path()), platform::pathSeparator()};
    StoreEnvironment env{registry, platform::realFileSystem(), system, dialogs, language};
};

TEST_F(Connection, OpensAndRemembersTheFolder) {
    Store store;
    store.folder = dir.file("good");
    ASSERT_TRUE(ApriDatabase(env, store));
    EXPECT_TRUE(dialogs.shown.empty());
    EXPECT_EQ(GetSettingReg(registry, "Ombrix", "Opzioni", "DataBase"), dir.file("good"));
    EXPECT_TRUE(ApriDatabase(env, store)) << "already open: nothing to do";
}

TEST_F(Connection, AMissingFileAsksForAFolderAndRemembersTheNewOne) {
    registry.writeString(RegRoot::LocalMachine, "SOFTWARE\\Ombrix\\Opzioni", "DataBase", dir.file("stale"));
    Store store;
    store.folder = ScegliCartellaDatabase(env);
    dialogs.folderAnswer = dir.file("good");
    ASSERT_TRUE(ApriDatabase(env, store));
    ASSERT_EQ(dialogs.shown.size(), 1u);
    EXPECT_EQ(dialogs.shown[0].messageId, "0090");
    EXPECT_EQ(dialogs.shown[0].text, "Manca");
    EXPECT_EQ(dialogs.shown[0].title, "Titolo");
    EXPECT_EQ(dialogs.shown[0].icon, platform::MessageIcon::Exclamation);
    EXPECT_EQ(dialogs.prompts, (std::vector<std::string>{"Scegli"}));
    EXPECT_EQ(store.folder, dir.file("good"));
    EXPECT_EQ(GetSettingReg(registry, "Ombrix", "Opzioni", "DataBase"), dir.file("good"));
}

TEST_F(Connection, ACancelledChoiceLeavesTheStoreClosedAndTheRegistryAlone) {
    Store store;
    store.folder = dir.file("stale");
    Database other;
    std::string folder = dir.file("stale");
    EXPECT_FALSE(CreaConnessione(env, folder, kDatabaseFileName, other, kStoreSection, kStoreKey, DialogOwner::OtherForm));
    EXPECT_EQ(dialogs.prompts, (std::vector<std::string>{"Altro"}));
    EXPECT_FALSE(other.isOpen());
    EXPECT_EQ(GetSettingReg(registry, "Ombrix", "Opzioni", "DataBase"), "");
}

}  // namespace
}  // namespace ombrix::core

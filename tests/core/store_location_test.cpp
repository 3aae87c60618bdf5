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
#include "support/messages.h"

namespace ombrix::core {
namespace {
using platform::RegRoot;

// Where the store is looked for, and whether the delivered file in the program folder moves to the per-machine folder.
TEST(FolderChoice, RememberedFolderThenPerMachineThenProgramFolder) {
    const std::string program = "C:\\Programmi\\Ombrix\\DataBase", machine = "C:\\Ombrix\\DataBase";
    const struct {
        const char* name;
        int windowsMajor;
        bool remembered, perMachineFile, homeDrive;
        const char* readOnly;  // a folder nothing can be made or removed in
        std::string chosen;
        bool moved;
        const char* programFolder = "C:\\Programmi\\Ombrix";
    } cases[] = {
        {"the remembered folder wins", 10, true, false, true, "", "D:\\Scuola", false},
        {"old Windows keeps the program folder", 5, false, true, true, "", program, false},
        {"an existing per-machine file is used", 10, false, true, true, "", machine, false},
        {"the delivered file moves", 10, false, false, true, "", machine, true},
        {"a failed move stays", 10, false, false, true, "C:\\Ombrix", program, false},
        {"a failed delete still counts as moved", 10, false, false, true, "C:\\Programmi", machine, true},
        {"no home drive, no move", 10, false, false, false, "", program, false},
        {"a drive root gets one separator", 5, false, false, true, "", "C:\\DataBase", false, "C:\\"},
    };
    for (const auto& c : cases) {
        test::FakeMachine m;
        auto [registry, files, system, env] = m.parts();
        system.major = c.windowsMajor;
        system.folder = c.programFolder;
        if (!c.homeDrive) system.env.clear();
        if (c.remembered) registry.writeString(RegRoot::LocalMachine, "SOFTWARE\\Ombrix\\Opzioni", "DataBase", "D:\\Scuola");
        files.files[program + "\\DataBase.db"] = "delivered";
        if (c.perMachineFile) files.files[machine + "\\DataBase.db"] = "in use";
        files.directories.insert("C:\\Ombrix");  // an existing folder is fine
        if (*c.readOnly) files.readOnlyDirectories.insert(c.readOnly);
        EXPECT_EQ(chooseDatabaseFolder(env), c.chosen) << c.name;
        const auto it = files.files.find(machine + "\\DataBase.db");
        EXPECT_EQ(it == files.files.end() ? "" : it->second, c.moved ? "delivered" : c.perMachineFile ? "in use" : "") << c.name;
        EXPECT_TRUE(!c.remembered || files.calls == 0) << "a remembered folder: nothing is looked at or moved";
    }
}

// Opening for real: a remembered folder that lost the file asks for another; a cancelled choice changes nothing.
TEST(Connection, AMissingFileAsksForAFolderAndRemembersTheNewOne) {
    test::TempDir dir;
    test::writeFile(dir.file("italian.lng"), "[Strings]\r\n0090=Manca\r\n0091=Titolo\r\n0092=Scegli\r\n");
    ASSERT_TRUE(std::filesystem::create_directories(dir.path() / "good") && createDeliveredDatabase(dir.file("good/DataBase.db")));
    platform::FileRegistry registry;
    test::FakeSystem system;
    test::RecordingDialogs dialogs;
    Language language{pathToUtf8(dir.path()), platform::pathSeparator()};
    StoreEnvironment env{registry, platform::realFileSystem(), system, dialogs, language};
    registry.writeString(RegRoot::LocalMachine, "SOFTWARE\\Ombrix\\Opzioni", "DataBase", dir.file("stale"));
    Store store;
    store.folder = chooseDatabaseFolder(env);
    EXPECT_FALSE(openDatabase(env, store)) << "the choice cancelled";
    EXPECT_EQ(GetSettingReg(registry, "Ombrix", "Opzioni", "DataBase"), dir.file("stale")) << "nothing changed";
    dialogs.shown.clear(); dialogs.folderAnswer = dir.file("good");
    ASSERT_TRUE(openDatabase(env, store) && dialogs.shown.size() == 1u);
    const auto& box = dialogs.shown[0];
    EXPECT_TRUE(box.messageId == msg::StoreNotFound && box.text == "Manca" && box.title == "Titolo" &&
                box.icon == platform::MessageIcon::Exclamation);
    EXPECT_EQ(dialogs.prompts, (std::vector<std::string>{"Scegli", "Scegli"}));
    EXPECT_TRUE(GetSettingReg(registry, "Ombrix", "Opzioni", "DataBase") == store.folder && store.folder == dir.file("good"));
    EXPECT_TRUE(openDatabase(env, store) && dialogs.shown.size() == 1u) << "already open: nothing to do";
}
}  // namespace
}  // namespace ombrix::core

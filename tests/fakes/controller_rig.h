#pragma once
// The controller's machine on a program folder of its own: a language file, the delivered
// store beside the program, and the fakes the controller talks to, all writing into one journal.
#include <gtest/gtest.h>

#include "core/controller.h"
#include "core/schema.h"
#include "fakes/fake_machine.h"
#include "fakes/fixtures.h"
#include "platform/files.h"

namespace ombrix::test {

struct ControllerRig {
    explicit ControllerRig(const std::string& strings) {
        system.folder = writeLanguage(dir, strings);
        system.major = 5;  // the store stays beside the program
        std::filesystem::create_directories(dir.path() / "DataBase");
        EXPECT_TRUE(core::createDeliveredDatabase(dir.file("DataBase/DataBase.db")));
        // The fake session has no rights, and there a store without a password blocks every page.
        sql("UPDATE Opzioni SET PasswordAdmin = 'scelta';");
    }
    // Writes to the database file directly, as another program would.
    void sql(const std::string& statements) {
        core::Database db;
        ASSERT_TRUE(db.open(dir.file("DataBase/DataBase.db")));
        ASSERT_TRUE(db.exec(statements)) << db.lastError();
    }
    core::Controller::Machine machine() { return {env, timers, view, processes, pump, instance}; }
    TempDir dir;
    Journal journal;
    platform::FileRegistry registry;
    FakeSystem system;
    RecordingDialogs dialogs;
    Language language{pathToUtf8(dir.path()), platform::pathSeparator()};
    core::StoreEnvironment env{registry, platform::realFileSystem(), system, dialogs, language};
    FakeTimers timers{journal};
    FakeView view{journal};
    FakeProcesses processes{journal};
    FakePump pump;
    FakeInstance instance;
    FakeLists lists{journal};
    core::Store store;
};

}  // namespace ombrix::test

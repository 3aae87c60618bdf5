#pragma once
// ombrixctl run in-process in a fresh folder, the program's own, with a language file of the texts a test gives.

#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>
#include "app/ctl.h"
#include "core/database.h"
#include "fakes/fake_machine.h"
#include "fakes/fixtures.h"
#include "platform/file_registry.h"
#include "platform/files.h"
#include "platform/folder_access.h"

namespace ombrix::app {

struct CtlFixture : ::testing::Test {
    explicit CtlFixture(const std::string& texts = test::numberedTexts()) {
        system.folder = pathToUtf8(dir.path());
        test::writeFile(dir.file("italian.lng"), "[Strings]\r\n" + texts);
    }
    // Exit status; what was printed is in out and err.
    int ctl(const std::vector<std::string>& args, const std::string& input = {}) {
        std::istringstream in(input);
        out.str({}); err.str({});
        CtlEnvironment env{registry, platform::realFileSystem(), system, in, out, err};
        env.elevator = elevator; env.folderAccess = folderAccess; env.guard = guard;
        return runCtl(args, env);
    }
    // ombrixctl --db db ARGS...
    int run(std::vector<std::string> args, const std::string& input = {}) {
        args.insert(args.begin(), {"--db", db});
        return ctl(args, input);
    }
    // The exit status, a space, then standard output and error.
    std::string shown(int status) { return std::to_string(status) + " " + out.str() + err.str(); }
    std::string said(const std::vector<std::string>& args, const std::string& input = {}) { return shown(run(args, input)); }
    bool begins(const std::vector<std::string>& args, const std::string& start) { return said(args).rfind(start, 0) == 0; }
    // A refusal: its status, nothing printed, what standard error starts with, and the store's file as it was.
    void refused(const std::vector<std::string>& args, const std::string& start, const std::string& input = {},
                 int status = kRefused) {
        const auto before = readWholeFile(db);
        EXPECT_EQ(said(args, input).rfind(std::to_string(status) + " " + start, 0), 0u) << args[0] << ": " << err.str();
        EXPECT_TRUE(out.str().empty() && readWholeFile(db) == before) << args[0] << ": the store changed";
    }
    // Statements run on a store file as another tool would.
    static void sql(const std::string& path, const std::string& statements) {
        core::Database d;
        ASSERT_TRUE(d.open(path) && d.exec(statements)) << d.lastError();
    }

    test::QuickPasswords quick;
    test::TempDir dir;
    std::string db = dir.file("DataBase.db");
    platform::FileRegistry registry;
    test::FakeSystem system;
    Elevator* elevator = nullptr;
    platform::FolderAccess* folderAccess = &platform::realFolderAccess();
    GuardControl* guard = nullptr;
    std::ostringstream out, err;
};

}  // namespace ombrix::app

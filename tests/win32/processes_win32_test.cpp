#include <windows.h>

#include <gtest/gtest.h>

#include "fakes/fixtures.h"
#include "platform/win32/machine.h"
#include "platform/text.h"
#include "helpers.h"

namespace ombrix::win32 {
namespace {

using test::StartedProgram;

std::optional<platform::ProcessEntry> entryOf(DWORD id) {
    for (const auto& p : machine().processes().snapshot()) {
        if (p.id == id) return p;
    }
    return std::nullopt;
}

TEST(Win32Processes, SnapshotListsThisProcessByImageName) {
    const auto self = entryOf(GetCurrentProcessId());
    ASSERT_TRUE(self);
    EXPECT_TRUE(equalsNoCase(self->imageName, "ombrix_win32_tests.exe")) << self->imageName;
}

TEST(Win32Processes, StartedProgramIsFoundUnderItsNameAndTerminatedWithCodeZero) {
    test::TempDir dir;
    // Mixed case and a letter outside ASCII: the name comes back as the system keeps it, in UTF-8.
    for (const std::string name : {"OmbrixProva.EXE", "città.exe"}) {
        SCOPED_TRACE(name);
        const std::string exe = test::copyRecorder(dir.file(name));
        const std::string log = dir.file(name + ".log");
        StartedProgram program = test::startRecorder(exe, log, "Prova processi");
        ASSERT_TRUE(program.started());
        ASSERT_NE(test::waitForWindow(log), nullptr);

        const auto entry = entryOf(program.id());
        ASSERT_TRUE(entry);
        EXPECT_EQ(entry->imageName, name);

        EXPECT_TRUE(machine().processes().terminate(program.id()));
        EXPECT_EQ(program.waitForExit(), 0u);
        EXPECT_FALSE(entryOf(program.id()));
        // This test still holds a handle, so the ended process's object lives on.
        EXPECT_FALSE(machine().processes().terminate(program.id())) << "already gone";
    }
}

TEST(Win32Processes, TerminateRefusesWhatIsNotThere) {
    EXPECT_FALSE(machine().processes().terminate(0));
    // Process ids are multiples of four: this one never names a process.
    EXPECT_FALSE(machine().processes().terminate(0xFFFFFFF1u));
}

}  // namespace
}  // namespace ombrix::win32

// A forbidden program copied under another name is still known by the name
// its executable keeps inside, and ended; a program whose inner name is not
// forbidden is left alone whatever its file is called.
#include <windows.h>

#include <gtest/gtest.h>

#include "e2e/driver.h"

namespace ombrix::e2e {
namespace {

using namespace std::chrono_literals;

class RenamedProgramTest : public InstalledProgram {
protected:
    [[nodiscard]] std::string folderFile(const std::string& name) const {
        return pathToUtf8(install.folder() / pathFromUtf8(name));
    }
};

TEST_F(RenamedProgramTest, AForbiddenProgramUnderAnotherNameIsEndedAnotherProgramIsNot) {
    install.sql("INSERT INTO ProcessiVietati (IDProfilo, Processo) VALUES (1, 'Gioco.exe');"
                "UPDATE Profili SET NascondiMessaggiNotifica = -1 WHERE IDProfilo = 1;");
    ASSERT_TRUE(start());
    // "GIOCO.EXE" inside, "appunti.exe" outside; "lettore.exe" inside, "gioco2.exe" outside.
    const std::string renamed = test::copyProgram("gioco_recorder.exe", folderFile("appunti.exe"));
    const std::string other = test::copyProgram("lettore_recorder.exe", folderFile("gioco2.exe"));
    const std::string otherLog = folderFile("lettore.log");
    test::StartedProgram kept = test::startRecorder(other, otherLog, "Lettore");
    test::StartedProgram game = test::startRecorder(renamed, folderFile("appunti.log"), "Appunti");
    ASSERT_TRUE(kept.started());
    ASSERT_TRUE(game.started());
    ASSERT_TRUE(game.waitForExit()) << "the renamed forbidden program still runs";

    ASSERT_TRUE(test::waitForLine(otherLog, "creating")) << "the other program never made its window";
    // Three ticks of the process timer after both were seen.
    Sleep(1500);
    EXPECT_TRUE(kept.running()) << "a program whose inner name is not forbidden was ended";
    EXPECT_TRUE(program->running());
}

}  // namespace
}  // namespace ombrix::e2e

#include <windows.h>

#include <gtest/gtest.h>

#include "fakes/fixtures.h"
#include "helpers.h"
#include "platform/win32/machine.h"
#include "platform/text.h"

// An address handed to the default browser is the end-to-end tests'.
namespace ombrix::win32 {
namespace {

std::string recorderLine(const std::string& log, const std::string& extra = {}) {
    return test::quoted(test::recorderPath()) + " --log " + test::quoted(log) + (extra.empty() ? "" : " " + extra);
}

bool running(const std::string& imageName) {
    for (const auto& p : machine().processes().snapshot()) {
        if (equalsNoCase(p.imageName, imageName)) return true;
    }
    return false;
}

// Ends the recorder that logged to `log` (the shell gives no handle back).
void endRecorder(const std::string& log) {
    if (const auto pid = test::waitForLine(log, "start")) machine().processes().terminate(std::stoul(*pid));
}

// As the kiosk launcher runs "<Program Files>\internet explorer\iexplore -k <address>".
TEST(Win32Shell, RunResolvesAnUnquotedPathWithBlanksAndNoExtension) {
    test::TempDir dir;
    test::copyRecorder(dir.file("cartella con spazi\\iexplore.exe"));
    const std::string log = dir.file("kiosk.log");
    ASSERT_EQ(dir.file("x").find(' '), std::string::npos) << "the test folder itself must be free of blanks";
    ASSERT_TRUE(machine().shell().run(
        dir.file("cartella con spazi\\iexplore") + " --log " + log + " -k http://www.example.org/", 4));
    EXPECT_TRUE(test::waitForLine(log, "arg -k"));
    EXPECT_EQ(test::waitForLine(log, "show"), "1 " + std::to_string(SW_SHOWNOACTIVATE));
    const auto lines = test::logLines(log);
    EXPECT_NE(std::find(lines.begin(), lines.end(), "arg http://www.example.org/"), lines.end());
    endRecorder(log);
}

TEST(Win32Shell, RunAndOpenRefuseWhatCannotStart) {
    test::TempDir dir;
    const std::string copy = test::copyRecorder(dir.file("ombrixstile.exe"));
    for (const int style : {-1, 7, 9}) {
        SCOPED_TRACE(style);
        EXPECT_FALSE(machine().shell().run(test::quoted(copy), style));
        EXPECT_FALSE(running("ombrixstile.exe")) << "an unknown style starts nothing";
    }
    EXPECT_FALSE(machine().shell().run(dir.file("nessuno.exe"), 1));
    EXPECT_FALSE(machine().shell().run("", 1));
    EXPECT_FALSE(machine().shell().open(dir.file("manca.txt"), "C:\\", platform::kNormalFocus));
    EXPECT_FALSE(machine().shell().open("", "C:\\", platform::kNormalFocus));
}

TEST(Win32Shell, OpenHandsADocumentToItsProgramInTheGivenFolder) {
    test::TempDir dir;
    const std::string log = dir.file("open.log");
    const std::string document = dir.file("pagina attività.ombrixprova");
    test::writeFile(document, "x");
    const std::string folder = dir.file("lavoro");
    std::filesystem::create_directories(pathFromUtf8(folder));

    const test::MachineDefaultValue type(L"Software\\Classes\\OmbrixProva.Documento\\shell\\open\\command",
                                         toWide(recorderLine(log, "\"%1\"")));
    const test::MachineDefaultValue extension(L"Software\\Classes\\.ombrixprova", L"OmbrixProva.Documento");
    ASSERT_TRUE(type.ok() && extension.ok());
    ASSERT_TRUE(machine().shell().open(document, folder, platform::kNormalFocus));
    EXPECT_EQ(test::waitForLine(log, "arg"), document);
    const auto cwd = test::waitForLine(log, "cwd");
    ASSERT_TRUE(cwd);
    EXPECT_TRUE(equalsNoCase(*cwd, folder) || equalsNoCase(*cwd, folder + "\\")) << *cwd;
    endRecorder(log);
}

}  // namespace
}  // namespace ombrix::win32

// Starting programs and finding windows through the system.
#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>

#include "fakes/fixtures.h"
#include "helpers.h"
#include "platform/text.h"
#include "platform/win32/machine.h"
#include "platform/win32/window_appearances.h"

namespace ombrix::win32 {
namespace {

platform::WindowId id(const UniqueWindow& w) { return reinterpret_cast<platform::WindowId>(w.get()); }
platform::Shell& shell() { return machine().shell(); }
// Ends the recorder that logged to `log` (the shell gives no handle back).
void endRecorder(const std::string& log) {
    if (const auto pid = test::waitForLine(log, "start")) machine().processes().terminate(std::stoul(*pid));
}

// As the kiosk launcher runs "<Program Files>\internet explorer\iexplore -k <address>".
TEST(Win32Shell, RunResolvesAnUnquotedPathWithBlanksAndRefusesWhatCannotStart) {
    test::TempDir dir;
    test::copyRecorder(dir.file("cartella con spazi\\iexplore.exe"));
    const std::string log = dir.file("k.log");
    ASSERT_TRUE(shell().run(dir.file("cartella con spazi\\iexplore") + " --log " + log + " -k http://www.example.org/", 4));
    EXPECT_EQ(test::waitForLine(log, "show"), "1 " + std::to_string(SW_SHOWNOACTIVATE));
    EXPECT_EQ(test::waitForLine(log, "arg"), "-k");
    endRecorder(log);
    const std::string other = test::quoted(test::copyRecorder(dir.file("ombrixstile.exe")));
    for (const int style : {-1, 7}) EXPECT_FALSE(shell().run(other, style)) << style;
    EXPECT_FALSE(shell().run(dir.file("nessuno.exe"), 1));
    EXPECT_FALSE(shell().open("", "C:\\", platform::kNormalFocus));
    EXPECT_FALSE(std::ranges::any_of(machine().processes().snapshot(),
                                     [](const auto& p) { return equalsNoCase(p.imageName, "ombrixstile.exe"); }));
}

TEST(Win32Shell, OpenHandsADocumentToItsProgramInTheGivenFolder) {
    test::TempDir dir;
    const std::string log = dir.file("open.log"), document = dir.file("pagina attività.ombrixprova"),
                      folder = dir.file("lavoro");
    test::writeFile(document, "x");
    std::filesystem::create_directories(pathFromUtf8(folder));
    const test::MachineDefaultValue type(L"Software\\Classes\\OmbrixProva.Documento\\shell\\open\\command",
                                         toWide(test::quoted(test::recorderPath()) + " --log " + test::quoted(log) + " \"%1\""));
    const test::MachineDefaultValue extension(L"Software\\Classes\\.ombrixprova", L"OmbrixProva.Documento");
    ASSERT_TRUE(type.ok() && extension.ok());
    ASSERT_TRUE(shell().open(document, folder, platform::kNormalFocus));
    EXPECT_EQ(test::waitForLine(log, "arg"), document);
    const auto cwd = test::waitForLine(log, "cwd").value_or("");
    EXPECT_TRUE(equalsNoCase(cwd, folder) || equalsNoCase(cwd, folder + "\\")) << cwd;
    endRecorder(log);
}

TEST(Win32Windows, TitlesFindWindowsWholeWithoutCaseAndComeBackWholeInUtf8) {
    std::wstring longTitle;
    for (int i = 0; i < 120; ++i) longTitle += L"àèìòù";
    const UniqueWindow own = test::ownWindow(L"Ombrix titolo intero"), untitled = test::ownWindow(L""),
                       longer = test::ownWindow(longTitle.c_str());
    platform::WindowSystem& windows = machine().windows();
    EXPECT_EQ(windows.findByTitles({"Ombrix titolo intero", "OMBRIX TITOLO INTERO", "Ombrix titolo", ""}),
              (std::vector<platform::WindowId>{id(own), id(own), 0, 0}))
        << "an empty title names no window, not even an untitled one";
    EXPECT_EQ(windows.title(id(longer)), fromWide(longTitle));
    const auto gone = id(test::ownWindow(L"breve"));
    EXPECT_EQ(windows.title(gone), "");

    test::TempDir dir;
    int told = 0;
    const WindowAppearances appearances([&] { ++told; });
    const auto other = test::startRecorder(test::recorderPath(), dir.file("r.log"), "Altro");
    EXPECT_TRUE(test::waitFor([&] { return told > 0; })) << "another program's first window is told";
}

}  // namespace
}  // namespace ombrix::win32

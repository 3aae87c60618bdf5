// Starting programs through the system.
#include <windows.h>

#include <gtest/gtest.h>

#include "fakes/fixtures.h"
#include "helpers.h"
#include "platform/win32/machine.h"

namespace ombrix::win32 {
namespace {

// As the kiosk launcher runs "<Program Files>\internet explorer\iexplore -k <address>".
TEST(Win32Shell, RunResolvesAnUnquotedPathWithBlanksAndRefusesWhatCannotStart) {
    test::TempDir dir;
    platform::Shell& shell = machine().shell();
    test::copyRecorder(dir.file("cartella con spazi\\iexplore.exe"));
    const std::string log = dir.file("k.log");
    ASSERT_TRUE(shell.run(dir.file("cartella con spazi\\iexplore") + " --log " + log + " -k http://www.example.org/", 4));
    EXPECT_EQ(test::waitForLine(log, "show"), "1 " + std::to_string(SW_SHOWNOACTIVATE));
    EXPECT_EQ(test::waitForLine(log, "arg"), "-k");
    if (const auto pid = test::waitForLine(log, "start")) machine().processes().terminate(std::stoul(*pid));
    const std::string other = test::quoted(test::copyRecorder(dir.file("ombrixstile.exe")));
    for (const int style : {-1, 7}) EXPECT_FALSE(shell.run(other, style)) << style;
    EXPECT_FALSE(shell.run(dir.file("nessuno.exe"), 1));
    EXPECT_FALSE(shell.open("", "C:\\", platform::kNormalFocus));
}

}  // namespace
}  // namespace ombrix::win32

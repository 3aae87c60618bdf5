#include <windows.h>

#include <gtest/gtest.h>

#include "fakes/fixtures.h"
#include "platform/input.h"
#include "platform/win32/machine.h"
#include "helpers.h"

namespace ombrix::win32 {
namespace {

std::vector<std::string> keyLines(const std::string& log) {
    std::vector<std::string> keys;
    for (const auto& line : test::logLines(log)) {
        if (line.rfind("down ", 0) == 0 || line.rfind("up ", 0) == 0) keys.push_back(line);
    }
    return keys;
}

// The tab-closing keystroke as the site blocker sends it: interleaved, every
// event marked extended, reaching the window in the foreground.
TEST(Win32KeyboardInput, InterleavedCtrlWReachesTheForegroundWindowInOrder) {
    test::TempDir dir;
    const std::string log = dir.file("keys.log");
    test::StartedProgram program = test::startRecorder(test::recorderPath(), log, "Ombrix prova tastiera");
    const HWND hwnd = test::waitForWindow(log);
    ASSERT_NE(hwnd, nullptr);
    SetForegroundWindow(hwnd);
    ASSERT_TRUE(test::waitFor([&] { return GetForegroundWindow() == hwnd; }));

    platform::KeyboardInput& keyboard = machine().keyboard();
    constexpr std::uint8_t kCtrl = 17, kW = 87;
    constexpr std::uint32_t kDown = platform::kKeyExtended, kUp = platform::kKeyExtended | platform::kKeyUp;
    keyboard.keyEvent(kCtrl, kDown);
    keyboard.keyEvent(kW, kDown);
    keyboard.keyEvent(kCtrl, kUp);
    keyboard.keyEvent(kW, kUp);

    const std::vector<std::string> expected = {"down 17 1", "down 87 1", "up 17 1", "up 87 1"};
    EXPECT_TRUE(test::waitFor([&] { return keyLines(log).size() >= expected.size(); }));
    EXPECT_EQ(keyLines(log), expected);
    EXPECT_EQ(GetAsyncKeyState(VK_CONTROL) & 0x8000, 0) << "no key is left pressed";
}

}  // namespace
}  // namespace ombrix::win32

// The exit command: every form but the main form and the closing notice is
// unloaded before the machine is given back.
#include <windows.h>

#include <gtest/gtest.h>

#include <filesystem>

#include "app/win32/forms/resource.h"
#include "e2e/driver.h"

namespace ombrix::e2e {
namespace {

class ShutdownTest : public InstalledProgram {
protected:
    ShutdownTest() { install.sql("UPDATE Opzioni SET TastieraVirtuale = -1;"); }
};

// The closing routine gives the machine back last and then removes the
// journal of what it changed: by then the keyboard must be off the screen.
TEST_F(ShutdownTest, TheOnScreenKeyboardIsGoneWhenTheMachineIsGivenBack) {
    HWND main = start();
    ASSERT_TRUE(main);
    HWND keyboard = nullptr;
    ASSERT_TRUE(waitFor([&] { return visible(keyboard = FindWindowW(L"OmbrixTastiera", nullptr)); }));
    ASSERT_TRUE(waitFor([&] { return std::filesystem::exists(Installation::journal()); }));
    // With the keyboard's hook on the screen, Wine now and then drops the
    // typed password: a person types it again.
    for (int attempt = 0; attempt < 3 && !visible(GetDlgItem(main, IDC_CMDESCI)); ++attempt) {
        SetWindowTextW(GetDlgItem(main, IDC_TXTPASS), L"");
        login(main, L"Segreta1");
        (void)waitFor([&] { return visible(GetDlgItem(main, IDC_CMDESCI)); }, std::chrono::seconds(5));
    }
    ASSERT_TRUE(visible(GetDlgItem(main, IDC_CMDESCI)));
    // The button's command, as the tray menu's exit gives it, so that the
    // watch below starts at once.
    PostMessageW(main, WM_COMMAND, MAKEWPARAM(IDC_CMDESCI, BN_CLICKED), 0);
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(15);
    while (std::filesystem::exists(Installation::journal()) && std::chrono::steady_clock::now() < until) {
    }
    EXPECT_FALSE(visible(keyboard)) << "the keyboard was on screen when the machine was given back";
    EXPECT_EQ(program->waitForExit(), 0u);
}

}  // namespace
}  // namespace ombrix::e2e

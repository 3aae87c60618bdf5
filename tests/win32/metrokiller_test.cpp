// metrokiller.exe against a stand-in of a Start surface it knows by its
// class: the Start menu host of the classic shell, which closes on Escape.
#include <windows.h>

#include <gtest/gtest.h>

#include "helpers.h"

namespace ombrix::win32 {
namespace {

LRESULT CALLBACK closesOnEscape(HWND w, UINT msg, WPARAM wp, LPARAM lp) {
    if (msg == WM_KEYDOWN && wp == VK_ESCAPE) {
        ShowWindow(w, SW_HIDE);
        return 0;
    }
    return DefWindowProcW(w, msg, wp, lp);
}

HWND menuHost(WNDPROC procedure) {
    WNDCLASSW wc{};
    wc.lpfnWndProc = closesOnEscape;
    wc.hInstance = GetModuleHandleW(nullptr);
    wc.lpszClassName = L"DV2ControlHost";
    RegisterClassW(&wc);
    HWND w = CreateWindowExW(WS_EX_TOOLWINDOW, wc.lpszClassName, L"Start menu", WS_POPUP | WS_VISIBLE, 0, 400, 200,
                             300, nullptr, nullptr, wc.hInstance, nullptr);
    SetWindowLongPtrW(w, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(procedure));
    return w;
}

TEST(MetroKiller, ClosesAnOpenStartMenuSilentlyAndTellsWhatItFound) {
    const std::string killer = test::quoted(test::builtProgram("metrokiller.exe")) + " /s";
    EXPECT_EQ(test::StartedProgram(killer).waitForExit(), 1u) << "nothing open";

    HWND open = menuHost(closesOnEscape);
    ASSERT_TRUE(IsWindowVisible(open));
    EXPECT_EQ(test::StartedProgram(killer).waitForExit(), 0u);
    EXPECT_FALSE(IsWindowVisible(open));
    EXPECT_TRUE(IsWindow(open)) << "closed as the menu closes itself, not destroyed";
    DestroyWindow(open);

    HWND stubborn = menuHost(DefWindowProcW);
    EXPECT_EQ(test::StartedProgram(killer).waitForExit(), 2u) << "a surface that stays open is told";
    DestroyWindow(stubborn);
}

}  // namespace
}  // namespace ombrix::win32

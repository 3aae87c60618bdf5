// metrokiller.exe against a stand-in of the Start menu host, known by its class.
#include <windows.h>

#include <gtest/gtest.h>

#include "helpers.h"

namespace ombrix::win32 {
namespace {

TEST(MetroKiller, ClosesAnOpenStartMenuSilentlyAndTellsWhatItFound) {
    const WNDCLASSW wc{0, DefWindowProcW, 0, 0, nullptr, nullptr, nullptr, nullptr, nullptr, L"DV2ControlHost"};
    RegisterClassW(&wc);
    const std::string killer = test::quoted(test::builtProgram("metrokiller.exe")) + " /s";
    EXPECT_EQ(test::StartedProgram(killer).waitForExit(), 1u) << "nothing open";
    const WNDPROC closesOnEscape = [](HWND w, UINT msg, WPARAM wp, LPARAM lp) -> LRESULT {
        if (msg == WM_KEYDOWN && wp == VK_ESCAPE) return ShowWindow(w, SW_HIDE), 0;
        return DefWindowProcW(w, msg, wp, lp);
    };
    for (const auto& [procedure, status] : {std::pair{closesOnEscape, 0UL}, std::pair{WNDPROC(DefWindowProcW), 2UL}}) {
        const UniqueWindow menu(CreateWindowExW(WS_EX_TOOLWINDOW, wc.lpszClassName, L"Start menu", WS_POPUP | WS_VISIBLE,
                                                0, 400, 200, 300, nullptr, nullptr, nullptr, nullptr));
        SetWindowLongPtrW(menu.get(), GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(procedure));
        EXPECT_EQ(test::StartedProgram(killer).waitForExit(), status) << "2: a surface that stays open is told";
        EXPECT_EQ(IsWindowVisible(menu.get()) != FALSE, status != 0) << "closed as the menu closes itself";
        EXPECT_TRUE(IsWindow(menu.get())) << "not destroyed";
    }
}

}  // namespace
}  // namespace ombrix::win32

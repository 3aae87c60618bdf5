#include <windows.h>

#include <gtest/gtest.h>

#include <vector>

#include "platform/win32/machine.h"

namespace ombrix::win32 {
namespace {

// A window of this thread that notes the messages it is handed and may post
// itself another for each WM_APP.
class Recorder {
public:
    Recorder() {
        static const ATOM atom = [] {
            WNDCLASSW wc{};
            wc.lpfnWndProc = &Recorder::proc;
            wc.hInstance = GetModuleHandleW(nullptr);
            wc.lpszClassName = L"OmbrixTestPumpRecorder";
            return RegisterClassW(&wc);
        }();
        hwnd = CreateWindowExW(0, MAKEINTATOM(atom), L"", WS_OVERLAPPED, 0, 0, 10, 10, nullptr, nullptr, nullptr, this);
    }
    ~Recorder() {
        DestroyWindow(hwnd);
        MSG msg;
        while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
        }
    }
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    HWND hwnd = nullptr;
    std::vector<UINT> seen;
    bool repost = false;

private:
    static LRESULT CALLBACK proc(HWND h, UINT msg, WPARAM wp, LPARAM lp) {
        if (msg == WM_NCCREATE) {
            SetWindowLongPtrW(h, GWLP_USERDATA,
                              reinterpret_cast<LONG_PTR>(reinterpret_cast<CREATESTRUCTW*>(lp)->lpCreateParams));
        }
        auto* self = reinterpret_cast<Recorder*>(GetWindowLongPtrW(h, GWLP_USERDATA));
        if (self == nullptr || (msg != WM_APP && msg != WM_TIMER && msg != WM_KEYDOWN && msg != WM_CHAR)) {
            return DefWindowProcW(h, msg, wp, lp);
        }
        self->seen.push_back(msg);
        if (self->repost && msg == WM_APP) PostMessageW(h, WM_APP, 0, 0);
        return 0;
    }
};

TEST(Win32EventPump, DispatchesPostedMessagesDueTimersAndTranslatedKeys) {
    Recorder r;
    ASSERT_NE(r.hwnd, nullptr);
    PostMessageW(r.hwnd, WM_APP, 0, 0);
    PostMessageW(r.hwnd, WM_KEYDOWN, 'A', 1);
    machine().pump().doEvents();
    EXPECT_EQ(r.seen, (std::vector<UINT>{WM_APP, WM_KEYDOWN, WM_CHAR})) << "the character runs in the same call";

    r.seen.clear();
    SetTimer(r.hwnd, 1, 10, nullptr);
    Sleep(50);
    machine().pump().doEvents();
    KillTimer(r.hwnd, 1);
    EXPECT_EQ(r.seen, std::vector<UINT>{WM_TIMER}) << "a due timer ticks inside a long handler";
}

TEST(Win32EventPump, AWindowThatKeepsPostingCannotHoldTheCallerForEver) {
    Recorder r;
    r.repost = true;
    PostMessageW(r.hwnd, WM_APP, 0, 0);
    machine().pump().doEvents();  // returning at all is the point
    EXPECT_GT(r.seen.size(), 1u);
    r.repost = false;
}

TEST(Win32EventPump, LeavesTheQuitRequestToTheMainLoop) {
    Recorder r;
    PostMessageW(r.hwnd, WM_APP, 0, 0);
    PostQuitMessage(7);
    machine().pump().doEvents();
    EXPECT_EQ(r.seen, std::vector<UINT>{WM_APP});
    MSG msg{};
    ASSERT_TRUE(PeekMessageW(&msg, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE));
    EXPECT_EQ(msg.wParam, 7u);
}

}  // namespace
}  // namespace ombrix::win32

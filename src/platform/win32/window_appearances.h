#pragma once
// Tells when another program creates or shows a top-level window, through the system's
// accessibility events, received out of context: no code of ours runs in the
// other program, and the call comes on this thread as it reads its messages.
// One at a time: the system's callback finds it through a single slot.

#include <windows.h>

#include <functional>

#include "platform/win32/handles.h"

namespace ombrix::win32 {

class WindowAppearances {
public:
    explicit WindowAppearances(std::function<void()> onAppeared);
    ~WindowAppearances();
    WindowAppearances(const WindowAppearances&) = delete;
    WindowAppearances& operator=(const WindowAppearances&) = delete;

    // False where the system gives no such events: the timers still catch everything.
    [[nodiscard]] bool listening() const { return static_cast<bool>(hook_); }

private:
    static void CALLBACK onEvent(HWINEVENTHOOK, DWORD event, HWND window, LONG object, LONG child, DWORD, DWORD);
    std::function<void()> onAppeared_;
    UniqueWinEventHook hook_;
};

}  // namespace ombrix::win32

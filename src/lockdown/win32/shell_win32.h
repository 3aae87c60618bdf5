#pragma once
// The shell lockdown's seam on Win32: the shell's windows, and the two
// low-level input hooks of the program's user-interface thread.

#include <windows.h>

#include <functional>

#include "lockdown/shell_seam.h"
#include "platform/win32/handles.h"

namespace ombrix::win32 {

class ShellWindowsWin32 final : public lockdown::ShellWindows {
public:

    lockdown::WindowId find(std::optional<std::string_view> className, std::optional<std::string_view> title) override;
    lockdown::WindowId findChild(lockdown::WindowId parent, std::string_view className) override;
    lockdown::WindowId firstChild(lockdown::WindowId window) override;
    void enable(lockdown::WindowId window, bool enabled) override;
    void show(lockdown::WindowId window, bool visible) override;
    lockdown::Rect rect(lockdown::WindowId window) override;
    lockdown::WindowId activeWindow() override;
    bool visible(lockdown::WindowId window) override;
};

// One per program: the hooks are the thread's, and their procedures find the
// one object through a static.
class InputHooksWin32 final : public lockdown::InputHooks {
public:
    InputHooksWin32();
    ~InputHooksWin32() override;
    InputHooksWin32(const InputHooksWin32&) = delete;
    InputHooksWin32& operator=(const InputHooksWin32&) = delete;

    bool installKeyboard(std::function<bool(std::uint32_t)> swallow) override;
    void removeKeyboard() override;
    bool installMouse(std::function<void(const lockdown::MouseEvent&)> guard,
                      std::function<void(const lockdown::MouseEvent&)> afterwards) override;
    void removeMouse() override;

private:
    static LRESULT CALLBACK keyboardProc(int code, WPARAM wp, LPARAM lp);
    static LRESULT CALLBACK mouseProc(int code, WPARAM wp, LPARAM lp);
    static LRESULT CALLBACK windowProc(HWND window, UINT msg, WPARAM wp, LPARAM lp);

    UniqueWindow mailbox_;  // where the mouse hook leaves its events for afterwards
    UniqueHook keyboard_;
    UniqueHook mouse_;
    std::function<bool(std::uint32_t)> swallow_;
    std::function<void(const lockdown::MouseEvent&)> guard_;
    std::function<void(const lockdown::MouseEvent&)> afterwards_;
};

}  // namespace ombrix::win32

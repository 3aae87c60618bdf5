#pragma once
// The shell lockdown as applying a profile uses it: the task bar, the start
// button and the desktop, the keyboard filter, and the shell itself.

namespace ombrix::core {

class DesktopLock {
public:
    virtual ~DesktopLock() = default;
    // Hides or shows the desktop's icons and locks or frees the shell (the
    // task bar and the start button); (false, false) gives everything back.
    virtual void lockDesktop(bool hideDesktopIcons, bool lockShell) = 0;
    // What follows opening the home page full screen.
    virtual void fullScreen() = 0;
    // Ends and starts again the shell process.
    virtual void restartShell() = 0;
    virtual void releaseKeyboardHook() = 0;
};

// Until the lockdown is built, a desktop that is never locked: every call
// does nothing, and what it would give back was never taken.
class UnlockedDesktop final : public DesktopLock {
public:
    void lockDesktop(bool, bool) override {}
    void fullScreen() override {}
    void restartShell() override {}
    void releaseKeyboardHook() override {}
};

}  // namespace ombrix::core

#pragma once
// The shell lockdown: the task bar's parts, the Start button, the desktop
// icons, the keyboard filters and the task-bar mouse guard, the Start-screen
// killer and the shell restart. It works only through the running shell's
// windows and the input hooks, and writes nothing to the registry.

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "core/application_bar_window.h"
#include "core/desktop_lock.h"
#include "core/on_screen_keyboard.h"
#include "core/timers.h"
#include "lockdown/shell_seam.h"
#include "platform/clock.h"
#include "platform/processes.h"
#include "platform/shell.h"
#include "platform/system.h"

namespace ombrix::lockdown {

inline constexpr std::uint32_t kVkEscape = 0x1B;
inline constexpr std::uint32_t kVkLeftWin = 0x5B;
inline constexpr std::uint32_t kVkRightWin = 0x5C;
inline constexpr std::uint32_t kVkApps = 0x5D;
inline constexpr std::uint32_t kVkF4 = 0x73;

// Where the mouse guard puts the main form back, in twips.
inline constexpr int kFormReturnLeftTwips = 2890;
inline constexpr int kFormReturnTopTwips = 4000;

// The switches this part reads, as the profile in use and the options have them.
struct KioskSwitches {
    bool kiosk = false;
    bool startButtonDisabled = false;  // TastoStartDisabilitato
    bool fullScreen = false;           // ApriPaginaInizialeATuttoSchermo
    bool virtualKeyboard = false;      // Opzioni.TastieraVirtuale
};

// Locked is locking's; FullScreenPage follows the home page opened full
// screen. They share one slot, so at most one of them is installed.
enum class KeyboardFilter { None, Locked, FullScreenPage };

// Whether the filter swallows this key (down and up alike, whatever modifier).
[[nodiscard]] bool filterSwallows(KeyboardFilter filter, std::uint32_t virtualKey, const KioskSwitches& switches);

// What the mouse guard makes of one click.
enum class Switch { Keep, On, Off };
struct MouseVerdict {
    Switch taskbar = Switch::Keep;
    Switch activeWindow = Switch::Keep;  // the program's own active window
    // A press left of or above the notification area clears the main
    // form's tray mark; a press on it brings the form back when marked.
    bool pressElsewhere = false;
    bool pressOnNotifyArea = false;
    bool operator==(const MouseVerdict&) const = default;
};
[[nodiscard]] MouseVerdict guardVerdict(const MouseEvent& event, const GuardArea& area) noexcept;

// Elapsed milliseconds as whole seconds, halves to the even second. The
// shell restart's waits end when this passes their number, so each lasts
// about half a second longer than the number says.
[[nodiscard]] long long wholeSeconds(std::uint64_t milliseconds);

// The main form, as the mouse guard reaches it: its tray mark ("1" after the
// administrator pressed the program's tray icon, else "0") and the way back
// to its password box.
class GuardedForm {
public:
    virtual ~GuardedForm() = default;
    [[nodiscard]] virtual std::string stateField() = 0;
    virtual void setStateField(const std::string& value) = 0;
    // Restored, made visible, placed at (left, top), the password box
    // cleared and focused.
    virtual void bringBack(int leftTwips, int topTwips) = 0;
};

using core::OnScreenKeyboard;

class ShellLock final : public core::DesktopLock {
public:
    struct Seams {
        ShellWindows& windows;
        InputHooks& hooks;
        platform::Processes& processes;
        platform::Clock& clock;
        platform::EventPump& pump;
        platform::Shell& shell;
        platform::System& system;
        core::Timers& timers;
    };
    ShellLock(Seams seams, std::function<KioskSwitches()> switches) : m_(seams), switches_(std::move(switches)) {}
    ~ShellLock() override;
    ShellLock(const ShellLock&) = delete;
    ShellLock& operator=(const ShellLock&) = delete;

    // Parts that may come later; until then their steps are not taken.
    void setForm(GuardedForm* form) { form_ = form; }
    void setApplicationBar(core::ApplicationBar* bar) { bar_ = bar; }
    void setKeyboard(OnScreenKeyboard* keyboard) { keyboard_ = keyboard; }

    // core::DesktopLock
    void lockDesktop(bool hideIcons, bool lockShell) override;
    void fullScreen() override { installFilter(KeyboardFilter::FullScreenPage); }
    void restartShell() override;
    void releaseKeyboardHook() override;

    // The two helpers every shell window goes through.
    void enableByClass(bool enable, std::string_view parentClass, std::string_view childClass);
    void showByClass(bool hide, std::string_view parentClass, std::string_view childClass);
    void enableStartButton(bool enable);
    // Leaves "menu start" alone, unlike the enabler.
    void hideStartButton(bool hide);
    void hideDesktopIcons(bool hide);

    void installFilter(KeyboardFilter filter);
    void installMouseGuard();
    void removeMouseGuard();
    // "\metrokiller.exe /s" from the program's folder, minimised, not waited for.
    void runStartScreenKiller();

    // The one-shot timers.
    void tickMetroKiller();
    void tickHideDesktop();

    // One click, inside the hook: the task bar and the program's active
    // window are switched before the click reaches them, from the area held.
    void guardMouse(const MouseEvent& event) noexcept;
    // The same click, from the message loop: the keyboard's look, the main
    // form's tray mark.
    void afterMouse(const MouseEvent& event);
    // The task bar and its notification area looked up again, for the
    // guard; run on a frequent tick while the guard is in.
    void refreshGuardArea();
    // While locked, a Start button the shell showed again (as a task bar
    // laying out its buttons does) is hidden again; run on a frequent tick.
    void keepStartHidden();
    // A new shell (TaskbarCreated) has windows the lock never saw: while
    // locked, the lock and the application bar are taken again as they were.
    void shellRestarted();

    [[nodiscard]] KeyboardFilter keyboardFilter() const { return filter_; }
    [[nodiscard]] bool mouseGuarded() const { return mouseGuard_; }
    [[nodiscard]] bool locked() const { return locked_; }

private:
    [[nodiscard]] WindowId byClass(std::string_view parentClass, std::string_view childClass);
    void lock();
    void unlock();

    Seams m_;
    std::function<KioskSwitches()> switches_;
    GuardedForm* form_ = nullptr;
    core::ApplicationBar* bar_ = nullptr;
    OnScreenKeyboard* keyboard_ = nullptr;
    KeyboardFilter filter_ = KeyboardFilter::None;
    bool mouseGuard_ = false;
    GuardArea area_;
    bool locked_ = false;
    bool iconsHidden_ = false;  // the last locking's desktop icons
};

}  // namespace ombrix::lockdown

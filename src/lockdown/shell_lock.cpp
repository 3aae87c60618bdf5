#include "lockdown/shell_lock.h"

#include "platform/failures.h"
#include "platform/process_control.h"

namespace ombrix::lockdown {
namespace {

constexpr std::string_view kTaskbar = "Shell_TrayWnd";
constexpr std::string_view kNotifyArea = "TrayNotifyWnd";
constexpr std::string_view kSearchBox = "TrayDummySearchControl";
constexpr std::string_view kTaskButtons = "TrayButton";
constexpr std::string_view kStartButton = "Button";
constexpr const char* kShellImage = "explorer.exe";
constexpr int kMinimisedFocus = 2;

}  // namespace

bool filterSwallows(KeyboardFilter filter, std::uint32_t vk, const KioskSwitches& s) {
    const bool escapeKey = vk == kVkEscape || vk == kVkLeftWin || vk == kVkRightWin || vk == kVkApps;
    switch (filter) {
        case KeyboardFilter::Locked: return escapeKey || (vk == kVkF4 && s.fullScreen);
        case KeyboardFilter::FullScreenPage: return vk == kVkF4 || (escapeKey && s.startButtonDisabled);
        case KeyboardFilter::None: return false;
    }
    return false;
}

MouseVerdict guardVerdict(const MouseEvent& e, const GuardArea& area) noexcept {
    MouseVerdict v;
    switch (e.message) {
        case kLeftDown:
            if (e.point.x < area.notifyArea.left || e.point.y < area.notifyArea.top) {
                v.taskbar = Switch::On;
                v.pressElsewhere = true;
            } else {
                v.taskbar = Switch::Off;
                v.pressOnNotifyArea = true;
            }
            break;
        case kLeftUp:
            v.taskbar = Switch::Off;
            v.activeWindow = Switch::On;
            break;
        case kRightDown:
        case kRightUp:
            v.taskbar = Switch::Off;
            v.activeWindow = Switch::Off;
            break;
        default:
            break;
    }
    return v;
}

long long wholeSeconds(std::uint64_t ms) {
    const auto seconds = static_cast<long long>(ms / 1000);
    const std::uint64_t rest = ms % 1000;
    return seconds + ((rest > 500 || (rest == 500 && seconds % 2 == 1)) ? 1 : 0);
}

ShellLock::~ShellLock() {
    platform::guarded([&] {
        if (filter_ != KeyboardFilter::None) m_.hooks.removeKeyboard();
        if (mouseGuard_) m_.hooks.removeMouse();
    });
}

WindowId ShellLock::byClass(std::string_view parentClass, std::string_view childClass) {
    if (!parentClass.empty()) {
        const WindowId parent = m_.windows.find(parentClass, std::string_view{});
        return childClass.empty() ? parent : m_.windows.findChild(parent, childClass);
    }
    // Without a parent the child names a top-level window by its title.
    return childClass.empty() ? 0 : m_.windows.find(std::nullopt, childClass);
}

void ShellLock::enableByClass(bool enable, std::string_view parentClass, std::string_view childClass) {
    m_.windows.enable(byClass(parentClass, childClass), enable);
}

void ShellLock::showByClass(bool hide, std::string_view parentClass, std::string_view childClass) {
    m_.windows.show(byClass(parentClass, childClass), !hide);
}

void ShellLock::enableStartButton(bool enable) {
    enableByClass(enable, kTaskbar, kStartButton);
    enableByClass(enable, {}, "menu start");
    enableByClass(enable, {}, "Start");
}

void ShellLock::hideStartButton(bool hide) {
    showByClass(hide, kTaskbar, kStartButton);
    showByClass(hide, {}, "Start");
}

void ShellLock::hideDesktopIcons(bool hide) {
    const WindowId icons = m_.windows.firstChild(m_.windows.find("Progman", "Program manager"));
    if (icons != 0) {
        m_.windows.show(icons, !hide);
    } else if (hide) {
        // The shell has not made its icons yet: try again later.
        m_.timers.setEnabled(core::TimerId::HideDesktop, true);
    }
    m_.windows.show(m_.windows.find(std::nullopt, "Program manager"), !hide);
}

void ShellLock::installFilter(KeyboardFilter filter) {
    releaseKeyboardHook();
    if (filter == KeyboardFilter::None) return;
    // The filter reads switches the lock keeps up to date, never the store.
    const KioskSwitches switches = switches_ ? switches_() : KioskSwitches{};
    if (m_.hooks.installKeyboard([filter, switches](std::uint32_t vk) { return filterSwallows(filter, vk, switches); })) {
        filter_ = filter;
    }
}

void ShellLock::releaseKeyboardHook() {
    m_.hooks.removeKeyboard();
    filter_ = KeyboardFilter::None;
}

void ShellLock::installMouseGuard() {
    removeMouseGuard();
    mouseGuard_ = m_.hooks.installMouse([this](const MouseEvent& e) { guardMouse(e); },
                                        [this](const MouseEvent& e) { platform::guarded([&] { afterMouse(e); }); });
    refreshGuardArea();
}

void ShellLock::refreshGuardArea() {
    if (!mouseGuard_) return;
    const WindowId taskbar = m_.windows.find(kTaskbar, std::string_view{});
    area_ = {taskbar, m_.windows.rect(m_.windows.findChild(taskbar, kNotifyArea))};
}

void ShellLock::removeMouseGuard() {
    m_.hooks.removeMouse();
    mouseGuard_ = false;
}

void ShellLock::runStartScreenKiller() {
    // A missing program is no failure: there is nothing to close then.
    (void)m_.shell.run(m_.system.programFolder() + "\\metrokiller.exe /s", kMinimisedFocus);
}

void ShellLock::tickMetroKiller() {
    m_.timers.setEnabled(core::TimerId::MetroKiller, false);
    // The Start screen of 6.2 to 6.3 (and whatever 7 to 9 would have been);
    // version 10 is left out on purpose.
    const int major = m_.system.windowsMajorVersion();
    const int minor = m_.system.windowsMinorVersion();
    if (major >= 6 && major <= 9 && minor >= 2) runStartScreenKiller();
}

void ShellLock::tickHideDesktop() {
    m_.timers.setEnabled(core::TimerId::HideDesktop, false);
    hideDesktopIcons(true);
}

void ShellLock::guardMouse(const MouseEvent& e) noexcept {
    const MouseVerdict v = guardVerdict(e, area_);
    platform::guarded([&] {
        if (v.taskbar != Switch::Keep) m_.windows.enable(area_.taskbar, v.taskbar == Switch::On);
        if (v.activeWindow != Switch::Keep) m_.windows.enable(m_.windows.activeWindow(), v.activeWindow == Switch::On);
    });
}

void ShellLock::afterMouse(const MouseEvent& e) {
    const KioskSwitches switches = switches_ ? switches_() : KioskSwitches{};
    if (switches.virtualKeyboard && keyboard_) keyboard_->reapply();
    const MouseVerdict v = guardVerdict(e, area_);
    if (!form_) return;
    if (v.pressElsewhere) form_->setStateField("0");
    if (v.pressOnNotifyArea && form_->stateField() == "1") {
        form_->bringBack(kFormReturnLeftTwips, kFormReturnTopTwips);
        form_->setStateField("0");
    }
}

void ShellLock::keepStartHidden() {
    if (!locked_) return;
    for (const WindowId w : {byClass(kTaskbar, kStartButton), byClass({}, "Start")}) {
        if (m_.windows.visible(w)) m_.windows.show(w, false);
    }
}

void ShellLock::shellRestarted() {
    if (locked_) lockDesktop(iconsHidden_, true);
}

void ShellLock::lock() {
    runStartScreenKiller();
    installMouseGuard();
    enableStartButton(false);
    hideStartButton(true);
    enableByClass(false, kTaskbar, kNotifyArea);
    enableByClass(false, kTaskbar, kSearchBox);
    showByClass(true, kTaskbar, kSearchBox);
    enableByClass(false, kTaskbar, kTaskButtons);
    showByClass(true, kTaskbar, kTaskButtons);
    installFilter(KeyboardFilter::Locked);
    // The task bar itself stays enabled: the mouse guard switches it.
    locked_ = true;
}

void ShellLock::unlock() {
    locked_ = false;
    removeMouseGuard();
    releaseKeyboardHook();
    enableByClass(true, kTaskbar, {});
    enableByClass(true, kTaskbar, kNotifyArea);
    hideStartButton(false);
    enableStartButton(true);
    enableByClass(true, kTaskbar, kSearchBox);
    showByClass(false, kTaskbar, kSearchBox);
    enableByClass(true, kTaskbar, kTaskButtons);
    showByClass(false, kTaskbar, kTaskButtons);
    const KioskSwitches switches = switches_ ? switches_() : KioskSwitches{};
    if (switches.virtualKeyboard && keyboard_) keyboard_->show();
}

void ShellLock::lockDesktop(bool hideIcons, bool lockShell) {
    iconsHidden_ = hideIcons;
    // Every step on its own: a shell without one of these windows, or a
    // step that fails, leaves the others to run.
    if (lockShell) {
        platform::guarded([&] { lock(); });
        // Once after each locking: a shell that brings its Start screen or
        // its icons back shortly after a sign-in or a switch loses them again.
        m_.timers.setEnabled(core::TimerId::MetroKiller, true);
        if (hideIcons) m_.timers.setEnabled(core::TimerId::HideDesktop, true);
    } else {
        // A hiding still pending would take the icons unlocking gives back.
        m_.timers.setEnabled(core::TimerId::MetroKiller, false);
        m_.timers.setEnabled(core::TimerId::HideDesktop, false);
        platform::guarded([&] { unlock(); });
    }
    platform::guarded([&] { hideDesktopIcons(hideIcons); });
    platform::guarded([&] {
        if (!bar_) return;
        if (lockShell) {
            bar_->show();
        } else {
            bar_->unload();
        }
    });
}

void ShellLock::restartShell() {
    const auto waitWhile = [&](const std::function<bool()>& condition, long long seconds, bool killing) {
        const std::uint64_t start = m_.clock.tickMilliseconds();
        while (condition()) {
            m_.pump.doEvents();
            if (killing) platform::KillProcess(m_.processes, kShellImage);
            if (wholeSeconds(m_.clock.tickMilliseconds() - start) > seconds) break;
        }
    };
    const auto shellRunning = [&] { return platform::IsProcessRunning(m_.processes, kShellImage); };
    waitWhile(shellRunning, 10, true);
    platform::KillProcess(m_.processes, kShellImage);
    // A pause of its own, timers and windows served meanwhile.
    waitWhile([] { return true; }, 2, false);
    const std::string folder = m_.system.programFolder();
    if (folder.rfind("\\\\", 0) == 0) {
        (void)m_.shell.run("explorer.exe c:\\windows\\explorer.exe", kMinimisedFocus);
    } else {
        (void)m_.shell.run("explorer.exe " + folder.substr(0, 2) + "\\windows\\explorer.exe", kMinimisedFocus);
    }
    waitWhile([&] { return !shellRunning(); }, 10, false);
}

}  // namespace ombrix::lockdown

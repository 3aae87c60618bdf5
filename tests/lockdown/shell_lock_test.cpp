#include "lockdown/shell_lock.h"

#include <gtest/gtest.h>

#include <map>
#include <tuple>

#include "fakes/fake_controller.h"
#include "fakes/fake_machine.h"
#include "fakes/fake_machine_profile.h"
#include "fakes/fake_shell_windows.h"
#include "platform/text.h"

namespace ombrix::lockdown {
namespace {

using test::FakeShellWindows;
using test::Journal;

struct OnScreenShown final : OnScreenKeyboard {
    Journal& log;
    explicit OnScreenShown(Journal& j) : log(j) {}
    void show() override { log.add("keyboard shown"); }
    void hide() override { log.add("keyboard hidden"); }
    void reapply() override { log.add("keyboard look"); }
};

// A tick that moves by `step` milliseconds on every reading.
struct SteppingClock final : platform::Clock {
    std::uint64_t at = 0, step = 100;
    platform::LocalTime now() override { return {}; }
    std::uint64_t tickMilliseconds() override { return at += step; }
};

struct Rig {
    Journal log;
    FakeShellWindows shell{log};
    OnScreenShown keyboard{log};
    test::FakeProcesses processes{log};
    SteppingClock clock;
    test::FakePump pump;
    test::FakeShell run{log};
    test::FakeSystem system;
    test::FakeTimers timers{log};
    KioskSwitches switches;
    ShellLock lock{{shell, shell, processes, clock, pump, run, system, timers}, [this] { return switches; }};
    Rig() {
        lock.setForm(&shell);
        lock.setApplicationBar(&shell);
        lock.setKeyboard(&keyboard);
    }
};

// Locked: the Start button, the Start screen and the task bar's parts off
// and hidden (menu start only off), the task bar itself left to the guard,
// the hooks in, the application bar in front.
void expectLocked(Rig& r, bool hideIcons) {
    for (const int id : {2, 3, 4, 5, 6, 7}) EXPECT_FALSE(r.shell.w[id].enabled) << r.shell.w[id].cls;
    for (const int id : {2, 4, 5, 6}) EXPECT_FALSE(r.shell.w[id].visible) << r.shell.w[id].cls;
    EXPECT_TRUE(r.shell.w[7].visible) << "the hider leaves menu start alone";
    EXPECT_TRUE(r.shell.w[1].enabled) << "the task bar itself is the guard's to switch";
    EXPECT_EQ(r.shell.w[9].visible, !hideIcons);
    EXPECT_EQ(r.shell.w[8].visible, !hideIcons);
    EXPECT_EQ(r.log.count("bar shown"), 1);
    EXPECT_EQ(r.lock.keyboardFilter(), KeyboardFilter::Locked);
    EXPECT_TRUE(r.lock.mouseGuarded());
}

TEST(ShellLock, LockingAndUnlockingGiveEachPartItsStateAndThePairDecidesTheRest) {
    for (const auto& [hide, lock] : {std::pair{true, true}, std::pair{false, true}, std::pair{false, false}}) {
        SCOPED_TRACE(::testing::Message() << hide << lock);
        Rig r;
        r.switches.virtualKeyboard = true;
        r.lock.lockDesktop(hide, lock);
        if (lock) expectLocked(r, hide);
        EXPECT_EQ(r.log.count("run C:\\Programmi\\Ombrix\\metrokiller.exe /s style 2"), lock ? 1 : 0);
        EXPECT_EQ(r.timers.isEnabled(core::TimerId::MetroKiller), lock);
        EXPECT_EQ(r.timers.isEnabled(core::TimerId::HideDesktop), hide);
        EXPECT_EQ(r.log.count("keyboard shown"), lock ? 0 : 1);
        r.log.entries.clear();
        r.lock.lockDesktop(false, false);
        for (const auto& [id, x] : r.shell.w) EXPECT_TRUE(x.enabled && x.visible) << x.cls;
        EXPECT_TRUE(r.log.inOrder({"unhook mouse", "unhook keyboard", "keyboard shown", "bar unloaded"}));
        EXPECT_FALSE(r.timers.isEnabled(core::TimerId::HideDesktop)) << "a pending hiding would take the icons back";
        EXPECT_FALSE(r.timers.isEnabled(core::TimerId::MetroKiller));
    }
}

TEST(ShellLock, KeyboardFiltersShareOneSlotAndSwapTheirGates) {
    struct Case {
        KeyboardFilter filter;
        bool startDisabled, fullScreen;
        std::uint32_t key;
        bool swallowed;
    };
    constexpr auto kLocked = KeyboardFilter::Locked;
    constexpr auto kPage = KeyboardFilter::FullScreenPage;
    const Case cases[] = {
        {kLocked, false, false, kVkEscape, true},   {kLocked, false, false, kVkLeftWin, true},
        {kLocked, false, false, kVkRightWin, true}, {kLocked, false, false, kVkApps, true},
        {kLocked, false, false, kVkF4, false},      {kLocked, false, true, kVkF4, true},
        {kLocked, true, true, 'A', false},          {kPage, false, false, kVkF4, true},
        {kPage, false, false, kVkEscape, false},    {kPage, false, false, kVkLeftWin, false},
        {kPage, true, false, kVkEscape, true},      {kPage, true, false, kVkApps, true},
        {kPage, true, true, 'W', false},            {KeyboardFilter::None, true, true, kVkEscape, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << static_cast<int>(c.filter) << c.startDisabled << c.fullScreen << " "
                                          << c.key);
        EXPECT_EQ(filterSwallows(c.filter, c.key, {false, c.startDisabled, c.fullScreen, false}), c.swallowed);
    }
    Rig r;
    r.switches.fullScreen = true;
    r.lock.fullScreen();
    EXPECT_EQ(r.lock.keyboardFilter(), KeyboardFilter::FullScreenPage);
    r.lock.lockDesktop(false, true);
    r.lock.lockDesktop(false, true);
    EXPECT_EQ(r.lock.keyboardFilter(), KeyboardFilter::Locked);
    EXPECT_TRUE(r.shell.keyboard(kVkF4)) << "the switches of its installation";
    EXPECT_FALSE(r.shell.keyboard('Q'));
    r.lock.releaseKeyboardHook();
    EXPECT_FALSE(r.shell.keyboard);
}

// The notification area spans (900,700)-(1000,740).
TEST(ShellLock, TheMouseGuardDecidesFromTheAreaItHolds) {
    using S = Switch;
    const GuardArea area{1, {900, 700, 1000, 740}};
    struct Case {
        std::uint32_t message;
        Point at;
        MouseVerdict verdict;
    };
    const Case cases[] = {
        {kLeftDown, {899, 720}, {S::On, S::Keep, true, false}},
        {kLeftDown, {950, 699}, {S::On, S::Keep, true, false}},
        {kLeftDown, {950, 720}, {S::Off, S::Keep, false, true}},
        {kLeftDown, {900, 700}, {S::Off, S::Keep, false, true}},  // its corner is on it
        {kLeftUp, {950, 720}, {S::Off, S::On, false, false}},
        {kRightDown, {10, 10}, {S::Off, S::Off, false, false}},
        {kRightUp, {10, 10}, {S::Off, S::Off, false, false}},
        {kLeftDoubleClick, {950, 720}, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << std::hex << c.message << std::dec << " at " << c.at.x << "," << c.at.y);
        EXPECT_EQ(guardVerdict({c.message, c.at}, area), c.verdict);
    }
    EXPECT_EQ(guardVerdict({kLeftDown, {0, 0}}, {1, {}}).taskbar, S::Off) << "no notification area: locked";
}

// Inside the hook the task bar is switched from what is held, before the
// click goes on; the keyboard and the main form wait for the message loop.
TEST(ShellLock, TheMouseGuardSwitchesTheTaskBarInsideTheHookAndTheRestAfterwards) {
    Rig r;
    r.switches.virtualKeyboard = true;
    r.lock.lockDesktop(false, true);
    r.shell.state = "1";
    r.shell.lookups = 0;
    r.log.entries.clear();
    r.shell.mouse({kLeftDown, {950, 720}});
    EXPECT_EQ(r.log.entries, std::vector<std::string>{"enable Shell_TrayWnd 0"});
    EXPECT_EQ(r.shell.lookups, 0) << "no window looked up inside the hook";
    EXPECT_EQ(r.shell.state, "1");
    r.shell.mouseAfterwards({kLeftDown, {950, 720}});
    EXPECT_EQ(r.log.entries, (std::vector<std::string>{"enable Shell_TrayWnd 0", "keyboard look", "form at 2890,4000"}));
    EXPECT_EQ(r.shell.state, "0");

    r.log.entries.clear();
    r.shell.mouse({kLeftUp, {950, 720}});
    r.shell.mouse({kRightDown, {10, 10}});
    EXPECT_EQ(r.log.entries, (std::vector<std::string>{"enable Shell_TrayWnd 0", "enable OmbrixForm 1",
                                                       "enable Shell_TrayWnd 0", "enable OmbrixForm 0"}));

    // The notification area moved: the hook goes by the last refresh.
    r.shell.w[3].rect = {500, 700, 600, 740};
    r.log.entries.clear();
    r.shell.mouse({kLeftDown, {550, 720}});
    r.lock.refreshGuardArea();
    r.shell.mouse({kLeftDown, {550, 720}});
    EXPECT_EQ(r.log.entries, (std::vector<std::string>{"enable Shell_TrayWnd 1", "enable Shell_TrayWnd 0"}));
}

TEST(ShellLock, WhatTheShellBringsBackIsTakenAgain) {
    Rig r;
    r.lock.keepStartHidden();
    EXPECT_TRUE(r.log.entries.empty()) << "unlocked, nothing is touched";
    r.lock.lockDesktop(false, true);
    r.shell.w[2].visible = true;  // the task bar laid its Start button out again
    r.log.entries.clear();
    r.lock.keepStartHidden();
    EXPECT_EQ(r.log.entries, std::vector<std::string>{"show Button 0"});

    // No icon view yet: hiding, and only hiding, tries again on the timer.
    r.shell.w.erase(9);
    r.lock.hideDesktopIcons(false);
    EXPECT_FALSE(r.timers.isEnabled(core::TimerId::HideDesktop));
    r.lock.tickHideDesktop();
    EXPECT_TRUE(r.log.inOrder({"tmrNancondiDesktop off", "tmrNancondiDesktop on", "show Program Manager 0"}));
}

// A shell that ended and started again (TaskbarCreated) brings windows of
// its own, every one enabled and shown: locked again only while locked.
TEST(ShellLock, ARestartedShellIsLockedAgainOnlyWhileLocked) {
    for (const bool hideIcons : {true, false}) {
        SCOPED_TRACE(hideIcons);
        Rig r;
        r.lock.lockDesktop(hideIcons, true);
        r.lock.lockDesktop(false, false);
        r.log.entries.clear();
        r.lock.shellRestarted();
        EXPECT_TRUE(r.log.entries.empty()) << "unlocked, the new shell is left alone";

        r.lock.lockDesktop(hideIcons, true);
        test::FakeShellWindows fresh{r.log};
        for (auto& [id, x] : r.shell.w) x = fresh.w[id];
        r.shell.w[3].rect = {800, 700, 1000, 740};
        r.log.entries.clear();
        r.lock.shellRestarted();
        expectLocked(r, hideIcons);
        r.shell.mouse({kLeftDown, {850, 720}});
        EXPECT_FALSE(r.shell.w[1].enabled) << "the guard measures the new notification area";
    }
}

TEST(ShellLock, MetroKillerTimerRunsOnlyOnItsVersions) {
    for (const auto& [major, minor, runs] :
         {std::tuple{6, 1, false}, std::tuple{6, 2, true}, std::tuple{9, 3, true}, std::tuple{10, 2, false}}) {
        SCOPED_TRACE(::testing::Message() << major << "." << minor);
        Rig r;
        r.system.major = major;
        r.system.minor = minor;
        r.timers.setEnabled(core::TimerId::MetroKiller, true);
        r.lock.tickMetroKiller();
        EXPECT_FALSE(r.timers.isEnabled(core::TimerId::MetroKiller));
        EXPECT_EQ(r.log.count("run C:\\Programmi\\Ombrix\\metrokiller.exe /s style 2"), runs ? 1 : 0);
    }
}

TEST(ShellLock, ShellRestartWaitsInWholeSecondsAndStartsTheShellFromTheProgramsDrive) {
    EXPECT_EQ(wholeSeconds(2500), 2) << "halves to the even second";
    EXPECT_EQ(wholeSeconds(2501), 3);
    EXPECT_EQ(wholeSeconds(3500), 4);
    for (const auto& [folder, command] :
         {std::pair{"D:\\Ombrix", "run explorer.exe D:\\windows\\explorer.exe style 2"},
          std::pair{"\\\\server\\share\\Ombrix", "run explorer.exe c:\\windows\\explorer.exe style 2"}}) {
        SCOPED_TRACE(folder);
        Rig r;
        r.system.folder = folder;
        r.processes.start("explorer.exe", -1);  // never ends
        r.clock.step = 1000;
        int pumped = 0;
        r.pump.during = [&] { ++pumped; };
        r.lock.restartShell();
        // More than 10 whole seconds at a second a reading: eleven rounds, then one more.
        EXPECT_EQ(r.log.count("kill explorer.exe"), 12);
        EXPECT_EQ(r.log.count(command), 1);
        EXPECT_GE(pumped, 11 + 3) << "the waits let the program run";
    }
}

}  // namespace
}  // namespace ombrix::lockdown

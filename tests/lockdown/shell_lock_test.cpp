#include "lockdown/shell_lock.h"

#include <gtest/gtest.h>

#include <tuple>

#include "fakes/fake_controller.h"
#include "fakes/fake_machine.h"
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
    void hide() override {}
    void reapply() override {}
};

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
    Rig() { lock.setForm(&shell), lock.setApplicationBar(&shell), lock.setKeyboard(&keyboard); }
};

// Locked: Start and the task bar's parts off and hidden (menu start only off), the bar left to the guard.
void expectLocked(Rig& r, bool hideIcons) {
    for (const int id : {2, 3, 4, 5, 6, 7}) EXPECT_FALSE(r.shell.w[id].enabled) << r.shell.w[id].cls;
    for (const int id : {2, 4, 5, 6}) EXPECT_FALSE(r.shell.w[id].visible) << r.shell.w[id].cls;
    EXPECT_TRUE(r.shell.w[7].visible && r.shell.w[1].enabled) << "menu start only disabled; the task bar is the guard's";
    EXPECT_TRUE(r.shell.w[9].visible != hideIcons && r.shell.w[8].visible != hideIcons);
    EXPECT_TRUE(r.log.count("bar shown") == 1 && r.lock.keyboardFilter() == KeyboardFilter::Locked && r.lock.mouseGuarded());
}

TEST(ShellLock, LockingAndUnlockingGiveEachPartItsStateAndThePairDecidesTheRest) {
    for (const auto& [hide, lock] : {std::pair{true, true}, std::pair{false, true}, std::pair{false, false}}) {
        SCOPED_TRACE(::testing::Message() << hide << lock);
        Rig r;
        r.switches.virtualKeyboard = true;
        r.lock.lockDesktop(hide, lock);
        if (lock) expectLocked(r, hide);
        EXPECT_EQ(r.log.count("run C:\\Programmi\\Ombrix\\metrokiller.exe /s style 2"), lock ? 1 : 0);
        EXPECT_EQ(std::pair(r.timers.isEnabled(core::TimerId::MetroKiller), r.timers.isEnabled(core::TimerId::HideDesktop)),
                  std::pair(lock, hide));
        EXPECT_EQ(r.log.count("keyboard shown"), lock ? 0 : 1);
        r.log.entries.clear();
        r.lock.lockDesktop(false, false);
        for (const auto& [id, x] : r.shell.w) EXPECT_TRUE(x.enabled && x.visible) << x.cls;
        EXPECT_TRUE(r.log.inOrder({"unhook mouse", "unhook keyboard", "keyboard shown", "bar unloaded"}));
        EXPECT_FALSE(r.timers.isEnabled(core::TimerId::HideDesktop) || r.timers.isEnabled(core::TimerId::MetroKiller));
    }
}

TEST(ShellLock, KeyboardFiltersShareOneSlotAndSwapTheirGates) {
    constexpr auto kLocked = KeyboardFilter::Locked, kPage = KeyboardFilter::FullScreenPage;
    // filter, Start disabled, full screen, key, swallowed
    const std::tuple<KeyboardFilter, bool, bool, std::uint32_t, bool> cases[] = {
        {kLocked, false, false, kVkRightWin, true}, {kLocked, false, false, kVkF4, false},
        {kLocked, false, true, kVkF4, true},        {kLocked, true, true, 'A', false},
        {kPage, false, false, kVkF4, true},         {kPage, false, false, kVkEscape, false},
        {kPage, true, false, kVkApps, true},        {KeyboardFilter::None, true, true, kVkEscape, false},
    };
    for (const auto& [filter, startDisabled, fullScreen, key, swallowed] : cases) {
        EXPECT_EQ(filterSwallows(filter, key, {false, startDisabled, fullScreen, false}), swallowed)
            << static_cast<int>(filter) << startDisabled << fullScreen << " " << key;
    }
    Rig r;
    r.switches.fullScreen = true;
    r.lock.fullScreen();
    EXPECT_EQ(r.lock.keyboardFilter(), KeyboardFilter::FullScreenPage);
    r.lock.lockDesktop(false, true);
    EXPECT_TRUE(r.shell.keyboard(kVkF4) && !r.shell.keyboard('Q')) << "the switches of its installation";
    r.lock.releaseKeyboardHook();
    EXPECT_FALSE(r.shell.keyboard);
}

TEST(ShellLock, TheMouseGuardDecidesFromTheAreaItHolds) {
    using S = Switch;
    const GuardArea area{1, {900, 700, 1000, 740}};
    const std::tuple<std::uint32_t, Point, MouseVerdict> cases[] = {
        {kLeftDown, {899, 720}, {S::On, S::Keep, true, false}},   {kLeftDown, {950, 699}, {S::On, S::Keep, true, false}},
        {kLeftDown, {950, 720}, {S::Off, S::Keep, false, true}},  {kLeftDown, {900, 700}, {S::Off, S::Keep, false, true}},
        {kLeftUp, {950, 720}, {S::Off, S::On, false, false}},     {kRightUp, {10, 10}, {S::Off, S::Off, false, false}},
        {kLeftDoubleClick, {950, 720}, {}},
    };
    for (const auto& [message, at, verdict] : cases) EXPECT_EQ(guardVerdict({message, at}, area), verdict) << at.x << "," << at.y;
    EXPECT_EQ(guardVerdict({kLeftDown, {0, 0}}, {1, {}}).taskbar, S::Off) << "no notification area: locked";
}

// A restarted shell brings its own windows, enabled and shown: locked again only while locked.
TEST(ShellLock, WhatTheShellBringsBackIsTakenAgainWhileLocked) {
    Rig r;
    r.lock.lockDesktop(true, true);
    r.lock.lockDesktop(false, false);
    r.log.entries.clear();
    r.lock.shellRestarted();
    r.lock.keepStartHidden();
    EXPECT_TRUE(r.log.entries.empty()) << "unlocked, the new shell is left alone";
    r.lock.lockDesktop(false, true);
    test::FakeShellWindows fresh{r.log};
    for (auto& [id, x] : r.shell.w) x = fresh.w[id];
    r.shell.w[3].rect = {800, 700, 1000, 740};
    r.log.entries.clear();
    r.lock.shellRestarted();
    expectLocked(r, false);
    r.shell.lookups = 0;
    r.shell.mouse({kLeftDown, {850, 720}});
    EXPECT_TRUE(!r.shell.w[1].enabled && r.shell.lookups == 0) << "the new area measured, no lookup inside the hook";
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

TEST(ShellLock, MetroKillerTimerRunsOnlyOnItsVersions) {
    for (const auto& [major, minor, runs] : {std::tuple{6, 1, 0}, std::tuple{6, 2, 1}, std::tuple{10, 2, 0}}) {
        Rig r;
        std::tie(r.system.major, r.system.minor) = std::tie(major, minor);
        r.timers.setEnabled(core::TimerId::MetroKiller, true);
        r.lock.tickMetroKiller();
        EXPECT_FALSE(r.timers.isEnabled(core::TimerId::MetroKiller));
        EXPECT_EQ(r.log.count("run C:\\Programmi\\Ombrix\\metrokiller.exe /s style 2"), runs) << major << minor;
    }
}

TEST(ShellLock, ShellRestartWaitsInWholeSecondsAndStartsTheShellFromTheProgramsDrive) {
    EXPECT_EQ(std::tuple(wholeSeconds(2500), wholeSeconds(2501), wholeSeconds(3500)), std::tuple(2, 3, 4));  // to even
    for (const auto& [folder, command] :
         {std::pair{"D:\\Ombrix", "run explorer.exe D:\\windows\\explorer.exe style 2"},
          std::pair{"\\\\server\\share\\Ombrix", "run explorer.exe c:\\windows\\explorer.exe style 2"}}) {
        Rig r;
        r.system.folder = folder;
        r.processes.start("explorer.exe", -1);  // never ends
        r.clock.step = 1000;
        int pumped = 0;
        r.pump.during = [&] { ++pumped; };
        r.lock.restartShell();
        // More than 10 whole seconds at a second a reading: eleven rounds, then one more.
        EXPECT_EQ(std::pair(r.log.count("kill explorer.exe"), r.log.count(command)), std::pair(12, 1)) << folder;
        EXPECT_GE(pumped, 11 + 3) << "the waits let the program run";
    }
}

}  // namespace
}  // namespace ombrix::lockdown

#include "lockdown/shell_lock.h"

#include <gtest/gtest.h>

#include <map>

#include "fakes/fake_controller.h"
#include "fakes/fake_machine.h"
#include "fakes/fake_machine_profile.h"

namespace ombrix::lockdown {
namespace {

using test::Journal;

// A shell of windows named by class (or title, for a top-level window found
// by title); every call lands in the journal as "enable NAME 0/1",
// "show NAME 0/1", with "none" for window 0.
class FakeShellWindows final : public ShellWindows {
public:
    struct Win {
        std::string className, title;
        WindowId parent = 0;
        bool enabled = true, visible = true;
        Rect rect;
    };
    explicit FakeShellWindows(Journal& j) : journal_(j) {}
    std::map<WindowId, Win> windows;
    WindowId active = 0;

    WindowId add(std::string className, std::string title = {}, WindowId parent = 0) {
        const WindowId id = next_++;
        windows[id] = {std::move(className), std::move(title), parent, true, true, {}};
        return id;
    }
    // The shell of the later Windows versions, with everything this part touches.
    void fullShell() {
        const WindowId tray = add("Shell_TrayWnd");
        for (const char* child : {"Button", "TrayNotifyWnd", "TrayDummySearchControl", "TrayButton"}) add(child, {}, tray);
        windows[find("Shell_TrayWnd", "") + 2].rect = {900, 700, 1000, 740};
        add("ImmersiveLauncher", "Start");
        add("DV2ControlHost", "menu start");
        const WindowId progman = add("Progman", "Program Manager");
        add("SHELLDLL_DefView", {}, progman);
    }
    [[nodiscard]] const Win& named(const std::string& name) const {
        for (const auto& [id, w] : windows) {
            if (w.className == name || w.title == name) return w;
        }
        throw std::out_of_range(name);
    }

    WindowId find(std::optional<std::string_view> cls, std::optional<std::string_view> title) override {
        for (const auto& [id, w] : windows) {
            if (w.parent == 0 && (!cls || *cls == w.className) && (!title || equalsNoCase(*title, w.title))) return id;
        }
        return 0;
    }
    WindowId findChild(WindowId parent, std::string_view cls) override {
        for (const auto& [id, w] : windows) {
            if (parent != 0 && w.parent == parent && w.className == cls) return id;
        }
        return 0;
    }
    WindowId firstChild(WindowId window) override {
        for (const auto& [id, w] : windows) {
            if (window != 0 && w.parent == window) return id;
        }
        return 0;
    }
    void enable(WindowId id, bool on) override {
        journal_.add("enable " + name(id) + (on ? " 1" : " 0"));
        if (id) windows[id].enabled = on;
    }
    void show(WindowId id, bool on) override {
        journal_.add("show " + name(id) + (on ? " 1" : " 0"));
        if (id) windows[id].visible = on;
    }
    Rect rect(WindowId id) override { return id ? windows[id].rect : Rect{}; }
    WindowId activeWindow() override { return active; }
    bool visible(WindowId id) override { return id != 0 && windows[id].visible; }

private:
    static bool equalsNoCase(std::string_view a, std::string_view b) {
        if (a.size() != b.size()) return false;
        for (std::size_t i = 0; i < a.size(); ++i) {
            if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i]))) return false;
        }
        return true;
    }
    std::string name(WindowId id) const {
        if (id == 0) return "none";
        const Win& w = windows.at(id);
        return w.title.empty() ? w.className : w.title;
    }
    Journal& journal_;
    WindowId next_ = 1;
};

class FakeHooks final : public InputHooks {
public:
    explicit FakeHooks(Journal& j) : journal_(j) {}
    std::function<bool(std::uint32_t)> keyboard;
    std::function<void(const MouseEvent&)> mouse;
    bool installKeyboard(std::function<bool(std::uint32_t)> f) override {
        EXPECT_FALSE(keyboard) << "the keyboard slot was not emptied first";
        journal_.add("hook keyboard");
        keyboard = std::move(f);
        return true;
    }
    void removeKeyboard() override {
        journal_.add("unhook keyboard");
        keyboard = nullptr;
    }
    bool installMouse(std::function<void(const MouseEvent&)> f) override {
        EXPECT_FALSE(mouse) << "the mouse slot was not emptied first";
        journal_.add("hook mouse");
        mouse = std::move(f);
        return true;
    }
    void removeMouse() override {
        journal_.add("unhook mouse");
        mouse = nullptr;
    }

private:
    Journal& journal_;
};

class FakeForm final : public GuardedForm {
public:
    explicit FakeForm(Journal& j) : journal_(j) {}
    std::string state = "0";
    std::string stateField() override { return state; }
    void setStateField(const std::string& v) override { state = v; }
    void bringBack(int left, int top) override {
        journal_.add("form back at " + std::to_string(left) + "," + std::to_string(top));
    }

private:
    Journal& journal_;
};

class FakeBar final : public core::ApplicationBar {
public:
    explicit FakeBar(Journal& j) : journal_(j) {}
    void show() override { journal_.add("bar shown"); }
    void unload() override { journal_.add("bar unloaded"); }

private:
    Journal& journal_;
};

class FakeKeyboard final : public OnScreenKeyboard {
public:
    explicit FakeKeyboard(Journal& j) : journal_(j) {}
    void show() override { journal_.add("keyboard shown"); }
    void reapply() override { journal_.add("keyboard look"); }

private:
    Journal& journal_;
};

// A tick that moves by `step` milliseconds on every reading.
class SteppingClock final : public platform::Clock {
public:
    std::uint64_t now_ms = 0, step = 100;
    platform::LocalTime now() override { return {}; }
    std::uint64_t tickMilliseconds() override { return now_ms += step; }
};

struct Rig {
    Journal log;
    FakeShellWindows windows{log};
    FakeHooks hooks{log};
    test::FakeProcesses processes{log};
    SteppingClock clock;
    test::FakePump pump;
    test::FakeShell shell{log};
    test::FakeSystem system;
    test::FakeTimers timers{log};
    KioskSwitches switches;
    FakeForm form{log};
    FakeBar bar{log};
    FakeKeyboard keyboard{log};
    ShellLock lock{{windows, hooks, processes, clock, pump, shell, system, timers}, [this] { return switches; }};
    Rig() {
        windows.fullShell();
        lock.setForm(&form);
        lock.setApplicationBar(&bar);
        lock.setKeyboard(&keyboard);
    }
};

TEST(ShellLock, LockingTakesThePartsInItsOrderAndNeverDisablesTheTaskBar) {
    Rig r;
    r.lock.lockDesktop(true, true);
    EXPECT_TRUE(r.log.inOrder({"run C:\\Programmi\\Ombrix\\metrokiller.exe /s style 2", "unhook mouse", "hook mouse",
                               "enable Button 0", "enable menu start 0", "enable Start 0", "show Button 0",
                               "show Start 0", "enable TrayNotifyWnd 0", "enable TrayDummySearchControl 0",
                               "show TrayDummySearchControl 0", "enable TrayButton 0", "show TrayButton 0",
                               "unhook keyboard", "hook keyboard", "show SHELLDLL_DefView 0",
                               "show Program Manager 0", "bar shown"}));
    EXPECT_EQ(r.log.count("enable Shell_TrayWnd 0"), 0);
    EXPECT_EQ(r.log.count("show menu start 0"), 0) << "the hider leaves menu start alone";
    EXPECT_EQ(r.lock.keyboardFilter(), KeyboardFilter::A);
    EXPECT_TRUE(r.lock.mouseGuarded());
    EXPECT_TRUE(r.timers.isEnabled(core::TimerId::MetroKiller));
    EXPECT_TRUE(r.timers.isEnabled(core::TimerId::NascondiDesktop));
}

TEST(ShellLock, UnlockingGivesEverythingBackInItsOrderAndEnablesTheTaskBar) {
    Rig r;
    r.switches.virtualKeyboard = true;
    r.lock.lockDesktop(true, true);
    r.log.entries.clear();
    r.lock.lockDesktop(false, false);
    EXPECT_TRUE(r.log.inOrder({"unhook mouse", "unhook keyboard", "enable Shell_TrayWnd 1", "enable TrayNotifyWnd 1",
                               "show Button 1", "show Start 1", "enable Button 1", "enable menu start 1",
                               "enable Start 1", "enable TrayDummySearchControl 1", "show TrayDummySearchControl 1",
                               "enable TrayButton 1", "show TrayButton 1", "keyboard shown",
                               "show SHELLDLL_DefView 1", "show Program Manager 1", "bar unloaded"}));
    EXPECT_EQ(r.log.count("hook keyboard") + r.log.count("hook mouse"), 0);
    for (const auto& [id, w] : r.windows.windows) {
        EXPECT_TRUE(w.enabled && w.visible) << w.className;
    }
    EXPECT_FALSE(r.timers.isEnabled(core::TimerId::NascondiDesktop)) << "a pending hiding would take the icons back";
}

TEST(ShellLock, TheProfilePairDecidesTheIconsAndTheBar) {
    struct Case {
        bool hide, lock;
        bool iconsVisible, barShown, keyboardShown;
    };
    for (const Case c : {Case{true, true, false, true, false}, Case{false, true, true, true, false},
                         Case{false, false, true, false, true}}) {
        SCOPED_TRACE(::testing::Message() << c.hide << c.lock);
        Rig r;
        r.switches.virtualKeyboard = true;
        r.lock.lockDesktop(c.hide, c.lock);
        EXPECT_EQ(r.windows.named("SHELLDLL_DefView").visible, c.iconsVisible);
        EXPECT_EQ(r.windows.named("Program Manager").visible, c.iconsVisible);
        EXPECT_EQ(r.log.count("bar shown"), c.barShown ? 1 : 0);
        EXPECT_EQ(r.log.count("keyboard shown"), c.keyboardShown ? 1 : 0);
        EXPECT_EQ(r.timers.isEnabled(core::TimerId::NascondiDesktop), c.hide);
    }
}

TEST(ShellLock, LockingTwiceLeavesOneHookInEachSlot) {
    Rig r;
    r.lock.fullScreen();
    EXPECT_EQ(r.lock.keyboardFilter(), KeyboardFilter::B);
    r.lock.lockDesktop(false, true);
    r.lock.lockDesktop(false, true);
    EXPECT_EQ(r.lock.keyboardFilter(), KeyboardFilter::A);
    EXPECT_EQ(r.log.count("hook keyboard"), 3);
    EXPECT_EQ(r.log.count("unhook keyboard"), 3);
    r.lock.releaseKeyboardHook();
    EXPECT_FALSE(r.hooks.keyboard);
}

TEST(ShellLock, KeyboardFiltersSwapTheirGates) {
    struct Case {
        KeyboardFilter filter;
        bool startDisabled, fullScreen;
        std::uint32_t key;
        bool swallowed;
    };
    const Case cases[] = {
        {KeyboardFilter::A, false, false, kVkEscape, true},  {KeyboardFilter::A, false, false, kVkLeftWin, true},
        {KeyboardFilter::A, false, false, kVkRightWin, true}, {KeyboardFilter::A, false, false, kVkApps, true},
        {KeyboardFilter::A, false, false, kVkF4, false},     {KeyboardFilter::A, false, true, kVkF4, true},
        {KeyboardFilter::A, true, true, 'A', false},         {KeyboardFilter::A, true, true, 0x0D, false},
        {KeyboardFilter::B, false, false, kVkF4, true},      {KeyboardFilter::B, false, false, kVkEscape, false},
        {KeyboardFilter::B, false, false, kVkLeftWin, false}, {KeyboardFilter::B, true, false, kVkEscape, true},
        {KeyboardFilter::B, true, false, kVkApps, true},     {KeyboardFilter::B, true, true, 'W', false},
        {KeyboardFilter::None, true, true, kVkEscape, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << static_cast<int>(c.filter) << c.startDisabled << c.fullScreen << " key "
                                          << c.key);
        EXPECT_EQ(filterSwallows(c.filter, c.key, {false, c.startDisabled, c.fullScreen, false}), c.swallowed);
    }
    // The installed hook decides with the switches of its installation.
    Rig r;
    r.switches.fullScreen = true;
    r.lock.lockDesktop(false, true);
    EXPECT_TRUE(r.hooks.keyboard(kVkF4));
    EXPECT_FALSE(r.hooks.keyboard('Q'));
}

TEST(ShellLock, MouseGuardCases) {
    // The notification area spans (900,700)-(1000,740).
    struct Case {
        std::uint32_t message;
        Point at;
        std::string stateBefore;
        std::vector<std::string> steps;
        std::string stateAfter;
    };
    const Case cases[] = {
        {kLeftDown, {899, 720}, "1", {"enable Shell_TrayWnd 1"}, "0"},
        {kLeftDown, {950, 699}, "1", {"enable Shell_TrayWnd 1"}, "0"},
        {kLeftDown, {950, 720}, "0", {"enable Shell_TrayWnd 0"}, "0"},
        {kLeftDown, {950, 720}, "1", {"enable Shell_TrayWnd 0", "form back at 2890,4000"}, "0"},
        {kLeftUp, {950, 720}, "1", {"enable Shell_TrayWnd 0", "enable OmbrixForm 1"}, "1"},
        {kRightDown, {10, 10}, "0", {"enable Shell_TrayWnd 0", "enable OmbrixForm 0"}, "0"},
        {kRightUp, {10, 10}, "0", {"enable Shell_TrayWnd 0", "enable OmbrixForm 0"}, "0"},
        {kLeftDoubleClick, {950, 720}, "1", {}, "1"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << std::hex << c.message << std::dec << " at " << c.at.x << "," << c.at.y);
        Rig r;
        r.windows.active = r.windows.add("OmbrixForm");
        r.switches.virtualKeyboard = true;
        r.lock.lockDesktop(false, true);
        r.form.state = c.stateBefore;
        r.log.entries.clear();
        r.hooks.mouse({c.message, c.at});
        EXPECT_EQ(r.log.entries.front(), "keyboard look");
        const std::vector<std::string> steps(r.log.entries.begin() + 1, r.log.entries.end());
        EXPECT_EQ(steps, c.steps);
        EXPECT_EQ(r.form.state, c.stateAfter);
    }
}

TEST(ShellLock, AStartButtonTheShellShowsAgainIsHiddenWhileLocked) {
    Rig r;
    r.lock.keepStartHidden();
    EXPECT_TRUE(r.log.entries.empty()) << "unlocked, nothing is touched";
    r.lock.lockDesktop(false, true);
    r.windows.windows[r.windows.find("Shell_TrayWnd", "") + 1].visible = true;  // its Start button
    r.log.entries.clear();
    r.lock.keepStartHidden();
    EXPECT_EQ(r.log.entries, std::vector<std::string>{"show Button 0"}) << "only what the shell showed again";

    r.lock.lockDesktop(false, false);
    r.log.entries.clear();
    r.lock.keepStartHidden();
    EXPECT_TRUE(r.log.entries.empty());
}

TEST(ShellLock, ShellWithoutIconsArmsTheDesktopTimerAgain) {
    Rig r;
    r.windows.windows.erase(r.windows.find("Progman", "Program Manager") + 1);
    r.lock.hideDesktopIcons(false);
    EXPECT_FALSE(r.timers.isEnabled(core::TimerId::NascondiDesktop)) << "only hiding tries again";
    r.lock.hideDesktopIcons(true);
    EXPECT_TRUE(r.timers.isEnabled(core::TimerId::NascondiDesktop));
    EXPECT_EQ(r.log.count("show Program Manager 0"), 1) << "the window found by title is hidden all the same";

    r.lock.tickNascondiDesktop();
    EXPECT_TRUE(r.log.inOrder({"tmrNancondiDesktop off", "tmrNancondiDesktop on"})) << "still none: armed again";
}

TEST(ShellLock, MetroKillerTimerRunsOnlyOnItsVersions) {
    struct Case {
        int major, minor;
        bool runs;
    };
    for (const Case c : {Case{6, 1, false}, Case{6, 2, true}, Case{6, 3, true}, Case{9, 2, true}, Case{10, 0, false},
                         Case{10, 2, false}, Case{5, 2, false}}) {
        SCOPED_TRACE(::testing::Message() << c.major << "." << c.minor);
        Rig r;
        r.system.major = c.major;
        r.system.minor = c.minor;
        r.timers.setEnabled(core::TimerId::MetroKiller, true);
        r.lock.tickMetroKiller();
        EXPECT_FALSE(r.timers.isEnabled(core::TimerId::MetroKiller));
        EXPECT_EQ(r.log.count("run C:\\Programmi\\Ombrix\\metrokiller.exe /s style 2"), c.runs ? 1 : 0);
    }
}

TEST(ShellLock, WholeSecondsRoundHalvesToEven) {
    EXPECT_EQ(wholeSeconds(2499), 2);
    EXPECT_EQ(wholeSeconds(2500), 2);
    EXPECT_EQ(wholeSeconds(2501), 3);
    EXPECT_EQ(wholeSeconds(3500), 4);
    EXPECT_EQ(wholeSeconds(10500), 10);
    EXPECT_EQ(wholeSeconds(10501), 11);
}

TEST(ShellLock, ShellRestartEndsTheShellWaitsAndStartsItFromTheProgramsDrive) {
    struct Case {
        std::string folder, command;
    };
    for (const Case& c : {Case{"D:\\Ombrix", "run explorer.exe D:\\windows\\explorer.exe style 2"},
                          Case{"\\\\server\\share\\Ombrix", "run explorer.exe c:\\windows\\explorer.exe style 2"}}) {
        SCOPED_TRACE(c.folder);
        Rig r;
        r.system.folder = c.folder;
        r.processes.start("explorer.exe", 2);
        int pumped = 0;
        r.pump.during = [&] { ++pumped; };
        r.lock.restartShell();
        EXPECT_TRUE(r.log.inOrder({"kill explorer.exe", "kill explorer.exe", "kill explorer.exe", c.command}));
        // 100 ms a reading: the pause alone (more than 2 whole seconds) is 26 pumps.
        EXPECT_GE(pumped, 26) << "the waits let the program run";
    }
}

TEST(ShellLock, ShellRestartGivesUpOnAShellThatWillNotEnd) {
    Rig r;
    r.processes.start("explorer.exe", -1);
    r.clock.step = 1000;
    r.lock.restartShell();
    // More than 10 whole seconds at one second a reading: eleven rounds, and
    // the one more termination.
    EXPECT_EQ(r.log.count("kill explorer.exe"), 12);
    EXPECT_EQ(r.log.count("run explorer.exe C:\\windows\\explorer.exe style 2"), 1);
}

}  // namespace
}  // namespace ombrix::lockdown

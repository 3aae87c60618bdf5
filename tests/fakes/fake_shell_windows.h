#pragma once
// The shell of the later versions. Calls land in the journal as "enable NAME 0/1" and "show NAME 0/1",
// NAME the title or else the class, "none" for window 0; hooks, the form, the bar and the keyboard likewise.
#include <tuple>

#include "core/application_bar_window.h"
#include "fakes/fake_controller.h"
#include "lockdown/shell_lock.h"
#include "platform/text.h"

namespace ombrix::test {

struct FakeShellWindows final : lockdown::ShellWindows, lockdown::InputHooks, lockdown::GuardedForm,
                                 core::ApplicationBar {
    struct Win {
        std::string cls, title;
        platform::WindowId parent = 0;
        bool enabled = true, visible = true;
        lockdown::Rect rect{};
    };
    Journal& log;
    std::map<platform::WindowId, Win> w;
    std::string state = "0";
    std::function<bool(std::uint32_t)> keyboard;
    std::function<void(const lockdown::MouseEvent&)> mouse;  // inside the hook
    int lookups = 0;  // windows found or measured
    explicit FakeShellWindows(Journal& j) : log(j) {
        const std::tuple<const char*, const char*, platform::WindowId> kDesktop[] = {
            {"Shell_TrayWnd", "", 0}, {"Button", "", 1}, {"TrayNotifyWnd", "", 1}, {"TrayDummySearchControl", "", 1},
            {"TrayButton", "", 1}, {"ImmersiveLauncher", "Start", 0}, {"DV2ControlHost", "menu start", 0},
            {"Progman", "Program Manager", 0}, {"SHELLDLL_DefView", "", 8}, {"OmbrixForm", "", 0}};  // ids 1 to 10
        platform::WindowId id = 0;
        for (const auto& [cls, title, parent] : kDesktop) w[++id] = {cls, title, parent};
        w[3].rect = {900, 700, 1000, 740};
    }
    std::string name(platform::WindowId id) { return id == 0 ? "none" : w[id].title.empty() ? w[id].cls : w[id].title; }
    platform::WindowId find(std::optional<std::string_view> c, std::optional<std::string_view> t) override {
        ++lookups;
        for (const auto& [id, x] : w) if (x.parent == 0 && (!c || *c == x.cls) && (!t || equalsNoCase(*t, x.title))) return id;
        return 0;
    }
    platform::WindowId findChild(platform::WindowId parent, std::string_view c) override {
        ++lookups;
        for (const auto& [id, x] : w) if (parent && x.parent == parent && x.cls == c) return id;
        return 0;
    }
    platform::WindowId firstChild(platform::WindowId window) override { return window ? findChild(window, "SHELLDLL_DefView") : 0; }
    void enable(platform::WindowId id, bool on) override {
        log.add("enable " + name(id) + (on ? " 1" : " 0"));
        if (id) w[id].enabled = on;
    }
    void show(platform::WindowId id, bool on) override {
        log.add("show " + name(id) + (on ? " 1" : " 0"));
        if (id) w[id].visible = on;
    }
    bool visible(platform::WindowId id) override { return id && w[id].visible; }
    lockdown::Rect rect(platform::WindowId id) override { return ++lookups, id ? w[id].rect : lockdown::Rect{}; }
    platform::WindowId activeWindow() override { return 10; }  // the program's own form
    bool installKeyboard(std::function<bool(std::uint32_t)> f) override {
        EXPECT_FALSE(keyboard) << "the slot was not emptied first";
        return log.add("hook keyboard"), keyboard = std::move(f), true;
    }
    void removeKeyboard() override { log.add("unhook keyboard"), keyboard = nullptr; }
    bool installMouse(std::function<void(const lockdown::MouseEvent&)> f,
                      std::function<void(const lockdown::MouseEvent&)>) override {
        EXPECT_FALSE(mouse) << "the slot was not emptied first";
        return log.add("hook mouse"), mouse = std::move(f), true;
    }
    void removeMouse() override { log.add("unhook mouse"), mouse = nullptr; }
    std::string stateField() override { return state; }
    void setStateField(const std::string& v) override { state = v; }
    void bringBack(int x, int y) override { log.add("form at " + std::to_string(x) + "," + std::to_string(y)); }
    void show() override { log.add("bar shown"); }
    void unload() override { log.add("bar unloaded"); }
};

}  // namespace ombrix::test

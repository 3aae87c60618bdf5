#pragma once
// What the shell lockdown asks of the machine: the shell's windows by class
// and title, and two low-level input hook slots.

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>

#include "platform/windows.h"

namespace ombrix::lockdown {

using platform::WindowId;

struct Point {
    long x = 0, y = 0;
};
struct Rect {
    long left = 0, top = 0, right = 0, bottom = 0;
};

class ShellWindows {
public:
    virtual ~ShellWindows() = default;
    // A top-level window (FindWindow); nullopt matches any class or title,
    // an empty title only a window without one.
    [[nodiscard]] virtual WindowId find(std::optional<std::string_view> className,
                                        std::optional<std::string_view> title) = 0;
    // The first child of this class, whatever its title (FindWindowEx).
    [[nodiscard]] virtual WindowId findChild(WindowId parent, std::string_view className) = 0;
    // GW_CHILD.
    [[nodiscard]] virtual WindowId firstChild(WindowId window) = 0;
    // Window 0 is passed on: the call fails, as on a shell without that window.
    virtual void enable(WindowId window, bool enabled) = 0;
    virtual void show(WindowId window, bool visible) = 0;
    [[nodiscard]] virtual Rect rect(WindowId window) = 0;
    // The program's own active window (GetActiveWindow).
    [[nodiscard]] virtual WindowId activeWindow() = 0;
    [[nodiscard]] virtual bool visible(WindowId window) = 0;
};

// WM_ mouse messages the guard tells apart.
inline constexpr std::uint32_t kLeftDown = 0x201;
inline constexpr std::uint32_t kLeftUp = 0x202;
inline constexpr std::uint32_t kLeftDoubleClick = 0x203;
inline constexpr std::uint32_t kRightDown = 0x204;
inline constexpr std::uint32_t kRightUp = 0x205;

struct MouseEvent {
    std::uint32_t message = 0;
    Point point;  // screen coordinates
};

// The task bar as the mouse guard holds it between refreshes: the hook
// decides from this alone and never looks a window up.
struct GuardArea {
    WindowId taskbar = 0;
    Rect notifyArea;  // empty at the origin when the task bar has none
};

// One keyboard slot and one mouse slot; installing into a taken slot is the
// caller's mistake, so every installer empties its slot first.
class InputHooks {
public:
    virtual ~InputHooks() = default;
    // `swallow` runs inside the hook for every key event (nCode 0), down and
    // up alike: it must decide at once and touch nothing.
    virtual bool installKeyboard(std::function<bool(std::uint32_t virtualKey)> swallow) = 0;
    virtual void removeKeyboard() = 0;
    // For each click (nCode 0), `guard` runs inside the hook, before the
    // click reaches any window: it must decide at once from what it holds.
    // `afterwards` runs from the message loop once the hook has returned,
    // for what may take longer.
    virtual bool installMouse(std::function<void(const MouseEvent&)> guard,
                              std::function<void(const MouseEvent&)> afterwards) = 0;
    virtual void removeMouse() = 0;
};

}  // namespace ombrix::lockdown

#pragma once
// Top-level windows of the desktop, other programs' included.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ombrix::platform {

// A window handle as a number; 0 is no window.
using WindowId = std::uintptr_t;

// ShowWindow commands the program uses.
enum class ShowCommand { Hide = 0, Normal = 1, Minimized = 2, Maximized = 3, NoActivate = 4, Show = 5, Minimize = 6, Restore = 9 };

class WindowSystem {
public:
    virtual ~WindowSystem() = default;
    // For each title, the front-most top-level window with exactly that
    // title, compared without case; 0 when none, and for an empty title.
    // One walk of the desktop serves the whole list.
    [[nodiscard]] virtual std::vector<WindowId> findByTitles(const std::vector<std::string>& titles) = 0;
    // The next top-level window of this class after `after` (0: the first).
    [[nodiscard]] virtual WindowId findByClass(std::string_view className, WindowId after) = 0;
    [[nodiscard]] virtual std::vector<WindowId> topLevelWindows() = 0;
    [[nodiscard]] virtual std::string title(WindowId window) = 0;
    virtual void show(WindowId window, ShowCommand command) = 0;
    virtual void postClose(WindowId window) = 0;
    // HWND_TOPMOST / HWND_NOTOPMOST without moving, sizing or activating.
    virtual void setTopmost(WindowId window, bool topmost) = 0;
    // The process that made the window; 0 when it cannot be told.
    [[nodiscard]] virtual std::uint32_t processId(WindowId) { return 0; }
};

}  // namespace ombrix::platform

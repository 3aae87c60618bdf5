#pragma once
// The accessibility layer as the address readers see it: find the first
// element under a top-level window whose accessible name (or help text) is
// exactly a given text, then read its value and keyboard focus. UI Automation
// and MSAA both sit behind this; the name, help and value are the
// LegacyIAccessible ones, which are the MSAA ones.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/windows.h"

namespace ombrix::platform {

// AutomationId is UI Automation's own: MSAA has none, and finds nothing by it.
enum class AccessibleText { Name, Help, AutomationId };

struct AccessibleQuery {
    AccessibleText property = AccessibleText::Name;
    std::string text;       // compared exactly, case included
    bool editOnly = false;  // and the element must be an edit control

    bool operator==(const AccessibleQuery&) const = default;
};

// One element found by a search. It may outlive what it stands for (the
// browser closes, the page rebuilds its tool bar): then its reads fail.
class AccessibleElement {
public:
    virtual ~AccessibleElement() = default;
    // The value; "" for an element without one; nullopt when the element is gone.
    [[nodiscard]] virtual std::optional<std::string> value() = 0;
    // nullopt when the element is gone.
    [[nodiscard]] virtual std::optional<bool> hasKeyboardFocus() = 0;
};

class Accessibility {
public:
    virtual ~Accessibility() = default;
    // The top-level windows, front first, visible or not: the children of the
    // desktop element are the visible ones among them, and a search from the
    // desktop walks them in this order. Asking each window whether it shows
    // costs a call to another process, so the caller asks only of the windows
    // it would search.
    [[nodiscard]] virtual std::vector<WindowId> desktopWindows() = 0;
    [[nodiscard]] virtual bool isVisible(WindowId window) = 0;
    // The first descendant of the window, in tree order, that matches; null when
    // none (or the window is gone, or the layer fails).
    [[nodiscard]] virtual std::unique_ptr<AccessibleElement> findFirst(WindowId window, const AccessibleQuery& query) = 0;
    // The user's default user-interface language (a Windows LANGID; 0 unknown).
    // The browsers name their controls in it.
    [[nodiscard]] virtual std::uint16_t userInterfaceLanguage() = 0;
};

}  // namespace ombrix::platform

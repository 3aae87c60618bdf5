#include "enforce/win32/accessibility_win32.h"

#include <windows.h>

#include "platform/failures.h"

namespace ombrix::win32 {
namespace {

BOOL CALLBACK collect(HWND window, LPARAM out) {
    try {
        reinterpret_cast<std::vector<platform::WindowId>*>(out)->push_back(reinterpret_cast<platform::WindowId>(window));
        return TRUE;
    } catch (...) {
        platform::recordCurrentFailure();
        return FALSE;  // nothing throws through the system's callback
    }
}

}  // namespace

// In z-order: one request for the whole list. EnumWindows gives the same
// list but asks after every window once more before handing it on, which at
// twenty reads a second was most of what a read cost.
std::vector<platform::WindowId> CountedAccessibility::desktopWindows() {
    std::vector<platform::WindowId> windows;
    windows.reserve(64);
    EnumDesktopWindows(nullptr, collect, reinterpret_cast<LPARAM>(&windows));
    return windows;
}

bool CountedAccessibility::isVisible(platform::WindowId window) {
    return IsWindowVisible(reinterpret_cast<HWND>(window)) != FALSE;
}

std::uint16_t CountedAccessibility::userInterfaceLanguage() { return GetUserDefaultUILanguage(); }

std::unique_ptr<CountedAccessibility> makeAccessibility(AccessibilityChoice choice) {
    if (choice == AccessibilityChoice::Automatic) {
        if (auto automation = makeUiAutomation()) return automation;
    }
    return makeMsaa();
}

}  // namespace ombrix::win32

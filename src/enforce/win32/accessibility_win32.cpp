#include "enforce/win32/accessibility_win32.h"

#include <windows.h>

#include "platform/failures.h"

namespace ombrix::win32 {
namespace {

BOOL CALLBACK collectVisible(HWND window, LPARAM out) {
    if (!IsWindowVisible(window)) return TRUE;
    try {
        reinterpret_cast<std::vector<platform::WindowId>*>(out)->push_back(reinterpret_cast<platform::WindowId>(window));
        return TRUE;
    } catch (...) {
        platform::recordCurrentFailure();
        return FALSE;  // nothing throws through the system's callback
    }
}

}  // namespace

// The desktop element's children are the visible top-level windows, in
// z-order like EnumWindows gives them.
std::vector<platform::WindowId> CountedAccessibility::desktopWindows() {
    std::vector<platform::WindowId> windows;
    windows.reserve(64);
    EnumWindows(collectVisible, reinterpret_cast<LPARAM>(&windows));
    return windows;
}

std::uint16_t CountedAccessibility::userInterfaceLanguage() { return GetUserDefaultUILanguage(); }

std::unique_ptr<CountedAccessibility> makeAccessibility(AccessibilityChoice choice) {
    if (choice == AccessibilityChoice::Automatic) {
        if (auto automation = makeUiAutomation()) return automation;
    }
    return makeMsaa();
}

}  // namespace ombrix::win32

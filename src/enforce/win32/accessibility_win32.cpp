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

// In z-order, as EnumWindows gives them: one request for the whole list.
std::vector<platform::WindowId> CountedAccessibility::desktopWindows() {
    std::vector<platform::WindowId> windows;
    windows.reserve(64);
    EnumWindows(collect, reinterpret_cast<LPARAM>(&windows));
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

#include "lockdown/win32/shell_win32.h"

#include <windowsx.h>

#include <optional>

#include "platform/failures.h"
#include "platform/win32/wide.h"

namespace ombrix::win32 {
namespace {

constexpr UINT kMouseEventMessage = WM_APP + 61;
InputHooksWin32* g_hooks = nullptr;

HWND hwnd(lockdown::WindowId id) { return reinterpret_cast<HWND>(id); }
lockdown::WindowId idOf(HWND window) { return reinterpret_cast<lockdown::WindowId>(window); }

std::optional<std::wstring> wide(std::optional<std::string_view> text) {
    if (!text) return std::nullopt;
    return toWide(*text);
}

// Empties the slot first: one hook per slot.
bool installHook(UniqueHook& slot, int kind, HOOKPROC procedure, platform::TraceText failure) {
    slot.reset();
    slot.reset(SetWindowsHookExW(kind, procedure, GetModuleHandleW(nullptr), 0));
    if (!slot) platform::recordFailure(failure, {}, {GetLastError()});
    return static_cast<bool>(slot);
}

}  // namespace

lockdown::WindowId ShellWindowsWin32::find(std::optional<std::string_view> className,
                                           std::optional<std::string_view> title) {
    const auto c = wide(className);
    const auto t = wide(title);
    return idOf(FindWindowW(c ? c->c_str() : nullptr, t ? t->c_str() : nullptr));
}

lockdown::WindowId ShellWindowsWin32::findChild(lockdown::WindowId parent, std::string_view className) {
    if (parent == 0) return 0;  // 0 would search the top-level windows
    return idOf(FindWindowExW(hwnd(parent), nullptr, toWide(className).c_str(), nullptr));
}

lockdown::WindowId ShellWindowsWin32::firstChild(lockdown::WindowId window) {
    return window == 0 ? 0 : idOf(GetWindow(hwnd(window), GW_CHILD));
}

void ShellWindowsWin32::enable(lockdown::WindowId window, bool enabled) {
    if (window != 0) EnableWindow(hwnd(window), enabled ? TRUE : FALSE);
}

void ShellWindowsWin32::show(lockdown::WindowId window, bool visible) {
    // The shell's windows are another program's: a shell that hangs must
    // not hang this one.
    if (window != 0) ShowWindowAsync(hwnd(window), visible ? SW_SHOW : SW_HIDE);
}

lockdown::Rect ShellWindowsWin32::rect(lockdown::WindowId window) {
    RECT r{};
    if (window != 0) GetWindowRect(hwnd(window), &r);
    return {r.left, r.top, r.right, r.bottom};
}

lockdown::WindowId ShellWindowsWin32::activeWindow() { return idOf(GetActiveWindow()); }

bool ShellWindowsWin32::visible(lockdown::WindowId window) { return window != 0 && IsWindowVisible(hwnd(window)); }

InputHooksWin32::InputHooksWin32() {
    WNDCLASSW wc{};
    wc.lpfnWndProc = &InputHooksWin32::windowProc;
    wc.hInstance = GetModuleHandleW(nullptr);
    wc.lpszClassName = L"OmbrixInputHooks";
    RegisterClassW(&wc);
    mailbox_.reset(CreateWindowExW(0, wc.lpszClassName, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, wc.hInstance,
                                   nullptr));
    g_hooks = this;
}

InputHooksWin32::~InputHooksWin32() {
    keyboard_.reset();
    mouse_.reset();
    if (g_hooks == this) g_hooks = nullptr;
}

bool InputHooksWin32::installKeyboard(std::function<bool(std::uint32_t)> swallow) {
    keyboard_.reset();
    swallow_ = std::move(swallow);
    return installHook(keyboard_, WH_KEYBOARD_LL, &InputHooksWin32::keyboardProc,
                       "the keyboard filter could not be installed");
}

void InputHooksWin32::removeKeyboard() { keyboard_.reset(); }

bool InputHooksWin32::installMouse(std::function<void(const lockdown::MouseEvent&)> guard,
                                   std::function<void(const lockdown::MouseEvent&)> afterwards) {
    mouse_.reset();
    guard_ = std::move(guard);
    afterwards_ = std::move(afterwards);
    return installHook(mouse_, WH_MOUSE_LL, &InputHooksWin32::mouseProc, "the mouse guard could not be installed");
}

void InputHooksWin32::removeMouse() { mouse_.reset(); }

LRESULT CALLBACK InputHooksWin32::keyboardProc(int code, WPARAM wp, LPARAM lp) {
    if (code == HC_ACTION && g_hooks && g_hooks->keyboard_ && g_hooks->swallow_) {
        const auto* key = reinterpret_cast<const KBDLLHOOKSTRUCT*>(lp);
        const std::uint32_t vk = key->vkCode;
        if (platform::guarded([&] { return g_hooks->swallow_(vk); }, false)) return 1;
    }
    return CallNextHookEx(nullptr, code, wp, lp);
}

LRESULT CALLBACK InputHooksWin32::mouseProc(int code, WPARAM wp, LPARAM lp) {
    if (code != HC_ACTION) return CallNextHookEx(nullptr, code, wp, lp);
    // Only the clicks the guard tells apart: a move is most of the traffic.
    if (g_hooks && g_hooks->mouse_ && wp >= WM_LBUTTONDOWN && wp <= WM_RBUTTONUP) {
        const auto* mouse = reinterpret_cast<const MSLLHOOKSTRUCT*>(lp);
        const lockdown::MouseEvent event{static_cast<std::uint32_t>(wp), {mouse->pt.x, mouse->pt.y}};
        if (g_hooks->guard_) platform::guarded([&] { g_hooks->guard_(event); });
        if (g_hooks->mailbox_) {
            PostMessageW(g_hooks->mailbox_.get(), kMouseEventMessage, wp,
                         MAKELPARAM(static_cast<WORD>(mouse->pt.x), static_cast<WORD>(mouse->pt.y)));
        }
    }
    // The click goes on to its window, but no hook installed before the lock
    // sees it: another program's hook has nothing to act on while locked.
    return 0;
}

LRESULT CALLBACK InputHooksWin32::windowProc(HWND window, UINT msg, WPARAM wp, LPARAM lp) {
    if (msg == kMouseEventMessage) {
        if (g_hooks && g_hooks->mouse_ && g_hooks->afterwards_) {
            const lockdown::MouseEvent event{static_cast<std::uint32_t>(wp), {GET_X_LPARAM(lp), GET_Y_LPARAM(lp)}};
            platform::guarded([&] { g_hooks->afterwards_(event); });
        }
        return 0;
    }
    return DefWindowProcW(window, msg, wp, lp);
}

}  // namespace ombrix::win32

#include "support/win32/notify_icon.h"

#include "platform/failures.h"
#include "support/win32/hidden_window.h"

#include <commctrl.h>
#include <shellapi.h>
#include <shlwapi.h>

#include <cstring>

namespace ombrix::win32 {
namespace {

constexpr UINT_PTR kSubclassId = 1;
constexpr UINT kIconId = 1;

tray::Layout shellLayout() {
    // The version of the shell's own library decides which structure it knows.
    HMODULE shell = GetModuleHandleW(L"shell32.dll");
    if (!shell) shell = LoadLibraryW(L"shell32.dll");
    using DllGetVersionFn = HRESULT(CALLBACK*)(DLLVERSIONINFO*);
    auto fn = shell ? reinterpret_cast<DllGetVersionFn>(reinterpret_cast<void*>(GetProcAddress(shell, "DllGetVersion")))
                    : nullptr;
    DLLVERSIONINFO info{};
    info.cbSize = sizeof info;  // 20 bytes
    if (!fn || FAILED(fn(&info))) return tray::Layout::Oldest;
    return tray::layoutForShell(info.dwMajorVersion, info.dwMinorVersion);
}

// The fields every call shares, in either layout's structure.
template <typename Data>
Data iconData(DWORD size, HWND window, UINT flags, HICON icon) {
    Data data{};
    data.cbSize = size;
    data.hWnd = window;
    data.uID = kIconId;
    data.uFlags = flags;
    data.uCallbackMessage = tray::kCallbackMessage;
    data.hIcon = icon;
    return data;
}

}  // namespace

NotifyIcon::NotifyIcon() : window_(createHiddenWindow(L"OmbrixNotifyIcon")), layout_(shellLayout()) {
    taskbarCreated_ = RegisterWindowMessageW(L"TaskbarCreated");
}

NotifyIcon::~NotifyIcon() {
    Hide();
    if (subclassed_) RemoveWindowSubclass(window_.get(), &NotifyIcon::SubclassProc, kSubclassId);
}

bool NotifyIcon::call(DWORD message, UINT flags) {
    const std::wstring tip = tray::cutTip(tip_, layout_);
    if (layout_ == tray::Layout::Oldest) {
        auto data = iconData<NOTIFYICONDATAA>(NOTIFYICONDATAA_V1_SIZE, window_.get(), flags, icon_);
        WideCharToMultiByte(CP_ACP, 0, tip.c_str(), -1, data.szTip, 64, nullptr, nullptr);
        return Shell_NotifyIconA(message, &data) != FALSE;
    }
    auto data = iconData<NOTIFYICONDATAW>(NOTIFYICONDATAW_V2_SIZE, window_.get(), flags, icon_);
    wcsncpy(data.szTip, tip.c_str(), 127);
    return Shell_NotifyIconW(message, &data) != FALSE;
}

// Icon and tip as they are now. Where balloons exist the info flag goes too:
// with an empty balloon text it clears a balloon still on show.
bool NotifyIcon::update(DWORD message) { return call(message, tray::addFlags(layout_)); }

void NotifyIcon::setIcon(HICON icon) {
    icon_ = icon;
    if (shown_) update(NIM_MODIFY);
}

void NotifyIcon::setToolTip(const std::wstring& tip) {
    tip_ = tray::cutTip(tip, layout_);
    if (shown_) update(NIM_MODIFY);
}

bool NotifyIcon::Show() {
    lastError_.clear();
    if (!window_) {
        lastError_ = "no window for the notification icon";
        return false;
    }
    if (!subclassed_) {
        subclassed_ = SetWindowSubclass(window_.get(), &NotifyIcon::SubclassProc, kSubclassId,
                                        reinterpret_cast<DWORD_PTR>(this)) != FALSE;
        if (!subclassed_) {
            lastError_ = "Requires COMCTL32.DLL 4.72 or later";
            return false;
        }
    }
    shown_ = update(NIM_ADD);
    return shown_;
}

bool NotifyIcon::Hide() {
    if (!shown_) return true;
    const bool ok = call(NIM_DELETE, 0);
    if (ok) shown_ = false;
    return ok;
}

bool NotifyIcon::BalloonShow(const std::wstring& title, const std::wstring& text, DWORD iconKind, UINT timeoutMs) {
    if (!tray::balloonsAvailable(layout_) || !shown_) return false;
    NOTIFYICONDATAW data{};
    data.cbSize = NOTIFYICONDATAW_V2_SIZE;
    data.hWnd = window_.get();
    data.uID = kIconId;
    data.uFlags = NIF_INFO;
    wcsncpy(data.szInfo, text.c_str(), 255);
    wcsncpy(data.szInfoTitle, title.c_str(), 63);
    data.dwInfoFlags = iconKind;
    data.uTimeout = timeoutMs;
    return Shell_NotifyIconW(NIM_MODIFY, &data) != FALSE;
}

bool NotifyIcon::BalloonHide() { return BalloonShow(L"", L"", NIIF_NONE, 0); }

void NotifyIcon::MinimizeToTray(HWND owner) {
    if (!shown_) Show();
    ShowWindow(owner, SW_HIDE);
}

void NotifyIcon::Restore(HWND owner) {
    ShowWindow(owner, SW_SHOWNORMAL);
    SetForeground(owner);
}

void NotifyIcon::SetForeground(HWND owner) { SetForegroundWindow(owner); }

LRESULT CALLBACK NotifyIcon::SubclassProc(HWND hwnd, UINT msg, WPARAM wp, LPARAM lp, UINT_PTR, DWORD_PTR data) {
    auto* self = reinterpret_cast<NotifyIcon*>(data);
    if (msg == tray::kCallbackMessage) {
        const tray::Event e = tray::decode(static_cast<unsigned long>(lp));
        if (e != tray::Event::None && self->onEvent) {
            // Nothing crosses the shell's callback.
            platform::guarded([&] { self->onEvent(e); });
        }
        return 0;
    }
    if (msg == self->taskbarCreated_ && self->shown_) {
        // The shell restarted: the icon has to be added again.
        self->shown_ = false;
        self->Show();
        return 0;
    }
    return DefSubclassProc(hwnd, msg, wp, lp);
}

}  // namespace ombrix::win32

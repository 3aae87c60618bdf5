#pragma once
// The notification-area icon: wraps the shell's tray call with balloon tips
// and turns the shell's callback messages into events. It owns a hidden
// window whose messages it intercepts by subclassing.

#include <windows.h>

#include <functional>
#include <string>

#include "platform/win32/handles.h"
#include "support/win32/tray_rules.h"

namespace ombrix::win32 {

class NotifyIcon {
public:
    NotifyIcon();
    ~NotifyIcon();

    // Properties.
    [[nodiscard]] HICON Icon() const { return icon_; }
    void setIcon(HICON icon);
    [[nodiscard]] bool Shown() const { return shown_; }
    [[nodiscard]] const std::wstring& ToolTip() const { return tip_; }
    // Cut to the layout's field; sent to the shell only while shown.
    void setToolTip(const std::wstring& tip);

    // Operations.
    bool BalloonShow(const std::wstring& title, const std::wstring& text, DWORD iconKind, UINT timeoutMs);
    bool BalloonHide();
    bool Show();
    bool Hide();
    // Moves the owning form between the screen and the notification area.
    void MinimizeToTray(HWND owner);
    void Restore(HWND owner);
    void SetForeground(HWND owner);

    // Raised for every mouse and balloon event on the icon.
    std::function<void(tray::Event)> onEvent;

    [[nodiscard]] tray::Layout layout() const { return layout_; }
    [[nodiscard]] HWND window() const { return window_.get(); }
    // Why Show failed the last time ("" when it did not).
    [[nodiscard]] const std::string& lastError() const { return lastError_; }

private:
    static LRESULT CALLBACK SubclassProc(HWND hwnd, UINT msg, WPARAM wp, LPARAM lp, UINT_PTR id, DWORD_PTR data);
    bool call(DWORD message, UINT flags);
    bool update(DWORD message);

    UniqueWindow window_;
    HICON icon_ = nullptr;
    std::wstring tip_;
    bool shown_ = false;
    bool subclassed_ = false;
    tray::Layout layout_ = tray::Layout::WithBalloons;
    UINT taskbarCreated_ = 0;
    std::string lastError_;
};

}  // namespace ombrix::win32

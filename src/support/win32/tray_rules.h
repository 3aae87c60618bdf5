#pragma once
// The rules of the notification-area icon: the structure layout chosen from
// the shell's version, the tip cut, and what a callback message means.

#include <windows.h>

#include <cstddef>
#include <string>

namespace ombrix::tray {

// The private message the shell posts for every mouse and balloon event: the
// top of the application range.
inline constexpr unsigned kCallbackMessage = WM_APP + 8191;

// The two layouts of the shell structure: with balloon fields (shell 5.0 and
// later) or the oldest one (no balloons, 64-character tip).
enum class Layout { WithBalloons, Oldest };

[[nodiscard]] Layout layoutForShell(unsigned major, unsigned minor);
// Add and modify flags: message, icon, tip, and info with balloons .
[[nodiscard]] unsigned addFlags(Layout layout);
// The tip as the shell gets it: 127 characters with balloons, 63 without.
[[nodiscard]] std::wstring cutTip(const std::wstring& tip, Layout layout);
[[nodiscard]] inline bool balloonsAvailable(Layout layout) { return layout == Layout::WithBalloons; }

enum class Event {
    None,
    MouseMove,
    LeftDown, LeftUp, LeftDoubleClick,
    RightDown, RightUp, RightDoubleClick,
    MiddleDown, MiddleUp, MiddleDoubleClick,
    BalloonShown, BalloonHidden, BalloonTimedOut, BalloonClicked,
};

// The event of a callback message's lParam: mouse messages and the
// balloon notifications.
[[nodiscard]] Event decode(unsigned long lParam);

}  // namespace ombrix::tray

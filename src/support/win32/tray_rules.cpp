#include "support/win32/tray_rules.h"

#include <windows.h>

#include <shellapi.h>

namespace ombrix::tray {

Layout layoutForShell(unsigned major, unsigned /*minor*/) { return major >= 5 ? Layout::WithBalloons : Layout::Oldest; }

unsigned addFlags(Layout layout) {
    const unsigned base = NIF_MESSAGE | NIF_ICON | NIF_TIP;
    return layout == Layout::WithBalloons ? base | NIF_INFO : base;
}

std::wstring cutTip(const std::wstring& tip, Layout layout) {
    const std::size_t limit = layout == Layout::WithBalloons ? 127 : 63;
    return tip.size() > limit ? tip.substr(0, limit) : tip;
}

Event decode(unsigned long lParam) {
    switch (lParam) {
        case WM_MOUSEMOVE: return Event::MouseMove;
        case WM_LBUTTONDOWN: return Event::LeftDown;
        case WM_LBUTTONUP: return Event::LeftUp;
        case WM_LBUTTONDBLCLK: return Event::LeftDoubleClick;
        case WM_RBUTTONDOWN: return Event::RightDown;
        case WM_RBUTTONUP: return Event::RightUp;
        case WM_RBUTTONDBLCLK: return Event::RightDoubleClick;
        case WM_MBUTTONDOWN: return Event::MiddleDown;
        case WM_MBUTTONUP: return Event::MiddleUp;
        case WM_MBUTTONDBLCLK: return Event::MiddleDoubleClick;
        case NIN_BALLOONSHOW: return Event::BalloonShown;
        case NIN_BALLOONHIDE: return Event::BalloonHidden;
        case NIN_BALLOONTIMEOUT: return Event::BalloonTimedOut;
        case NIN_BALLOONUSERCLICK: return Event::BalloonClicked;
        default: return Event::None;
    }
}

}  // namespace ombrix::tray

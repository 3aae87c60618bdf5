#include "support/tray_rules.h"

namespace ombrix::tray {
namespace {
constexpr unsigned kNifMessage = 1, kNifIcon = 2, kNifTip = 4, kNifInfo = 16;
}

Layout layoutForShell(unsigned major, unsigned /*minor*/) { return major >= 5 ? Layout::WithBalloons : Layout::Oldest; }

unsigned addFlags(Layout layout) {
    const unsigned base = kNifMessage | kNifIcon | kNifTip;
    return layout == Layout::WithBalloons ? base | kNifInfo : base;
}

std::wstring cutTip(const std::wstring& tip, Layout layout) {
    const std::size_t limit = layout == Layout::WithBalloons ? 127 : 63;
    return tip.size() > limit ? tip.substr(0, limit) : tip;
}

Event decode(unsigned long lParam) {
    switch (lParam) {
        case 0x200: return Event::MouseMove;
        case 0x201: return Event::LeftDown;
        case 0x202: return Event::LeftUp;
        case 0x203: return Event::LeftDoubleClick;
        case 0x204: return Event::RightDown;
        case 0x205: return Event::RightUp;
        case 0x206: return Event::RightDoubleClick;
        case 0x207: return Event::MiddleDown;
        case 0x208: return Event::MiddleUp;
        case 0x209: return Event::MiddleDoubleClick;
        default: break;
    }
    if (lParam > 517 && lParam >= 1024) {
        switch (lParam - 1024) {
            case 2: return Event::BalloonShown;
            case 3: return Event::BalloonHidden;
            case 4: return Event::BalloonTimedOut;
            case 5: return Event::BalloonClicked;
            default: break;
        }
    }
    return Event::None;
}

}  // namespace ombrix::tray

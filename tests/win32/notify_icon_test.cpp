#include <windows.h>

#include <shellapi.h>

#include <gtest/gtest.h>

#include "support/win32/notify_icon.h"
#include "win32/helpers.h"

namespace ombrix::win32 {
namespace {

using test::trayIconPresent;

TEST(NotifyIcon, ShowHideTipAndBalloons) {
    NotifyIcon icon;
    ASSERT_TRUE(icon.window());
    EXPECT_EQ(icon.layout(), tray::Layout::WithBalloons) << "any shell of this century has balloons";
    icon.setIcon(LoadIconW(nullptr, IDI_APPLICATION));

    icon.setToolTip(std::wstring(200, L'x'));
    EXPECT_EQ(icon.ToolTip().size(), 127u);
    EXPECT_FALSE(icon.Shown()) << "setting the tip while hidden only stores it";
    EXPECT_FALSE(trayIconPresent(icon.window()));
    EXPECT_FALSE(icon.BalloonShow(L"Ombrix", L"nascosta", NIIF_INFO, 1000)) << "no balloon without the icon";

    ASSERT_TRUE(icon.Show()) << icon.lastError();
    EXPECT_TRUE(icon.Shown());
    EXPECT_TRUE(trayIconPresent(icon.window()));
    icon.setToolTip(L"Ombrix");
    EXPECT_EQ(icon.ToolTip(), L"Ombrix");
    EXPECT_TRUE(icon.BalloonShow(L"Ombrix", L"Profilo cambiato", NIIF_INFO, 2000));
    EXPECT_TRUE(icon.BalloonHide());

    ASSERT_TRUE(icon.Hide());
    EXPECT_FALSE(icon.Shown());
    EXPECT_FALSE(trayIconPresent(icon.window()));
    EXPECT_TRUE(icon.Hide()) << "hiding twice is fine";
}

TEST(NotifyIcon, CallbackMessagesRaiseEvents) {
    NotifyIcon icon;
    ASSERT_TRUE(icon.Show());
    std::vector<tray::Event> events;
    icon.onEvent = [&](tray::Event e) { events.push_back(e); };
    SendMessageW(icon.window(), tray::kCallbackMessage, 1, WM_RBUTTONUP);
    SendMessageW(icon.window(), tray::kCallbackMessage, 1, WM_LBUTTONDBLCLK);
    SendMessageW(icon.window(), tray::kCallbackMessage, 1, 1024 + 5);
    SendMessageW(icon.window(), WM_USER + 7, 0, 0);  // not ours: passed on, no event
    EXPECT_EQ(events, (std::vector<tray::Event>{tray::Event::RightUp, tray::Event::LeftDoubleClick,
                                                tray::Event::BalloonClicked}));
    // A throwing handler does not escape into the shell's callback.
    icon.onEvent = [](tray::Event) { throw 1; };
    SendMessageW(icon.window(), tray::kCallbackMessage, 1, WM_LBUTTONUP);
}

}  // namespace
}  // namespace ombrix::win32

#include "support/tray_rules.h"

#include <gtest/gtest.h>

namespace ombrix::tray {
namespace {

TEST(TrayRules, LayoutAndFlagsFollowTheShellVersion) {
    EXPECT_EQ(layoutForShell(4, 72), Layout::Oldest);
    EXPECT_EQ(layoutForShell(5, 0), Layout::WithBalloons);
    EXPECT_EQ(layoutForShell(6, 1), Layout::WithBalloons);
    EXPECT_EQ(addFlags(Layout::WithBalloons), 23u);
    EXPECT_EQ(addFlags(Layout::Oldest), 7u);
}

TEST(TrayRules, TipIsCutToTheLayoutsField) {
    const std::wstring long200(200, L'x');
    EXPECT_EQ(cutTip(long200, Layout::WithBalloons).size(), 127u);
    EXPECT_EQ(cutTip(long200, Layout::Oldest).size(), 63u);
    EXPECT_EQ(cutTip(L"Ombrix", Layout::Oldest), L"Ombrix");
}

TEST(TrayRules, CallbackMessagesBecomeEvents) {
    const struct {
        unsigned long lParam;
        Event event;
    } cases[] = {
        {0x200, Event::MouseMove},       {0x201, Event::LeftDown},        {0x202, Event::LeftUp},
        {0x203, Event::LeftDoubleClick}, {0x205, Event::RightUp},         {0x209, Event::MiddleDoubleClick},
        {1026, Event::BalloonShown},     {1027, Event::BalloonHidden},    {1028, Event::BalloonTimedOut},
        {1029, Event::BalloonClicked},   {1030, Event::None},             {1024, Event::None},
        {600, Event::None},              {0x100, Event::None},
    };
    for (const auto& c : cases) EXPECT_EQ(decode(c.lParam), c.event) << c.lParam;
}

}  // namespace
}  // namespace ombrix::tray

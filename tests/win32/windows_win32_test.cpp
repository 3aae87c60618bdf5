#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "fakes/fixtures.h"
#include "platform/win32/machine.h"
#include "helpers.h"

namespace ombrix::win32 {
namespace {

using platform::ShowCommand;
using platform::WindowId;

WindowId id(HWND hwnd) { return reinterpret_cast<WindowId>(hwnd); }

using test::OwnWindow;

bool topmost(HWND hwnd) { return (GetWindowLongW(hwnd, GWL_EXSTYLE) & WS_EX_TOPMOST) != 0; }

class Win32WindowsTest : public ::testing::Test {
protected:
    platform::WindowSystem& windows = machine().windows();
    test::TempDir dir;
};

TEST_F(Win32WindowsTest, ForeignWindowFoundByTitleWhateverTheCaseReceivesClose) {
    struct Case {
        std::string title, searched;
    };
    const Case cases[] = {
        {"Restore pages?", "RESTORE PAGES?"},
        {"Proprietà - Data e ora", "proprietà - data e ora"},
        {"Download", "download"},
    };
    int n = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.title);
        const std::string log = dir.file("close" + std::to_string(n++) + ".log");
        test::StartedProgram program = test::startRecorder(test::recorderPath(), log, c.title);
        const HWND hwnd = test::waitForWindow(log);
        ASSERT_NE(hwnd, nullptr);

        EXPECT_EQ(windows.findByTitle(c.searched), id(hwnd));
        EXPECT_EQ(windows.title(id(hwnd)), c.title);
        windows.show(id(hwnd), ShowCommand::Normal);
        windows.postClose(id(hwnd));
        EXPECT_TRUE(test::waitForLine(log, "close"));
        EXPECT_EQ(program.waitForExit(), 0u);
        EXPECT_EQ(windows.findByTitle(c.title), 0u) << "gone with its program";
    }
}

TEST_F(Win32WindowsTest, OnlyTheWholeTitleFindsAWindow) {
    const OwnWindow own(L"Ombrix titolo intero");
    EXPECT_EQ(windows.findByTitle("Ombrix titolo intero"), id(own.get()));
    EXPECT_EQ(windows.findByTitle("Ombrix titolo"), 0u);
    EXPECT_EQ(windows.findByTitle("Ombrix titolo intero "), 0u);
    EXPECT_EQ(windows.findByTitle(""), 0u) << "an empty title names no window";
    const OwnWindow untitled(L"");
    EXPECT_EQ(windows.findByTitle(""), 0u) << "not even an untitled one";
}

TEST_F(Win32WindowsTest, ClassSearchWalksEveryWindowOfTheClassOnce) {
    const std::string cls = "OmbrixProvaClasse";
    test::StartedProgram a = test::startRecorder(test::recorderPath(), dir.file("a.log"), "A", "--class " + cls);
    test::StartedProgram b = test::startRecorder(test::recorderPath(), dir.file("b.log"), "B", "--class " + cls);
    const HWND ha = test::waitForWindow(dir.file("a.log"));
    const HWND hb = test::waitForWindow(dir.file("b.log"));
    ASSERT_TRUE(ha && hb);

    std::set<WindowId> found;
    for (WindowId w = windows.findByClass(cls, 0); w != 0; w = windows.findByClass(cls, w)) {
        ASSERT_TRUE(found.insert(w).second) << "a window came back twice";
    }
    EXPECT_EQ(found, (std::set<WindowId>{id(ha), id(hb)}));
    EXPECT_EQ(windows.findByClass("OmbrixNessunaClasse", 0), 0u);

    const auto all = windows.topLevelWindows();
    EXPECT_NE(std::find(all.begin(), all.end(), id(ha)), all.end());
    EXPECT_NE(std::find(all.begin(), all.end(), id(hb)), all.end());
}

TEST_F(Win32WindowsTest, TopmostTogglesWithoutMovingOrActivating) {
    const OwnWindow own(L"Ombrix prova in primo piano", WS_OVERLAPPEDWINDOW | WS_VISIBLE);
    const OwnWindow active(L"Ombrix finestra attiva");
    SetActiveWindow(active.get());
    const std::string log = dir.file("topmost.log");
    test::StartedProgram program = test::startRecorder(test::recorderPath(), log, "Ombrix prova altrui");
    const HWND foreign = test::waitForWindow(log);
    ASSERT_NE(foreign, nullptr);

    for (const HWND hwnd : {own.get(), foreign}) {
        RECT before{}, after{};
        GetWindowRect(hwnd, &before);
        const HWND activeBefore = GetActiveWindow();
        ASSERT_FALSE(topmost(hwnd));
        windows.setTopmost(id(hwnd), true);
        EXPECT_TRUE(test::waitFor([&] { return topmost(hwnd); }));
        windows.setTopmost(id(hwnd), true);  // twice is the same
        EXPECT_TRUE(topmost(hwnd));
        windows.setTopmost(id(hwnd), false);
        EXPECT_TRUE(test::waitFor([&] { return !topmost(hwnd); }));
        GetWindowRect(hwnd, &after);
        EXPECT_TRUE(EqualRect(&before, &after));
        EXPECT_EQ(GetActiveWindow(), activeBefore);
    }
}

TEST_F(Win32WindowsTest, TitlesComeBackWholeAndInUtf8) {
    std::wstring longTitle;
    for (int i = 0; i < 120; ++i) longTitle += L"àèìòù";
    const OwnWindow own(longTitle.c_str());
    EXPECT_EQ(windows.title(id(own.get())), fromWide(longTitle));
    const OwnWindow untitled(L"");
    EXPECT_EQ(windows.title(id(untitled.get())), "");
    EXPECT_EQ(windows.title(0), "");
    HWND gone = nullptr;
    {
        const OwnWindow brief(L"breve");
        gone = brief.get();
    }
    EXPECT_EQ(windows.title(id(gone)), "");
}

TEST_F(Win32WindowsTest, NoWindowMeansNothingHappens) {
    windows.show(0, ShowCommand::Hide);
    windows.setTopmost(0, true);
    windows.postClose(0);
    MSG msg;
    // Posting to no window would have put the close into this thread's queue.
    EXPECT_FALSE(PeekMessageW(&msg, nullptr, WM_CLOSE, WM_CLOSE, PM_REMOVE));
}

}  // namespace
}  // namespace ombrix::win32

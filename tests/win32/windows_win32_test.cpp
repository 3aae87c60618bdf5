#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>

#include "fakes/fixtures.h"
#include "helpers.h"
#include "platform/win32/machine.h"
#include "platform/win32/window_appearances.h"

// Finding, closing and showing a window of another program by its title,
// finding one by class and keeping a notice on top without taking the focus
// are the end-to-end tests' (a forbidden window, the browsers' windows, the
// notices); here is what they do not reach.
namespace ombrix::win32 {
namespace {

using test::OwnWindow;

platform::WindowId id(HWND hwnd) { return reinterpret_cast<platform::WindowId>(hwnd); }
platform::WindowSystem& windows() { return machine().windows(); }

TEST(Win32Windows, OnlyTheWholeTitleFindsAWindowWithoutCase) {
    const OwnWindow own(L"Ombrix titolo intero");
    const OwnWindow untitled(L"");
    using Ids = std::vector<platform::WindowId>;
    EXPECT_EQ(windows().findByTitles({"Ombrix titolo intero", "OMBRIX TITOLO INTERO", "Ombrix titolo",
                                      "Ombrix titolo intero ", ""}),
              (Ids{id(own.get()), id(own.get()), 0, 0, 0}))
        << "an empty title names no window, not even an untitled one";
}

TEST(Win32Windows, EveryTopLevelTitleComesBackWholeAndInUtf8) {
    std::wstring longTitle;
    for (int i = 0; i < 120; ++i) longTitle += L"àèìòù";
    const OwnWindow own(longTitle.c_str());
    const auto all = windows().topLevelWindows();
    EXPECT_NE(std::find(all.begin(), all.end(), id(own.get())), all.end());
    EXPECT_EQ(windows().title(id(own.get())), fromWide(longTitle));
    const OwnWindow untitled(L"");
    EXPECT_EQ(windows().title(id(untitled.get())), "");
    EXPECT_EQ(windows().title(0), "");
    HWND gone = nullptr;
    {
        const OwnWindow brief(L"breve");
        gone = brief.get();
    }
    EXPECT_EQ(windows().title(id(gone)), "");
}

TEST(Win32Windows, NoWindowMeansNothingHappens) {
    windows().show(0, platform::ShowCommand::Hide);
    windows().setTopmost(0, true);
    windows().postClose(0);
    MSG msg;
    // Posting to no window would have put the close into this thread's queue.
    EXPECT_FALSE(PeekMessageW(&msg, nullptr, WM_CLOSE, WM_CLOSE, PM_REMOVE));
}

TEST(Win32Windows, AnotherProgramsFirstWindowIsTold) {
    int told = 0;
    const WindowAppearances appearances([&] { ++told; });
    ASSERT_TRUE(appearances.listening());
    test::TempDir dir;
    test::StartedProgram other = test::startRecorder(test::recorderPath(), dir.file("r.log"), "Altro");
    ASSERT_TRUE(test::waitForLine(dir.file("r.log"), "creating"));
    // The events come with this thread's messages.
    EXPECT_TRUE(test::waitFor([&] {
        MSG msg;
        while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&msg);
        return told > 0;
    }));
}

}  // namespace
}  // namespace ombrix::win32

// The on-screen keyboard, switched on by its option: shown at the start, it
// types into the window that has the focus without ever taking it, puts
// itself away when closed, and goes when the option is cleared.
#include <windows.h>

#include <gtest/gtest.h>

#include <string>

#include "app/win32/forms/resource.h"
#include "e2e/driver.h"

namespace ombrix::e2e {
namespace {

using namespace std::chrono_literals;

class OnScreenKeyboardTest : public InstalledProgram {
protected:
    OnScreenKeyboardTest() { install.sql("UPDATE Opzioni SET TastieraVirtuale = -1, IDProfiloInUso = 1;"); }
    // The key that shows this caption now.
    [[nodiscard]] HWND key(const std::wstring& caption) const {
        return FindWindowExW(keyboard, nullptr, L"Static", caption.c_str());
    }
    HWND keyboard = nullptr;
};

TEST_F(OnScreenKeyboardTest, TypesIntoTheFocusedWindowWhichKeepsTheFocus) {
    HWND main = start();
    ASSERT_TRUE(main);
    ASSERT_TRUE(waitFor([&] { return visible(keyboard = FindWindowW(L"OmbrixTastiera", nullptr)); }))
        << "the option shows the keyboard at the start";
    EXPECT_EQ(text(keyboard), L"Tastiera su schermo") << "the language file's caption";

    const std::string log = pathToUtf8(install.folder() / L"testo.log");
    const StartedProgram recorder = test::startRecorder(test::recorderPath(), log, "Ombrix testo");
    HWND target = nullptr;
    ASSERT_TRUE(waitFor([&] { return (target = FindWindowW(nullptr, L"Ombrix testo")) != nullptr; }));
    bringToFront(target);
    ASSERT_TRUE(waitFor([&] { return GetForegroundWindow() == target; }));
    pause(500ms);
    screenshot("keyboard-lower-case");
    // The capture runs outside Wine and may end after the call returns.
    pause(2s);

    // Caption by caption, as a finger would press them; the space bar has none.
    const wchar_t* const presses[] = {L"Maiu", L"C", L"Minu", L"i", L"a", L"o", L"", L"è", L"",
                                      L"à",    L"",  L"ò",    L"Maiu", L"!"};
    for (const wchar_t* caption : presses) {
        HWND k = key(caption);
        ASSERT_TRUE(k) << "no key shows \"" << pathToUtf8(caption) << "\"";
        injectClick(k);
    }
    ASSERT_TRUE(test::waitForLine(log, "char 33")) << "the last key, \"!\", never arrived";
    std::wstring typed;
    for (const auto& line : test::logLines(log)) {
        if (line.rfind("char ", 0) == 0) typed += static_cast<wchar_t>(std::stoi(line.substr(5)));
        EXPECT_NE(line, "focus lost");
    }
    EXPECT_EQ(pathToUtf8(typed), "Ciao è à ò!");
    EXPECT_EQ(GetForegroundWindow(), target);
    EXPECT_NE(GetForegroundWindow(), keyboard);
    EXPECT_TRUE(key(L"Minu")) << "still in upper case";
    pause(500ms);
    screenshot("keyboard-upper-case");
    pause(2s);

    // The close box only puts it away.
    PostMessageW(keyboard, WM_CLOSE, 0, 0);
    EXPECT_TRUE(waitFor([&] { return IsIconic(keyboard) != FALSE; }));
    EXPECT_TRUE(IsWindow(keyboard));

    // The administrator clears the option: the keyboard goes.
    ShowWindow(main, SW_RESTORE);
    HWND box = GetDlgItem(main, IDC_CHKTASTIERAVIRTUALE);
    // With the keyboard's hooks just gone, Wine now and then drops the typed
    // password: a person types it again.
    for (int attempt = 0; attempt < 3 && !visible(box); ++attempt) {
        SetWindowTextW(GetDlgItem(main, IDC_TXTPASS), L"");
        login(main, L"Segreta1");
        (void)waitFor([&] { return visible(box); }, 5s);
    }
    ASSERT_TRUE(visible(box));
    heldClick(box);
    ASSERT_TRUE(waitFor([&] { return SendMessageW(box, BM_GETCHECK, 0, 0) == BST_UNCHECKED; }));
    EXPECT_TRUE(waitFor([&] { return !visible(keyboard); }));
    EXPECT_EQ(install.scalar("SELECT TastieraVirtuale FROM Opzioni;"), "0");
}

}  // namespace
}  // namespace ombrix::e2e

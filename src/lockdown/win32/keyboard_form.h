#pragma once
// frmTastiera: the on-screen keyboard. It floats above the other windows and
// never takes the focus: its low-level mouse hook swallows a press on the
// keys (so the window is never activated) and the form types the key into
// whatever window has the focus. One per program: the hook finds it through
// a static.

#include <windows.h>

#include "core/on_screen_keyboard.h"
#include "lockdown/onscreen_keyboard.h"
#include "platform/win32/handles.h"

namespace ombrix {
class Language;
}

namespace ombrix::win32 {

class KeyboardForm final : public core::OnScreenKeyboard {
public:
    // Its caption and the words on its keys come from `language` at each load.
    explicit KeyboardForm(Language& language);
    ~KeyboardForm() override;
    KeyboardForm(const KeyboardForm&) = delete;
    KeyboardForm& operator=(const KeyboardForm&) = delete;

    void show() override;
    void hide() override;
    void reapply() override;

    [[nodiscard]] HWND window() const { return window_.get(); }

private:
    static LRESULT CALLBACK windowProc(HWND window, UINT msg, WPARAM wp, LPARAM lp);
    static LRESULT CALLBACK mouseHook(int code, WPARAM wp, LPARAM lp);
    LRESULT handle(UINT msg, WPARAM wp, LPARAM lp);
    void load();
    void place();
    void look();
    void layoutKeys();
    void showCase();
    void noteKeysOnScreen();
    void press(int x, int y);

    Language& language_;
    lockdown::KeyboardTexts texts_;
    lockdown::OnScreenCase case_;
    UniqueWindow window_;
    UniqueHook hook_;
    UniqueFont font_;
    int fontDpi_ = 0;
    // Asked of the shell once a show and again when the work area changes,
    // never on each mouse event.
    int taskbarHeight_ = -1;
    // What the hook reads: kept here so that it never asks the window.
    RECT keysOnScreen_{};
    bool pressSwallowed_ = false;
    bool reapplyPosted_ = false;
};

}  // namespace ombrix::win32

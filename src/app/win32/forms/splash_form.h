#pragma once
// frmSplash: shown first; closes itself one second after closeSoon(). While
// shown it keeps the task manager closed through `killTaskManager`.

#include <windows.h>

#include <functional>

#include "support/win32/modeless_dialog.h"

namespace ombrix {
class Language;
}

namespace ombrix::win32 {

class SplashForm {
public:
    SplashForm(Language& language, HWND owner, std::function<void()> killTaskManager);
    ~SplashForm();

    void show();
    void closeSoon();
    void close();
    [[nodiscard]] HWND window() const { return dialog_.get(); }

private:
    static INT_PTR CALLBACK Proc(HWND, UINT, WPARAM, LPARAM);
    Language& language_;
    HWND owner_;
    std::function<void()> killTaskManager_;
    ModelessDialog dialog_;
};

}  // namespace ombrix::win32

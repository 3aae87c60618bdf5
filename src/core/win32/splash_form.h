#pragma once
// frmSplash: shown first; closes itself one second after closeSoon(). While
// shown it keeps the task manager closed through `killTaskManager`.

#include <windows.h>

#include <functional>
#include <memory>

#include "platform/win32/handles.h"
#include "support/win32/dialog_translation.h"

namespace ombrix {
class Language;
}

namespace ombrix::win32 {

class SplashForm {
public:
    // Owned by the main form's hidden owner: no task-bar button.
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
    UniqueWindow dialog_;
    std::unique_ptr<DialogTranslation> translation_;
};

}  // namespace ombrix::win32

#pragma once
// frmChiusuraInCorso: shown while the program shuts down; its text counts
// the seconds so the wait visibly moves.

#include <windows.h>

#include <memory>

#include "platform/win32/handles.h"
#include "support/win32/dialog_translation.h"

namespace ombrix {
class Language;
}

namespace ombrix::win32 {

class ClosingForm {
public:
    // Owned by the main form's hidden owner: no task-bar button.
    ClosingForm(Language& language, HWND owner);
    ~ClosingForm();
    void show();
    void setTopmost();
    void close();
    [[nodiscard]] HWND window() const { return dialog_.get(); }

private:
    static INT_PTR CALLBACK Proc(HWND, UINT, WPARAM, LPARAM);
    Language& language_;
    HWND owner_;
    UniqueWindow dialog_;
    std::unique_ptr<DialogTranslation> translation_;
};

}  // namespace ombrix::win32

#pragma once
// frmChiusuraInCorso: shown while the program shuts down; its text counts
// the seconds so the wait visibly moves.

#include <windows.h>

#include "support/win32/modeless_dialog.h"

namespace ombrix {
class Language;
}

namespace ombrix::win32 {

class ClosingForm {
public:
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
    ModelessDialog dialog_;
};

}  // namespace ombrix::win32

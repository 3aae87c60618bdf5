#pragma once
// frmMessaggio: the notice that counts down and closes itself. Kept on top
// at the bottom right of the work area, without taking the focus.

#include <windows.h>

#include <string>

#include "app/notices.h"
#include "platform/win32/handles.h"
#include "support/win32/modeless_dialog.h"

namespace ombrix {
class Language;
}

namespace ombrix::win32 {

class NoticeForm {
public:
    NoticeForm(Language& language, HWND owner);
    ~NoticeForm();

    // A notice already on show gets the new text and keeps its countdown.
    void show(const std::string& text, const std::string& heading);
    void close();
    [[nodiscard]] HWND window() const { return dialog_.get(); }

private:
    static INT_PTR CALLBACK Proc(HWND, UINT, WPARAM, LPARAM);
    void load();
    void tick();
    Language& language_;
    HWND owner_;
    UniqueFont bold_;
    ModelessDialog dialog_;
    core::NoticeLife life_;
};

}  // namespace ombrix::win32

#pragma once
// What every dialog procedure of the program shares: the object handed to
// CreateDialogParamW or DialogBoxParamW, found again on every message. Its
// handlers run through platform::guarded, so nothing escapes into the
// system's call and nothing fails without a trace.

#include <windows.h>

#include "platform/failures.h"

namespace ombrix::win32 {

// Keeps `lp` at WM_INITDIALOG; afterwards reads it back. Null for the few
// messages a dialog gets before WM_INITDIALOG.
template <typename T>
T* attachState(HWND dialog, UINT msg, LPARAM lp) {
    if (msg == WM_INITDIALOG) {
        SetWindowLongPtrW(dialog, DWLP_USER, lp);
        return reinterpret_cast<T*>(lp);
    }
    return reinterpret_cast<T*>(GetWindowLongPtrW(dialog, DWLP_USER));
}

}  // namespace ombrix::win32

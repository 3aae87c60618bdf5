#pragma once
// What every dialog procedure of the program shares: the object handed to
// CreateDialogParamW or DialogBoxParamW, found again on every message, and a
// handler that lets nothing escape into the system's call.

#include <windows.h>

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

// Runs a handler without letting anything escape into the window procedure.
template <typename F>
void guarded(F&& f) noexcept {
    try {
        f();
    } catch (...) {
    }
}

}  // namespace ombrix::win32

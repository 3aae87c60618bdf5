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

// Shows a modal dialog whose messages go to Handle with `state`; the state
// is attached at WM_INITDIALOG, and a failure in Handle is recorded and the
// message taken as handled.
template <typename T, INT_PTR (*Handle)(HWND, T&, UINT, WPARAM, LPARAM)>
INT_PTR showModal(HWND owner, int templateId, T& state) {
    constexpr DLGPROC proc = [](HWND dialog, UINT msg, WPARAM wp, LPARAM lp) -> INT_PTR {
        T* st = attachState<T>(dialog, msg, lp);
        if (!st) return FALSE;
        try {
            return Handle(dialog, *st, msg, wp, lp);
        } catch (...) {
            platform::recordCurrentFailure();
            return TRUE;
        }
    };
    return DialogBoxParamW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(templateId), owner, proc,
                           reinterpret_cast<LPARAM>(&state));
}

}  // namespace ombrix::win32

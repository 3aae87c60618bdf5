#include "support/win32/hidden_window.h"

namespace ombrix::win32 {

UniqueWindow createHiddenWindow(const wchar_t* className, DWORD exStyle, const wchar_t* title, HICON icon) {
    WNDCLASSW wc{};
    wc.lpfnWndProc = DefWindowProcW;
    wc.hInstance = GetModuleHandleW(nullptr);
    wc.lpszClassName = className;
    wc.hIcon = icon;
    // A second registration of the same class fails harmlessly.
    RegisterClassW(&wc);
    return UniqueWindow(CreateWindowExW(exStyle, className, title, WS_POPUP, 0, 0, 0, 0, nullptr, nullptr,
                                        GetModuleHandleW(nullptr), nullptr));
}

}  // namespace ombrix::win32

#pragma once
// A never-shown top-level window of a class of its own: a message target for
// the shell, or an owner that keeps forms off the task bar.

#include <windows.h>

namespace ombrix::win32 {

HWND createHiddenWindow(const wchar_t* className, DWORD exStyle = 0, const wchar_t* title = L"", HICON icon = nullptr);

}  // namespace ombrix::win32

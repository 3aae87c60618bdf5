#pragma once
// A never-shown top-level window of a class of its own: a message target for
// the shell, or an owner that keeps forms off the task bar.

#include <windows.h>

#include "platform/win32/handles.h"

namespace ombrix::win32 {

[[nodiscard]] UniqueWindow createHiddenWindow(const wchar_t* className, DWORD exStyle = 0, const wchar_t* title = L"",
                                              HICON icon = nullptr);

}  // namespace ombrix::win32

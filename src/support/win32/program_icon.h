#pragma once
// The program's icon from its resources, at the size asked. Shared: the
// system frees it with the module.

#include <windows.h>

namespace ombrix::win32 {

inline HICON programIcon(int size) {
    return static_cast<HICON>(LoadImageW(GetModuleHandleW(nullptr), L"AAA", IMAGE_ICON, size, size, LR_SHARED));
}

}  // namespace ombrix::win32

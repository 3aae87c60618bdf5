#pragma once
// The system's own text for an error code, in the user's language.

#include <windows.h>

#include <string>

namespace ombrix::win32 {

// Without the trailing line break; "error N" when the system has no text.
[[nodiscard]] std::string systemMessage(DWORD code);

}  // namespace ombrix::win32

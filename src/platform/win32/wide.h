#pragma once
// UTF-8 inside, UTF-16 at the Win32 boundary.

#include <string>
#include <string_view>

namespace ombrix::win32 {

[[nodiscard]] std::wstring toWide(std::string_view utf8);
[[nodiscard]] std::string fromWide(std::wstring_view wide);
// A COM text (BSTR), which may hold NULs and may be null: "" for null.
[[nodiscard]] std::string fromBstr(const wchar_t* text);
// The system's text for an error code, without its line break.
[[nodiscard]] std::string systemMessage(unsigned long code);

}  // namespace ombrix::win32

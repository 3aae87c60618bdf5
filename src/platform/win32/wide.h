#pragma once
// UTF-8 inside, UTF-16 at the Win32 boundary.

#include <string>
#include <string_view>

namespace ombrix::win32 {

[[nodiscard]] std::wstring toWide(std::string_view utf8);
[[nodiscard]] std::string fromWide(std::wstring_view wide);

}  // namespace ombrix::win32

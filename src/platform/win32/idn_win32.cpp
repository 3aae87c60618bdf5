#include <windows.h>

#include <string>

#include "platform/idn.h"

namespace ombrix::platform {

// Converted here rather than through win32/wide.h: this file is a library of
// its own, below the one that holds the conversions.
std::optional<std::string> hostToAscii(std::string_view host) {
    if (host.empty() || host.size() > 1024) return std::nullopt;
    const int wide =
        MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, host.data(), static_cast<int>(host.size()), nullptr, 0);
    if (wide <= 0) return std::nullopt;
    std::wstring input(static_cast<std::size_t>(wide), L'\0');
    MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, host.data(), static_cast<int>(host.size()), input.data(), wide);
    const int length = IdnToAscii(0, input.c_str(), wide, nullptr, 0);
    if (length <= 0) return std::nullopt;
    std::wstring output(static_cast<std::size_t>(length), L'\0');
    if (IdnToAscii(0, input.c_str(), wide, output.data(), length) != length) return std::nullopt;
    std::string ascii;
    for (const wchar_t c : output) {
        if (c == L'\0') break;
        if (c > 0x7f) return std::nullopt;
        // The system keeps the letter case of ASCII labels.
        ascii += static_cast<char>(c >= L'A' && c <= L'Z' ? c - L'A' + L'a' : c);
    }
    return ascii;
}

}  // namespace ombrix::platform

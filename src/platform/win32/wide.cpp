#include "platform/win32/wide.h"

#include <windows.h>
#include <oleauto.h>

namespace ombrix::win32 {

std::wstring toWide(std::string_view utf8) {
    if (utf8.empty()) return {};
    const int n = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), nullptr, 0);
    std::wstring out(static_cast<std::size_t>(n), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), out.data(), n);
    return out;
}

std::string fromWide(std::wstring_view wide) {
    if (wide.empty()) return {};
    const int n =
        WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()), nullptr, 0, nullptr, nullptr);
    std::string out(static_cast<std::size_t>(n), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()), out.data(), n, nullptr, nullptr);
    return out;
}

std::string fromBstr(const wchar_t* text) {
    return text ? fromWide(std::wstring_view(text, SysStringLen(const_cast<BSTR>(text)))) : std::string();
}

}  // namespace ombrix::win32

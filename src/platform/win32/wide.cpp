#include "platform/win32/wide.h"

#include <windows.h>
#include <oleauto.h>

#include "platform/win32/handles.h"

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

std::string systemMessage(unsigned long code) {
    UniqueLocal text;
    const DWORD n = FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                                       FORMAT_MESSAGE_IGNORE_INSERTS,
                                   nullptr, code, 0, reinterpret_cast<wchar_t*>(text.put()), 0, nullptr);
    std::wstring message =
        n && text ? std::wstring(static_cast<const wchar_t*>(text.get()), n) : L"error " + std::to_wstring(code);
    while (!message.empty() && (message.back() == L'\n' || message.back() == L'\r' || message.back() == L' ')) {
        message.pop_back();
    }
    return fromWide(message);
}

}  // namespace ombrix::win32

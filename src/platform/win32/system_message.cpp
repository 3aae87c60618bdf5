#include "platform/win32/system_message.h"

#include "platform/win32/handles.h"
#include "platform/win32/wide.h"

namespace ombrix::win32 {

std::string systemMessage(DWORD code) {
    wchar_t* text = nullptr;
    const DWORD n = FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                                       FORMAT_MESSAGE_IGNORE_INSERTS,
                                   nullptr, code, 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
    const UniqueLocal owner(text);
    std::wstring message = n ? std::wstring(text, n) : L"error " + std::to_wstring(code);
    while (!message.empty() && (message.back() == L'\n' || message.back() == L'\r' || message.back() == L' ')) {
        message.pop_back();
    }
    return fromWide(message);
}

}  // namespace ombrix::win32

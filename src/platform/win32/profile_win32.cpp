#include <windows.h>

#include <vector>

#include "platform/win32/wide.h"
#include "platform/ini.h"
#include "platform/text.h"

namespace ombrix::ini {
namespace {

// The system's profile reader, offered 512 characters: a longer value is cut
// there, which the portable reader copies, so both builds read alike. The file's bytes are decoded by the system in the ANSI code page;
// turning the answer back into that code page gives the bytes again.
std::string systemProfileString(const std::string& path, const std::string& section, const std::string& key) {
    std::vector<wchar_t> buffer(1024, L'\0');
    const std::wstring s = win32::toWide(section);
    const std::wstring k = win32::toWide(key);
    const DWORD n = GetPrivateProfileStringW(s.c_str(), k.c_str(), L"", buffer.data(),
                                             static_cast<DWORD>(kPlatformReaderBuffer), win32::toWide(path).c_str());
    const std::wstring value(buffer.data(), n);
    if (value.empty()) return {};
    const int bytes = WideCharToMultiByte(CP_ACP, 0, value.data(), static_cast<int>(value.size()), nullptr, 0, nullptr,
                                          nullptr);
    std::string out(static_cast<std::size_t>(bytes), '\0');
    WideCharToMultiByte(CP_ACP, 0, value.data(), static_cast<int>(value.size()), out.data(), bytes, nullptr, nullptr);
    return out;
}

}  // namespace

ProfileReader systemProfileReader() { return &systemProfileString; }

}  // namespace ombrix::ini

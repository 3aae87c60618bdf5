#include <windows.h>

#include "platform/system.h"
#include "platform/win32/handles.h"
#include "platform/win32/wide.h"

namespace ombrix::platform {
namespace {

// The true version: GetVersionEx lies to programs without a matching manifest.
OSVERSIONINFOW realVersion() {
    OSVERSIONINFOW info{};
    info.dwOSVersionInfoSize = sizeof info;
    using RtlGetVersionFn = LONG(WINAPI*)(OSVERSIONINFOW*);
    if (HMODULE ntdll = GetModuleHandleW(L"ntdll.dll")) {
        auto fn = reinterpret_cast<RtlGetVersionFn>(reinterpret_cast<void*>(GetProcAddress(ntdll, "RtlGetVersion")));
        if (fn && fn(&info) == 0) return info;
    }
    return info;
}

class Win32System final : public System {
public:
    int windowsMajorVersion() override { return static_cast<int>(realVersion().dwMajorVersion); }
    int windowsMinorVersion() override { return static_cast<int>(realVersion().dwMinorVersion); }
    std::string environment(std::string_view name) override {
        const std::wstring n = win32::toWide(name);
        const DWORD size = GetEnvironmentVariableW(n.c_str(), nullptr, 0);
        if (size == 0) return {};
        std::wstring value(size, L'\0');
        const DWORD got = GetEnvironmentVariableW(n.c_str(), value.data(), size);
        value.resize(got);
        return win32::fromWide(value);
    }
    std::string programFolder() override {
        std::wstring path = modulePath();
        const auto slash = path.find_last_of(L"\\/");
        if (slash == std::wstring::npos) return ".";
        // A drive root keeps its backslash ("C:\").
        path.resize(slash == 2 && path[1] == L':' ? slash + 1 : slash);
        return win32::fromWide(path);
    }
    std::string programFileName() override {
        const std::wstring path = modulePath();
        const auto slash = path.find_last_of(L"\\/");
        return win32::fromWide(slash == std::wstring::npos ? path : path.substr(slash + 1));
    }

    bool elevated() override {
        win32::UniqueKernelHandle token;
        if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.put())) return false;
        TOKEN_ELEVATION elevation{};
        DWORD size = 0;
        return GetTokenInformation(token.get(), TokenElevation, &elevation, sizeof elevation, &size) &&
               elevation.TokenIsElevated != 0;
    }
    std::uint16_t userInterfaceLanguage() override { return GetUserDefaultUILanguage(); }

private:
    static std::wstring modulePath() {
        std::wstring path(MAX_PATH, L'\0');
        while (true) {
            const DWORD n = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
            if (n == 0) return {};
            if (n < path.size()) {
                path.resize(n);
                break;
            }
            path.resize(path.size() * 2);
        }
        return path;
    }
};

}  // namespace

System& realSystem() {
    static Win32System instance;
    return instance;
}

char pathSeparator() { return '\\'; }

char timeSeparator() {
    wchar_t sep[8]{};
    // LOCALE_STIME (item 30): the separator the locale writes times with.
    if (GetLocaleInfoW(GetThreadLocale(), LOCALE_STIME, sep, 8) == 2 && sep[0] < 0x80) return static_cast<char>(sep[0]);
    return ':';
}

}  // namespace ombrix::platform

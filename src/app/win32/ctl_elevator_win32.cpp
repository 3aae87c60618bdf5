#include "app/win32/ctl_elevator_win32.h"

#include <windows.h>

#include <sddl.h>

#include "platform/win32/handles.h"
#include "platform/win32/run_elevated.h"
#include "platform/win32/wide.h"

namespace ombrix::app {
namespace {

// The calling user's SID as text ("S-1-5-21-..."); empty when it cannot be read.
std::wstring userSid() {
    win32::UniqueKernelHandle token;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.put())) return {};
    DWORD size = 0;
    GetTokenInformation(token.get(), TokenUser, nullptr, 0, &size);
    std::string buffer(size, '\0');
    if (size == 0 || !GetTokenInformation(token.get(), TokenUser, buffer.data(), size, &size)) return {};
    wchar_t* text = nullptr;
    if (!ConvertSidToStringSidW(reinterpret_cast<TOKEN_USER*>(buffer.data())->User.Sid, &text)) return {};
    const win32::UniqueLocal owner(text);
    return std::wstring(text);
}

std::wstring ownPath() {
    std::wstring path(MAX_PATH, L'\0');
    while (true) {
        const DWORD n = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
        if (n == 0) return {};
        if (n < path.size()) return path.substr(0, n);
        path.resize(path.size() * 2);
    }
}

}  // namespace

std::optional<std::string> ElevatorWin32::privateFolder(std::string& error) {
    const std::wstring sid = userSid();
    if (sid.empty()) {
        error = win32::systemMessage(GetLastError());
        return std::nullopt;
    }
    // The caller, and the administrators: the person who consents may be
    // another account (an administrator typing their own credentials), and
    // its run must write the files. Nothing inherited from the temp folder.
    const std::wstring sddl = L"D:P(A;OICI;FA;;;" + sid + L")(A;OICI;FA;;;BA)(A;OICI;FA;;;SY)";
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl.c_str(), SDDL_REVISION_1, &descriptor, nullptr)) {
        error = win32::systemMessage(GetLastError());
        return std::nullopt;
    }
    const win32::UniqueLocal owner(descriptor);
    SECURITY_ATTRIBUTES attributes{sizeof attributes, descriptor, FALSE};
    wchar_t temp[MAX_PATH + 1] = {};
    const DWORD n = GetTempPathW(MAX_PATH + 1, temp);
    std::optional<std::string> made;
    if (n == 0 || n > MAX_PATH) {
        error = win32::systemMessage(GetLastError());
    } else {
        // A fresh folder: one that is there already, whoever made it, is never used.
        for (unsigned attempt = 0; !made && attempt < 100; ++attempt) {
            const std::wstring folder = std::wstring(temp) + L"ombrixctl-" + std::to_wstring(GetCurrentProcessId()) +
                                        L"-" + std::to_wstring(GetTickCount() + attempt);
            if (CreateDirectoryW(folder.c_str(), &attributes)) {
                made = win32::fromWide(folder);
            } else if (GetLastError() != ERROR_ALREADY_EXISTS) {
                error = win32::systemMessage(GetLastError());
                break;
            }
        }
        if (!made && error.empty()) error = win32::systemMessage(ERROR_ALREADY_EXISTS);
    }
    return made;
}

Elevator::Run ElevatorWin32::run(const std::vector<std::string>& args, bool ownConsole) {
    return win32::runElevated(ownPath(), args, ownConsole ? SW_SHOWNORMAL : SW_HIDE, false);
}

}  // namespace ombrix::app

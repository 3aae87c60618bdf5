#include "app/win32/guard_sessions.h"

#include <userenv.h>
#include <wtsapi32.h>

#include "platform/processes.h"
#include "platform/text.h"
#include "platform/win32/machine.h"
#include "platform/win32/run_elevated.h"
#include "platform/win32/wide.h"

namespace ombrix::win32 {
namespace {

// Wine's session calls answer with no session at all, which Windows never
// does (its services' session 0 is always listed): there the console's
// session stands for the one signed-in user. Both must hold, so no
// Windows reaches this.
bool underWine() { return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr; }

// The interactive desktop. Wine names the one its programs share in its own
// setting (a virtual desktop of another name), which Windows has not.
std::wstring sessionDesktop() {
    if (underWine()) {
        wchar_t name[64] = {};
        DWORD size = sizeof name;
        if (RegGetValueW(HKEY_CURRENT_USER, L"Software\\Wine\\Explorer", L"Desktop", RRF_RT_REG_SZ, nullptr, name,
                         &size) == ERROR_SUCCESS &&
            name[0] != L'\0') {
            return std::wstring(L"winsta0\\") + name;
        }
    }
    return L"winsta0\\default";
}

bool hasUser(DWORD session) {
    wchar_t* name = nullptr;
    DWORD bytes = 0;
    if (!WTSQuerySessionInformationW(WTS_CURRENT_SERVER_HANDLE, session, WTSUserName, &name, &bytes)) return false;
    const bool any = name != nullptr && name[0] != L'\0';
    WTSFreeMemory(name);
    return any;
}

std::wstring fileNameOf(const std::wstring& path) {
    const std::size_t at = path.find_last_of(L"\\/");
    return at == std::wstring::npos ? path : path.substr(at + 1);
}

UniqueKernelHandle runningIn(DWORD session, const std::wstring& program) {
    const std::string wanted = fromWide(fileNameOf(program));
    for (const platform::ProcessEntry& entry : makeProcesses()->snapshot()) {
        DWORD its = 0;
        if (!equalsNoCase(entry.imageName, wanted) || !ProcessIdToSessionId(entry.id, &its) || its != session) {
            continue;
        }
        UniqueKernelHandle process(OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, entry.id));
        // Only the program itself: a pupil's copy of another program under
        // its name, started anywhere else, is no guard's program.
        wchar_t path[MAX_PATH * 2] = {};
        DWORD size = MAX_PATH * 2;
        if (process && QueryFullProcessImageNameW(process.get(), 0, path, &size) &&
            equalsNoCase(fromWide(path), fromWide(program))) {
            return process;
        }
    }
    return {};
}

}  // namespace

std::vector<app::SessionId> signedInSessions() {
    std::vector<app::SessionId> found;
    WTS_SESSION_INFOW* sessions = nullptr;
    DWORD count = 0;
    if (WTSEnumerateSessionsW(WTS_CURRENT_SERVER_HANDLE, 0, 1, &sessions, &count)) {
        for (DWORD i = 0; i < count; ++i) {
            const WTS_SESSION_INFOW& s = sessions[i];
            const bool present = s.State == WTSActive || s.State == WTSConnected || s.State == WTSDisconnected;
            if (present && hasUser(s.SessionId)) found.push_back(s.SessionId);
        }
        WTSFreeMemory(sessions);
    }
    if (count == 0 && underWine()) {
        const DWORD console = WTSGetActiveConsoleSessionId();
        if (console != 0xFFFFFFFF) found.push_back(console);
    }
    return found;
}

UniqueKernelHandle programIn(app::SessionId session, const std::wstring& program, std::string& error) {
    if (UniqueKernelHandle running = runningIn(session, program)) return running;
    HANDLE raw = nullptr;
    if (!WTSQueryUserToken(session, &raw)) {
        error = systemMessage(GetLastError());
        return {};
    }
    const UniqueKernelHandle token(raw);
    // Windows gives the session's own token already; Wine gives this
    // process's, and starts the program in the session the token names.
    DWORD inSession = session;
    (void)SetTokenInformation(token.get(), TokenSessionId, &inSession, sizeof inSession);
    void* environment = nullptr;
    if (!CreateEnvironmentBlock(&environment, token.get(), FALSE)) environment = nullptr;
    std::wstring desktop = sessionDesktop();
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.lpDesktop = desktop.data();
    std::wstring line = quoteArgument(program);
    const std::wstring folder = program.substr(0, program.find_last_of(L"\\/"));
    PROCESS_INFORMATION info{};
    const BOOL started = CreateProcessAsUserW(token.get(), program.c_str(), line.data(), nullptr, nullptr, FALSE,
                                              CREATE_UNICODE_ENVIRONMENT, environment, folder.c_str(), &startup, &info);
    const DWORD failure = GetLastError();
    if (environment) DestroyEnvironmentBlock(environment);
    if (!started) {
        error = systemMessage(failure);
        return {};
    }
    CloseHandle(info.hThread);
    return UniqueKernelHandle(info.hProcess);
}

}  // namespace ombrix::win32

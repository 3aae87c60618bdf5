#pragma once
// The guard service as the others see it: its name for the service control
// manager, its channel (a named pipe only administrators and the system may
// open), and the calls ombrixctl and the program make on it.

#include <windows.h>

#include <optional>
#include <string>

#include "platform/win32/handles.h"

namespace ombrix::win32 {

inline constexpr const wchar_t* kGuardServiceName = L"OmbrixGuard";
inline constexpr const wchar_t* kGuardDisplayName = L"Ombrix guard";
inline constexpr const wchar_t* kGuardPipeName = L"\\\\.\\pipe\\OmbrixGuard";
inline constexpr const wchar_t* kGuardExeName = L"ombrixguard.exe";

// The channel's access list: administrators and the system, nobody else,
// nothing inherited.
inline constexpr const wchar_t* kGuardPipeSddl = L"D:P(A;;GA;;;SY)(A;;GA;;;BA)";
// The service's own: the system and administrators control it; signed-in
// users may query its state and settings, never start, stop, pause or
// reconfigure it.
inline constexpr const wchar_t* kGuardServiceSddl =
    L"D:(A;;CCLCSWRPWPDTLOCRRC;;;SY)(A;;CCDCLCSWRPWPDTLOCRSDRCWDWO;;;BA)(A;;CCLCSWLORC;;;AU)";

inline void closeServiceHandle(SC_HANDLE h) { CloseServiceHandle(h); }
using UniqueServiceHandle = UniqueHandle<SC_HANDLE, closeServiceHandle, nullptr>;

// The service's state and, while it runs, its process; nullopt with the
// system's words in `error` when it is not installed or cannot be asked.
struct GuardServiceState {
    DWORD state = 0;  // SERVICE_RUNNING, SERVICE_STOPPED, ...
    DWORD processId = 0;
};
[[nodiscard]] std::optional<GuardServiceState> queryGuardService(std::string& error, bool* installed = nullptr);

// One request and its reply over the channel. The reply is taken only from
// the service's own process (the one the service control manager runs), so
// a pipe of the same name made by someone else first is never believed.
[[nodiscard]] std::optional<std::string> askGuard(const std::string& request, std::string& error);

// Starts or stops the service and waits (up to 30 s) until it got there.
[[nodiscard]] bool startGuardService(std::string& error);
[[nodiscard]] bool stopGuardService(std::string& error);

}  // namespace ombrix::win32

#include "platform/win32/guard_channel.h"

#include "platform/win32/wide.h"

namespace ombrix::win32 {
namespace {

constexpr DWORD kChannelTimeoutMs = 5'000;
constexpr DWORD kServiceWaitMs = 30'000;

UniqueServiceHandle openGuard(DWORD access, std::string& error, bool* installed) {
    if (installed) *installed = false;
    const UniqueServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    if (!manager) {
        error = systemMessage(GetLastError());
        return {};
    }
    UniqueServiceHandle service(OpenServiceW(manager.get(), kGuardServiceName, access));
    const DWORD failure = GetLastError();
    if (installed) *installed = service || failure != ERROR_SERVICE_DOES_NOT_EXIST;
    if (!service) error = systemMessage(failure);
    return service;
}

std::optional<GuardServiceState> stateOf(SC_HANDLE service, std::string& error) {
    SERVICE_STATUS_PROCESS status{};
    DWORD needed = 0;
    if (!QueryServiceStatusEx(service, SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status), sizeof status,
                              &needed)) {
        error = systemMessage(GetLastError());
        return std::nullopt;
    }
    return GuardServiceState{status.dwCurrentState, status.dwProcessId};
}

// Waits until the service leaves `passing` (a pending state) for `wanted`.
bool waitFor(SC_HANDLE service, DWORD wanted, std::string& error) {
    const ULONGLONG deadline = GetTickCount64() + kServiceWaitMs;
    while (true) {
        const auto state = stateOf(service, error);
        if (!state) return false;
        if (state->state == wanted) return true;
        if (GetTickCount64() >= deadline) {
            error = "the service did not get there within 30 s";
            return false;
        }
        Sleep(50);
    }
}

}  // namespace

std::optional<GuardServiceState> queryGuardService(std::string& error, bool* installed) {
    const UniqueServiceHandle service = openGuard(SERVICE_QUERY_STATUS, error, installed);
    if (!service) return std::nullopt;
    return stateOf(service.get(), error);
}

std::optional<std::string> askGuard(const std::string& request, std::string& error) {
    const auto state = queryGuardService(error);
    if (!state) return std::nullopt;
    if (state->state != SERVICE_RUNNING) {
        error = "the service is not running";
        return std::nullopt;
    }
    if (!WaitNamedPipeW(kGuardPipeName, kChannelTimeoutMs) && GetLastError() != ERROR_FILE_NOT_FOUND) {
        error = systemMessage(GetLastError());
        return std::nullopt;
    }
    // No impersonation beyond identification: a server that is not ours
    // learns who asked and nothing more.
    const UniqueKernelHandle pipe = adoptInvalidOnFailure(
        CreateFileW(kGuardPipeName, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                    FILE_FLAG_OVERLAPPED | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION, nullptr));
    if (!pipe) {
        error = systemMessage(GetLastError());
        return std::nullopt;
    }
    ULONG server = 0;
    if (!GetNamedPipeServerProcessId(pipe.get(), &server) || server != state->processId) {
        error = "the channel is not served by the Ombrix guard service";
        return std::nullopt;
    }
    DWORD mode = PIPE_READMODE_MESSAGE;
    SetNamedPipeHandleState(pipe.get(), &mode, nullptr, nullptr);
    // A service that hangs must not hang the program's exit with it.
    const UniqueKernelHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const auto transfer = [&](bool write, void* data, DWORD size, DWORD& done) {
        OVERLAPPED overlapped{};
        overlapped.hEvent = event.get();
        ResetEvent(event.get());
        done = 0;
        const BOOL now = write ? WriteFile(pipe.get(), data, size, nullptr, &overlapped)
                               : ReadFile(pipe.get(), data, size, nullptr, &overlapped);
        if (!now && GetLastError() != ERROR_IO_PENDING && GetLastError() != ERROR_MORE_DATA) return false;
        if (WaitForSingleObject(event.get(), kChannelTimeoutMs) != WAIT_OBJECT_0) {
            CancelIo(pipe.get());
            (void)GetOverlappedResult(pipe.get(), &overlapped, &done, TRUE);
            SetLastError(ERROR_TIMEOUT);
            return false;
        }
        return GetOverlappedResult(pipe.get(), &overlapped, &done, FALSE) != 0;
    };
    std::string message = request;
    DWORD done = 0;
    if (!event || !transfer(true, message.data(), static_cast<DWORD>(message.size()), done)) {
        error = systemMessage(GetLastError());
        return std::nullopt;
    }
    std::string reply;
    char buffer[1024];
    while (true) {
        const bool whole = transfer(false, buffer, sizeof buffer, done);
        reply.append(buffer, done);
        if (whole) break;
        if (GetLastError() != ERROR_MORE_DATA) {
            error = systemMessage(GetLastError());
            return std::nullopt;
        }
    }
    return reply;
}

bool startGuardService(std::string& error) {
    const UniqueServiceHandle service = openGuard(SERVICE_START | SERVICE_QUERY_STATUS, error, nullptr);
    if (!service) return false;
    if (!StartServiceW(service.get(), 0, nullptr) && GetLastError() != ERROR_SERVICE_ALREADY_RUNNING) {
        error = systemMessage(GetLastError());
        return false;
    }
    return waitFor(service.get(), SERVICE_RUNNING, error);
}

bool stopGuardService(std::string& error) {
    const UniqueServiceHandle service = openGuard(SERVICE_STOP | SERVICE_QUERY_STATUS, error, nullptr);
    if (!service) return false;
    SERVICE_STATUS status{};
    if (!ControlService(service.get(), SERVICE_CONTROL_STOP, &status) && GetLastError() != ERROR_SERVICE_NOT_ACTIVE) {
        error = systemMessage(GetLastError());
        return false;
    }
    return waitFor(service.get(), SERVICE_STOPPED, error);
}

}  // namespace ombrix::win32

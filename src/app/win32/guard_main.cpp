// ombrixguard.exe: the service that keeps ombrix.exe running in every
// signed-in session, as that session's user, and starts it again at once
// when it ends without the administrator's exit. It also follows the managed
// profiles' file, since a pupil's session may not write the store.
//
//   ombrixguard.exe            run by the service control manager
//   ombrixguard.exe install    register (or update) and start the service
//   ombrixguard.exe remove     stop and unregister it
#include <windows.h>

#include <sddl.h>
#include <wtsapi32.h>

#include <cstdio>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "app/guard.h"
#include "app/win32/guard_sessions.h"
#include "core/events.h"
#include "core/settings_reg.h"
#include "core/store_location.h"
#include "platform/failures.h"
#include "platform/folder_watch.h"
#include "platform/registry.h"
#include "platform/system.h"
#include "platform/win32/debugger_output.h"
#include "platform/win32/guard_channel.h"
#include "platform/win32/machine.h"
#include "platform/win32/wide.h"
#include "profiles/managed_follower.h"

namespace {

using namespace ombrix;
using win32::UniqueKernelHandle;

// A file in this program's folder.
std::wstring besideThis(const std::string& name) {
    return win32::toWide(core::joinPath(platform::realSystem().programFolder(), name, '\\'));
}

std::wstring ownPath() { return besideThis(platform::realSystem().programFileName()); }

// The channel's requests are a word; anything longer is no request of ours.
constexpr DWORD kRequestLimit = 64;
constexpr DWORD kClientPatienceMs = 2'000;
// The follower's refusals reach the event log from this thread at least this often.
constexpr DWORD kLongestSleepMs = 60'000;

class GuardService {
public:
    GuardService()
        : stop_(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
          wake_(CreateEventW(nullptr, FALSE, FALSE, nullptr)),
          clock_(win32::makeClock()),
          log_(win32::makeEventLog()),
          events_(log_.get(), *clock_),
          program_(besideThis("ombrix.exe")) {}

    void run() {
        {
            const std::lock_guard hold(lock_);
            for (const app::SessionId s : win32::signedInSessions()) guard_.signedIn(s, clock_->tickMilliseconds());
        }
        std::thread channel([this] { platform::guarded([&] { serveChannel(); }); });
        platform::guarded([&] { followManagedProfiles(); });
        platform::guarded([&] { loop(); });
        SetEvent(stop_.get());
        channel.join();
        follower_.reset();
    }

    void stop() { SetEvent(stop_.get()); }

    void sessionChanged(DWORD event, DWORD session) {
        if (event != WTS_SESSION_LOGON && event != WTS_SESSION_LOGOFF) return;
        {
            const std::lock_guard hold(lock_);
            if (event == WTS_SESSION_LOGON) {
                guard_.signedIn(session, clock_->tickMilliseconds());
            } else {
                guard_.signedOut(session);
            }
        }
        SetEvent(wake_.get());
    }

private:
    void loop() {
        while (true) {
            startDue();
            std::vector<HANDLE> handles = {stop_.get(), wake_.get()};
            std::vector<app::SessionId> sessions;
            for (const auto& [session, process] : processes_) {
                if (handles.size() == MAXIMUM_WAIT_OBJECTS) break;
                handles.push_back(process.get());
                sessions.push_back(session);
            }
            DWORD timeout = kLongestSleepMs;
            {
                const std::lock_guard hold(lock_);
                if (const auto next = guard_.nextDueIn(clock_->tickMilliseconds())) {
                    timeout = static_cast<DWORD>(std::min<std::uint64_t>(*next, kLongestSleepMs));
                }
            }
            const DWORD woke = WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), FALSE, timeout);
            reportFollowerRefusals();
            if (woke == WAIT_OBJECT_0) return;
            if (woke >= WAIT_OBJECT_0 + 2 && woke < WAIT_OBJECT_0 + handles.size()) {
                ended(sessions[woke - WAIT_OBJECT_0 - 2]);
            } else if (woke == WAIT_FAILED) {
                platform::recordFailure("the guard's wait failed", {}, {GetLastError()});
                Sleep(100);
            }
        }
    }

    void startDue() {
        std::vector<app::SessionId> due;
        {
            const std::lock_guard hold(lock_);
            due = guard_.takeDue(clock_->tickMilliseconds());
        }
        for (const app::SessionId session : due) {
            std::string error;
            UniqueKernelHandle process = win32::programIn(session, program_, error);
            if (process) {
                processes_[session] = std::move(process);
                continue;
            }
            platform::recordFailure("the guard could not start the program in a session",
                                    std::to_string(session) + ": " + error);
            const std::lock_guard hold(lock_);
            (void)guard_.programEnded(session, clock_->tickMilliseconds());
        }
    }

    void ended(app::SessionId session) {
        DWORD code = 0;
        GetExitCodeProcess(processes_[session].get(), &code);
        processes_.erase(session);
        std::optional<std::uint64_t> wait;
        bool stoodDown = false;
        {
            const std::lock_guard hold(lock_);
            wait = guard_.programEnded(session, clock_->tickMilliseconds());
            const auto states = guard_.sessions();
            const auto found = states.find(session);
            stoodDown = found != states.end() && found->second.stoodDown;
        }
        if (!wait) {
            if (stoodDown) events_.report(core::EventId::GuardStoodDown, {std::to_string(session)});
            return;
        }
        platform::recordFailure("the program ended without the administrator's exit and is started again",
                                std::to_string(session) + ", exit code " + std::to_string(code));
        events_.report(core::EventId::ProgramRestarted, {std::to_string(session), std::to_string(code)});
        if (*wait > 0) {
            events_.report(core::EventId::RestartsSlowed, {std::to_string(session), std::to_string(*wait / 1000)});
        }
    }

    // One instance, made first: a pipe of this name someone made earlier
    // makes ours fail, and is never served (the clients check the server).
    void serveChannel() {
        PSECURITY_DESCRIPTOR descriptor = nullptr;
        if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(win32::kGuardPipeSddl, SDDL_REVISION_1, &descriptor,
                                                                  nullptr)) {
            platform::recordFailure("the guard's channel has no access list", {}, {GetLastError()});
            return;
        }
        const win32::UniqueLocal owned(descriptor);
        SECURITY_ATTRIBUTES attributes{sizeof attributes, descriptor, FALSE};
        const UniqueKernelHandle connected(CreateEventW(nullptr, TRUE, FALSE, nullptr));
        UniqueKernelHandle pipe;
        while (!pipe) {
            pipe = win32::adoptInvalidOnFailure(CreateNamedPipeW(
                win32::kGuardPipeName, PIPE_ACCESS_DUPLEX | FILE_FLAG_FIRST_PIPE_INSTANCE | FILE_FLAG_OVERLAPPED,
                PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS, 1, 4096, 4096, 0,
                &attributes));
            if (pipe) break;
            platform::recordFailure("the guard's channel could not be made (taken by another process?)", {},
                                    {GetLastError()});
            if (WaitForSingleObject(stop_.get(), 5'000) == WAIT_OBJECT_0) return;
        }
        while (true) {
            OVERLAPPED overlapped{};
            overlapped.hEvent = connected.get();
            ResetEvent(connected.get());
            if (!ConnectNamedPipe(pipe.get(), &overlapped)) {
                const DWORD error = GetLastError();
                if (error == ERROR_IO_PENDING) {
                    const HANDLE waits[] = {stop_.get(), connected.get()};
                    if (WaitForMultipleObjects(2, waits, FALSE, INFINITE) != WAIT_OBJECT_0 + 1) {
                        CancelIo(pipe.get());
                        return;
                    }
                } else if (error != ERROR_PIPE_CONNECTED) {
                    platform::recordFailure("the guard's channel could not take a client", {}, {error});
                    if (WaitForSingleObject(stop_.get(), 1'000) == WAIT_OBJECT_0) return;
                    continue;
                }
            }
            platform::guarded([&] { answer(pipe.get(), connected.get()); });
            FlushFileBuffers(pipe.get());
            DisconnectNamedPipe(pipe.get());
        }
    }

    void answer(HANDLE pipe, HANDLE event) {
        char buffer[kRequestLimit] = {};
        OVERLAPPED overlapped{};
        overlapped.hEvent = event;
        ResetEvent(event);
        DWORD read = 0;
        if (!ReadFile(pipe, buffer, sizeof buffer, nullptr, &overlapped) && GetLastError() != ERROR_IO_PENDING) return;
        if (WaitForSingleObject(event, kClientPatienceMs) != WAIT_OBJECT_0) {
            CancelIo(pipe);
            return;
        }
        if (!GetOverlappedResult(pipe, &overlapped, &read, FALSE)) return;
        const std::string reply = replyTo(pipe, std::string_view(buffer, read));
        DWORD written = 0;
        ResetEvent(event);
        if (!WriteFile(pipe, reply.data(), static_cast<DWORD>(reply.size()), nullptr, &overlapped) &&
            GetLastError() != ERROR_IO_PENDING) {
            return;
        }
        if (WaitForSingleObject(event, kClientPatienceMs) != WAIT_OBJECT_0) CancelIo(pipe);
        (void)GetOverlappedResult(pipe, &overlapped, &written, FALSE);
    }

    std::string replyTo(HANDLE pipe, std::string_view request) {
        ULONG client = 0;
        DWORD session = 0;
        if (!GetNamedPipeClientProcessId(pipe, &client) || !ProcessIdToSessionId(client, &session)) {
            return "refused: the asking process cannot be identified";
        }
        // The access list already keeps everyone else out; this holds even
        // if it were loosened by hand.
        if (!clientIsAdministrator(pipe)) return "refused: only an administrator may ask";
        std::string reply;
        {
            const std::lock_guard hold(lock_);
            reply = app::answerGuardRequest(guard_, request, session);
        }
        SetEvent(wake_.get());
        return reply;
    }

    static bool clientIsAdministrator(HANDLE pipe) {
        if (!ImpersonateNamedPipeClient(pipe)) return false;
        HANDLE raw = nullptr;
        const BOOL opened = OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &raw);
        RevertToSelf();
        if (!opened) return false;
        const UniqueKernelHandle token(raw);
        BYTE administrators[SECURITY_MAX_SID_SIZE];
        BYTE system[SECURITY_MAX_SID_SIZE];
        DWORD size = sizeof administrators;
        BOOL isAdministrator = FALSE;
        BOOL isSystem = FALSE;
        if (CreateWellKnownSid(WinBuiltinAdministratorsSid, nullptr, administrators, &size)) {
            (void)CheckTokenMembership(token.get(), administrators, &isAdministrator);
        }
        size = sizeof system;
        if (CreateWellKnownSid(WinLocalSystemSid, nullptr, system, &size)) {
            (void)CheckTokenMembership(token.get(), system, &isSystem);
        }
        // An administrator's token that is not elevated (a consent not given)
        // holds the group for denying only; asked as well, in case.
        TOKEN_ELEVATION elevation{};
        DWORD got = 0;
        const bool elevated = GetTokenInformation(token.get(), TokenElevation, &elevation, sizeof elevation, &got) &&
                              elevation.TokenIsElevated != 0;
        return isSystem || (isAdministrator && elevated);
    }

    // The managed profiles' file, imported into the store, which only an
    // administrator's process (this one) may write; the programs in the
    // sessions reload what changed.
    void followManagedProfiles() {
        platform::Registry& registry = platform::systemRegistry();
        const std::string folder =
            core::GetSettingRegRoot(registry, 1, core::kProgramTitle, core::kStoreSection, core::kStoreKey);
        if (folder.empty()) return;
        core::traceInLogFolder(folder, '\\', "ombrixguard");
        watch_ = platform::makeFolderWatch();
        follower_.emplace(registry, *watch_, core::joinPath(folder, core::kDatabaseFileName, '\\'));
        follower_->start();
    }

    void reportFollowerRefusals() {
        if (!follower_) return;
        (void)follower_->takeChanges();
        for (const auto& r : follower_->takeRefusals()) {
            events_.report(core::EventId::ManagedFileRefused, {r.subject, r.reason});
        }
    }

    UniqueKernelHandle stop_;
    UniqueKernelHandle wake_;
    std::unique_ptr<platform::Clock> clock_;
    std::unique_ptr<platform::EventLog> log_;
    core::Events events_;
    std::wstring program_;
    std::mutex lock_;
    app::Guard guard_;  // under lock_
    std::map<app::SessionId, UniqueKernelHandle> processes_;
    std::unique_ptr<platform::FolderWatch> watch_;
    std::optional<profiles::ManagedFollower> follower_;
};

GuardService* g_service = nullptr;
SERVICE_STATUS_HANDLE g_status = nullptr;

void report(DWORD state, DWORD exitCode = NO_ERROR) {
    SERVICE_STATUS status{};
    status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    status.dwCurrentState = state;
    status.dwControlsAccepted =
        state == SERVICE_RUNNING ? SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_SHUTDOWN | SERVICE_ACCEPT_SESSIONCHANGE : 0;
    status.dwWin32ExitCode = exitCode;
    status.dwWaitHint = state == SERVICE_RUNNING || state == SERVICE_STOPPED ? 0 : 10'000;
    SetServiceStatus(g_status, &status);
}

DWORD WINAPI control(DWORD code, DWORD eventType, void* eventData, void*) {
    switch (code) {
        case SERVICE_CONTROL_STOP:
        case SERVICE_CONTROL_SHUTDOWN:
            report(SERVICE_STOP_PENDING);
            if (g_service) g_service->stop();
            return NO_ERROR;
        case SERVICE_CONTROL_SESSIONCHANGE:
            if (g_service && eventData) {
                g_service->sessionChanged(eventType, static_cast<WTSSESSION_NOTIFICATION*>(eventData)->dwSessionId);
            }
            return NO_ERROR;
        case SERVICE_CONTROL_INTERROGATE:
            return NO_ERROR;
        default:
            return ERROR_CALL_NOT_IMPLEMENTED;
    }
}

void WINAPI serviceMain(DWORD, wchar_t**) {
    g_status = RegisterServiceCtrlHandlerExW(win32::kGuardServiceName, control, nullptr);
    if (!g_status) return;
    report(SERVICE_START_PENDING);
    platform::guarded([] {
        GuardService service;
        g_service = &service;
        report(SERVICE_RUNNING);
        service.run();
        g_service = nullptr;
    });
    report(SERVICE_STOPPED);
}

int fail(const char* what, DWORD error) {
    std::fprintf(stderr, "ombrixguard: %s: %s\n", what, win32::systemMessage(error).c_str());
    return 1;
}

// Registers the service, or updates one an earlier version registered (an
// upgrade), gives it its access list, and starts it.
int install() {
    const win32::UniqueServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CREATE_SERVICE));
    if (!manager) return fail("the service control manager cannot be opened", GetLastError());
    const std::wstring command = L"\"" + ownPath() + L"\"";
    win32::UniqueServiceHandle service(CreateServiceW(
        manager.get(), win32::kGuardServiceName, win32::kGuardDisplayName, SERVICE_ALL_ACCESS, SERVICE_WIN32_OWN_PROCESS,
        SERVICE_AUTO_START, SERVICE_ERROR_NORMAL, command.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr));
    if (!service && GetLastError() == ERROR_SERVICE_EXISTS) {
        service.reset(OpenServiceW(manager.get(), win32::kGuardServiceName, SERVICE_ALL_ACCESS));
        if (service && !ChangeServiceConfigW(service.get(), SERVICE_WIN32_OWN_PROCESS, SERVICE_AUTO_START,
                                             SERVICE_ERROR_NORMAL, command.c_str(), nullptr, nullptr, nullptr, nullptr,
                                             nullptr, win32::kGuardDisplayName)) {
            return fail("the service cannot be updated", GetLastError());
        }
    }
    if (!service) return fail("the service cannot be registered", GetLastError());
    SERVICE_DESCRIPTIONW description{const_cast<wchar_t*>(L"Keeps Ombrix running in every signed-in session.")};
    (void)ChangeServiceConfig2W(service.get(), SERVICE_CONFIG_DESCRIPTION, &description);
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(win32::kGuardServiceSddl, SDDL_REVISION_1, &descriptor,
                                                              nullptr)) {
        return fail("the service's access list cannot be made", GetLastError());
    }
    const win32::UniqueLocal owned(descriptor);
    if (!SetServiceObjectSecurity(service.get(), DACL_SECURITY_INFORMATION, descriptor)) {
        return fail("the service's access list cannot be set", GetLastError());
    }
    // The service starts the program now: the machine's Run entry would
    // start a second one at every sign-in.
    (void)RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run", L"Ombrix");
    std::string error;
    if (!win32::startGuardService(error)) {
        std::fprintf(stderr, "ombrixguard: the service cannot be started: %s\n", error.c_str());
        return 1;
    }
    return 0;
}

// Stops the service and waits for its end, then unregisters it. A machine
// without it is no failure: removal is asked for on every uninstall.
int remove() {
    const win32::UniqueServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    if (!manager) return fail("the service control manager cannot be opened", GetLastError());
    const win32::UniqueServiceHandle service(OpenServiceW(manager.get(), win32::kGuardServiceName,
                                                          SERVICE_STOP | SERVICE_QUERY_STATUS | DELETE));
    if (!service) {
        return GetLastError() == ERROR_SERVICE_DOES_NOT_EXIST ? 0 : fail("the service cannot be opened", GetLastError());
    }
    std::string error;
    const auto running = win32::queryGuardService(error);
    if (!win32::stopGuardService(error)) {
        std::fprintf(stderr, "ombrixguard: the service cannot be stopped: %s\n", error.c_str());
        return 1;
    }
    // Stopped is said before the process has gone; its file is replaced or
    // deleted next.
    if (running && running->processId != 0) {
        const UniqueKernelHandle process(OpenProcess(SYNCHRONIZE, FALSE, running->processId));
        if (process) WaitForSingleObject(process.get(), 10'000);
    }
    if (!DeleteService(service.get()) && GetLastError() != ERROR_SERVICE_MARKED_FOR_DELETE) {
        return fail("the service cannot be removed", GetLastError());
    }
    return 0;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    win32::sendFailuresToDebugger();
    if (argc == 2 && std::wstring_view(argv[1]) == L"install") return install();
    if (argc == 2 && std::wstring_view(argv[1]) == L"remove") return remove();
    if (argc != 1) {
        std::fprintf(stderr, "usage: ombrixguard.exe [install | remove]\n");
        return 2;
    }
    const SERVICE_TABLE_ENTRYW table[] = {{const_cast<wchar_t*>(win32::kGuardServiceName), serviceMain},
                                          {nullptr, nullptr}};
    if (!StartServiceCtrlDispatcherW(table)) {
        return fail("run by the service control manager only (or give install or remove)", GetLastError());
    }
    return 0;
}

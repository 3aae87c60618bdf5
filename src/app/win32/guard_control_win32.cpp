#include "app/win32/guard_control_win32.h"

#include "platform/win32/guard_channel.h"

namespace ombrix::win32 {

std::optional<app::GuardControl::State> GuardControlWin32::state(std::string& error) {
    bool installed = false;
    const auto service = queryGuardService(error, &installed);
    if (!service) return installed ? std::nullopt : std::optional(State::NotInstalled);
    switch (service->state) {
        case SERVICE_RUNNING: return State::Running;
        case SERVICE_STOPPED: return State::Stopped;
        default: return State::Changing;
    }
}

bool GuardControlWin32::start(std::string& error) { return startGuardService(error); }

bool GuardControlWin32::stop(std::string& error) { return stopGuardService(error); }

std::optional<std::string> GuardControlWin32::ask(const std::string& request, std::string& error) {
    return askGuard(request, error);
}

bool GuardControlWin32::standDown(std::string& why) {
    const std::optional<State> now = state(why);
    if (now && *now != State::Running) return true;
    const std::optional<std::string> reply = askGuard("stand-down", why);
    if (reply && *reply != "ok") why = *reply;
    return reply && *reply == "ok";
}

}  // namespace ombrix::win32

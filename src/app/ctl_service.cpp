// ombrixctl service: the guard service that keeps the program running in
// every session. Its state is anyone's to read; starting, stopping it and
// standing it down are an administrator's.
#include <ostream>

#include "app/ctl_session.h"

namespace ombrix::app {
namespace {

const char* stateWord(GuardControl::State state) {
    switch (state) {
        case GuardControl::State::NotInstalled: return "not installed";
        case GuardControl::State::Stopped: return "stopped";
        case GuardControl::State::Running: return "running";
        case GuardControl::State::Changing: return "starting or stopping";
    }
    return "unknown";
}

int cmdService(Session& s, const std::vector<std::string>& args) {
    if (args.size() != 1) return s.usage("service takes status, start, stop or stand-down");
    GuardControl* guard = s.env().guard;
    const std::string& what = args[0];
    if (what != "status" && what != "start" && what != "stop" && what != "stand-down") {
        return s.usage("service takes status, start, stop or stand-down");
    }
    std::string error;
    const std::optional<GuardControl::State> state =
        guard ? guard->state(error) : std::optional(GuardControl::State::NotInstalled);
    if (!state) return s.refuse(msg::GuardServiceFailed, error);
    if (what == "status") {
        s.out() << "service " << stateWord(*state) << "\n";
        if (*state != GuardControl::State::Running) return kOk;
        const std::optional<std::string> sessions = guard->ask("status", error);
        if (!sessions) {
            s.out() << "sessions: unknown (" << error << ")\n";
        } else {
            s.out() << *sessions;
        }
        return kOk;
    }
    if (*state == GuardControl::State::NotInstalled) return s.refuse(msg::GuardServiceFailed, "it is not installed");
    if (what == "start") return guard->start(error) ? kOk : s.refuse(msg::GuardServiceFailed, error);
    if (what == "stop") return guard->stop(error) ? kOk : s.refuse(msg::GuardServiceFailed, error);
    // A stopped guard starts nothing again: there is nothing to stand down.
    if (*state != GuardControl::State::Running) return kOk;
    const std::optional<std::string> reply = guard->ask("stand-down", error);
    if (!reply) return s.refuse(msg::GuardServiceFailed, error);
    if (*reply != "ok") return s.refuse(msg::GuardServiceFailed, *reply);
    return kOk;
}

Elevation statusOnlyReads(const std::vector<std::string>& args) {
    return args.size() == 1 && args[0] == "status" ? Elevation::None : Elevation::Relay;
}

}  // namespace

const std::vector<CtlCommand>& serviceCommands() {
    static const std::vector<CtlCommand> commands = {
        {"service",
         "service status|start|stop|stand-down\n"
         "                the guard service that keeps Ombrix running in every session: its state and\n"
         "                the sessions it guards; start or stop it; stand-down leaves this session\n"
         "                alone until its next sign-in (the administrator's exit asks for it)",
         &cmdService, &statusOnlyReads},
    };
    return commands;
}

}  // namespace ombrix::app

#include "app/guard.h"

#include <algorithm>

namespace ombrix::app {

void Guard::signedIn(SessionId session, std::uint64_t nowMs) {
    Session& s = sessions_[session];
    s.stoodDown = false;
    // A program still running from before (the service started late) is the
    // service's to adopt; the start finds it.
    if (!s.running) s.dueAt = nowMs;
}

void Guard::signedOut(SessionId session) { sessions_.erase(session); }

std::optional<std::uint64_t> Guard::programEnded(SessionId session, std::uint64_t nowMs) {
    const auto found = sessions_.find(session);
    if (found == sessions_.end()) return std::nullopt;
    Session& s = found->second;
    s.running = false;
    if (s.stoodDown) return std::nullopt;
    if (nowMs - s.startedAt >= kGuardQuickRunMs) {
        s.recentEnds.clear();
        s.dueAt = nowMs;
        return 0;
    }
    s.recentEnds.push_back(nowMs);
    while (!s.recentEnds.empty() && nowMs - s.recentEnds.front() >= kGuardCrashWindowMs) s.recentEnds.pop_front();
    std::uint64_t wait = 0;
    if (s.recentEnds.size() > kGuardQuickEnds) {
        const std::size_t beyond = std::min<std::size_t>(s.recentEnds.size() - kGuardQuickEnds - 1, 16);
        wait = std::min(kGuardFirstBackOffMs << beyond, kGuardMaxBackOffMs);
    }
    s.dueAt = nowMs + wait;
    return wait;
}

bool Guard::standDown(SessionId session) {
    const auto found = sessions_.find(session);
    if (found == sessions_.end()) return false;
    found->second.stoodDown = true;
    found->second.dueAt.reset();
    return true;
}

std::vector<SessionId> Guard::takeDue(std::uint64_t nowMs) {
    std::vector<SessionId> due;
    for (auto& [id, s] : sessions_) {
        if (!s.dueAt || *s.dueAt > nowMs || s.stoodDown) continue;
        s.dueAt.reset();
        s.running = true;
        s.startedAt = nowMs;
        due.push_back(id);
    }
    return due;
}

std::optional<std::uint64_t> Guard::nextDueIn(std::uint64_t nowMs) const {
    std::optional<std::uint64_t> next;
    for (const auto& [id, s] : sessions_) {
        if (!s.dueAt || s.stoodDown) continue;
        const std::uint64_t in = *s.dueAt > nowMs ? *s.dueAt - nowMs : 0;
        if (!next || in < *next) next = in;
    }
    return next;
}

std::map<SessionId, Guard::SessionState> Guard::sessions() const {
    std::map<SessionId, SessionState> states;
    for (const auto& [id, s] : sessions_) states[id] = {s.running, s.stoodDown};
    return states;
}

std::string answerGuardRequest(Guard& guard, std::string_view request, SessionId client) {
    if (request == "stand-down") {
        return guard.standDown(client) ? "ok" : "refused: session " + std::to_string(client) + " is not guarded";
    }
    if (request == "status") {
        std::string reply;
        for (const auto& [id, state] : guard.sessions()) {
            reply += "session " + std::to_string(id) + " " +
                     (state.stoodDown ? "stood-down" : state.running ? "running" : "waiting") + "\n";
        }
        return reply;
    }
    return "refused: unknown request";
}

}  // namespace ombrix::app

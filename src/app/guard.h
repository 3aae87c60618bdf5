#pragma once
// The guard's decisions, for the service that keeps the program running in
// every interactive session: when to start it, when to start it again, and
// when to leave a session alone. A plain object fed with what happened and
// the time; the service does the starting and the waiting.

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ombrix::app {

using SessionId = std::uint32_t;

// More quick ends (within kGuardQuickRunMs of their start) than this within
// kGuardCrashWindowMs and the next start waits, kGuardFirstBackOffMs,
// doubling with every further quick end, up to kGuardMaxBackOffMs: a program
// that cannot start is not started a hundred times a second, and is never
// given up on. A program that ran longer was enforcing: its end, however it
// came, is followed by a start at once, so ending the program again and
// again never buys a pupil a longer wait.
inline constexpr std::size_t kGuardQuickEnds = 5;
inline constexpr std::uint64_t kGuardQuickRunMs = 10'000;
inline constexpr std::uint64_t kGuardCrashWindowMs = 60'000;
inline constexpr std::uint64_t kGuardFirstBackOffMs = 1'000;
inline constexpr std::uint64_t kGuardMaxBackOffMs = 8'000;

class Guard {
public:
    // Someone signed in to `session` (or it was there when the service
    // started): the program is due at once, and a stand-down left from an
    // earlier sign-in is over.
    void signedIn(SessionId session, std::uint64_t nowMs);
    // The session ended: it is forgotten.
    void signedOut(SessionId session);
    // The program of `session` ended, or could not be started. Unless the
    // session stood down, the program is due again: at once, or after the
    // back-off. Returns the wait before that start (nullopt: none comes).
    std::optional<std::uint64_t> programEnded(SessionId session, std::uint64_t nowMs);
    // The administrator's exit: no start for `session` until it signs out
    // or in again. False for a session the guard does not know.
    bool standDown(SessionId session);

    // The sessions whose program is due now; each is then taken as running.
    [[nodiscard]] std::vector<SessionId> takeDue(std::uint64_t nowMs);
    // The time until the next start due later, if one is.
    [[nodiscard]] std::optional<std::uint64_t> nextDueIn(std::uint64_t nowMs) const;

    struct SessionState {
        bool running = false;
        bool stoodDown = false;
    };
    // What `ombrixctl service status` shows, by session.
    [[nodiscard]] std::map<SessionId, SessionState> sessions() const;

private:
    struct Session {
        bool running = false;
        bool stoodDown = false;
        std::optional<std::uint64_t> dueAt;
        std::uint64_t startedAt = 0;
        std::deque<std::uint64_t> recentEnds;  // quick ones only
    };
    std::map<SessionId, Session> sessions_;
};

// The service's channel: one request, one reply. `client` is the session of
// the process that asked, as the system reports it (never what the request
// says), so an administrator's exit stands down only its own session.
//   "stand-down" -> "ok", or "refused: ..." for a session not guarded
//   "status"     -> one line per session: "session N running|waiting|stood-down"
[[nodiscard]] std::string answerGuardRequest(Guard& guard, std::string_view request, SessionId client);

}  // namespace ombrix::app

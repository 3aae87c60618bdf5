#pragma once
// The events the program writes to the system's event log, for the tools a
// school uses to collect them from every PC. Each has a fixed identifier,
// so that a subscription or a rule can select it, and fixed data: the
// message file (app/win32/events.mc) numbers the same insertion strings,
// and docs/fleet.md lists them for administrators. Never a password, nor
// anything else a person typed.

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <tuple>
#include <vector>

#include "platform/clock.h"
#include "platform/event_log.h"

namespace ombrix::core {

enum class EventId : std::uint32_t {
    ProgramEnded = 1000,        // a forbidden program: its name, the profile
    WindowClosed = 1001,        // a forbidden window: its title, the profile
    PageBlocked = 1002,         // the address (cut as the log cuts it), the browser, the profile
    StoreLost = 2000,           // the store's file, why it cannot be read
    StoreUnreadable = 2001,     // the store's file, the store's message
    PolicyValueRefused = 2100,  // the policy value's name, why
    ManagedFileRefused = 2101,  // the managed file, why
    AdministratorLogin = 3000,  // no data: the event names the Windows user
    LoginFailed = 3001,         // no data: nothing typed is ever written
    MachineGivenBack = 4000,    // settings given back, settings left for the next start
    ProgramRestarted = 5000,    // the guard: the session, the ended program's exit code
    RestartsSlowed = 5001,      // the guard: the session, the seconds before the next start
    GuardStoodDown = 5002,      // the guard: the session whose administrator exited
};

struct EventKind {
    EventId id;
    platform::EventLevel level;
    std::size_t strings;  // the insertion strings the message file uses
};

// Every event the program writes, in the order of their identifiers.
[[nodiscard]] std::span<const EventKind> eventKinds();

// A piece of data longer than this is cut (at a character): the event
// stays readable, and the system's limit for one string is far above.
inline constexpr std::size_t kEventTextLimit = 2048;
// The same enforcement event with the same data within this time is one
// event: a page reloaded, or a program started again and again, would
// otherwise fill the log many times a second.
inline constexpr std::uint64_t kEventRepeatQuietMs = 60'000;

class Events {
public:
    // Without a log (or while it is null) nothing is written.
    Events(platform::EventLog* log, platform::Clock& clock) : log_(log), clock_(clock) {}
    Events(const Events&) = delete;
    Events& operator=(const Events&) = delete;

    // Writes one event. `data` holds the kind's insertion strings in order;
    // a missing one is written empty, an extra one is dropped. A refusal
    // by the system is traced, once.
    void report(EventId id, std::vector<std::string> data);
    // As report, except that the same event with the same data reported
    // less than kEventRepeatQuietMs ago is not written again.
    void reportOnce(EventId id, std::vector<std::string> data);

private:
    platform::EventLog* log_;
    platform::Clock& clock_;
    std::map<std::tuple<EventId, std::vector<std::string>>, std::uint64_t> lastWritten_;
    bool refusalTraced_ = false;
};

}  // namespace ombrix::core

#pragma once
// What the enforcement's timers share: the machine they act on, the profile
// in use as the loaders read it, and the holders the site and log timers both
// read and write. Each timer is one class built on TimerPart.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/database.h"
#include "core/events.h"
#include "core/profile_switches.h"
#include "core/timers.h"
#include "enforce/enforcement_host.h"
#include "enforce/log_file.h"
#include "enforce/site_list.h"
#include "platform/browsers.h"
#include "platform/clock.h"
#include "platform/input.h"
#include "platform/processes.h"
#include "platform/windows.h"
#include "support/messages.h"

namespace ombrix {
class Language;
}

namespace ombrix::enforce {

struct EnforcementMachine {
    core::Database& db;  // the store
    Language& language;
    platform::Processes& processes;
    platform::WindowSystem& windows;
    platform::KeyboardInput& keyboard;
    platform::BrowserAddresses& browsers;
    platform::ShellBrowserWindows& shellWindows;
    platform::Clock& clock;
    platform::EventPump& pump;
    core::Timers& timers;
    EnforcementHost& host;
    VisitedSitesLog& log;
    core::Events* events = nullptr;  // none: nothing goes to the event log
};

// What the site and log timers remember between ticks.
struct Holders {
    std::string chromeAddress, edgeAddress, firefoxAddress;  // the address last read
    std::string chromeLastAccepted, edgeLastAccepted, firefoxLastAccepted;  // the last page that passed
    std::string closingAddress;  // the page being closed
    std::string chromeLastLogged, edgeLastLogged, firefoxLastLogged;  // the address last logged
    std::vector<std::string> explorerAddressesLogged;  // Internet Explorer addresses logged this session
    // The browsers found by what they show, by lowered image name.
    struct Other {
        std::string address, lastAccepted, lastLogged;
        std::optional<std::uint64_t> unreadableSince;  // clock ms: its address bar was first missed
        bool traced = false;                           // its unreadable address is in the trace
    };
    std::map<std::string, Other> others;
};

// The profile in use as the three loaders left it.
struct EnforcedProfile {
    long long id = 0;
    std::string name;  // Profili.Profilo, "" when the profile has no row
    core::ProfileSwitches switches;
    SiteList sites;
    bool allowedList = false;
    // With the spare element: the names are [0, size() - 1).
    std::vector<std::string> processNames{std::string()};
    std::vector<std::string> windowTitles{std::string()};
    Holders holders;
};

class TimerPart {
public:
    TimerPart(EnforcementMachine& machine, EnforcedProfile& profile) : m_(machine), p_(profile) {}
    TimerPart(const TimerPart&) = delete;
    TimerPart& operator=(const TimerPart&) = delete;

    [[nodiscard]] std::string text(MessageId id);
    void notify(const std::string& text, int kind);
    int KillProcess(std::string_view imageName);
    [[nodiscard]] bool IsProcessRunning(std::string_view imageName);
    void killUntilGone(std::string_view imageName);
    // As KillProcess and killUntilGone, also by the names the executable
    // keeps inside: for the forbidden programs, which a pupil may rename.
    int KillForbiddenProcess(std::string_view name);
    void killForbiddenUntilGone(std::string_view name);
    // Writes one visited address, unless the site list forbids it (forbidden
    // list) or does not allow it (allowed list); with no profile in use
    // everything is written. The site and the log timer both write.
    void logVisitedSite(const std::string& url);
    [[nodiscard]] std::string startPage() const { return p_.switches.homePage; }
    // An enforcement event, with the profile in use as its last piece of
    // data; the same one again within a minute is not written again.
    void reportEvent(core::EventId id, std::vector<std::string> data);
    // A page blocked in `browser` (its image name): the address as the log keeps it.
    void reportPageBlocked(std::string_view address, std::string_view browser);

protected:
    ~TimerPart() = default;

    // Marks this timer's tick as running: a tick that lets events run is not
    // entered again by the same timer while it runs.
    class Entered {
    public:
        explicit Entered(TimerPart& part) : flag_(part.busy_), first_(!part.busy_) { flag_ = true; }
        ~Entered() {
            if (first_) flag_ = false;
        }
        Entered(const Entered&) = delete;
        Entered& operator=(const Entered&) = delete;
        [[nodiscard]] bool first() const { return first_; }

    private:
        bool& flag_;
        bool first_;
    };

    EnforcementMachine& m_;
    EnforcedProfile& p_;

private:
    bool busy_ = false;
};

}  // namespace ombrix::enforce

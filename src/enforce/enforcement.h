#pragma once
// The enforcement of the profile in use: its three lists, and the five timers
// that act on them (sites, processes, windows, the task manager, the
// visited-sites log), each its own class. A plain object the controller
// holds; the Win32 main window calls each timer's tick from WM_TIMER, tests
// call them directly. Nothing throws out of a tick: a failed step is recorded
// and the tick goes on.

#include <string>
#include <vector>

#include "core/browser_policy_sink.h"
#include "core/profile_switches.h"
#include "core/site_verdicts.h"
#include "enforce/log_timer.h"
#include "enforce/process_timer.h"
#include "enforce/site_timer.h"
#include "enforce/task_manager_timer.h"
#include "enforce/timer_part.h"
#include "enforce/window_timer.h"

namespace ombrix::enforce {

class Enforcement final : public core::ProfileLists, public core::SiteVerdicts {
public:
    using Machine = EnforcementMachine;

    explicit Enforcement(Machine machine);

    // Called by the controller after each application of a profile, then the
    // three loaders in this order (the process list depends on the site timer).
    // A loader that cannot read the store keeps the list it loaded last (the
    // site loader, with none yet, blocks every page) and the host is told.
    void setProfile(long long profileId, const core::ProfileSwitches& switches) override;
    void loadSites(long long profileId) override;
    void loadForbiddenProcesses() override;
    void loadForbiddenWindows() override;
    void forgetLastAddress() override { profile_.holders.chromeLastLogged.clear(); }
    void clearInternalBrowser() override { profile_.switches.internalBrowser = false; }
    void liftForShutdown() override { liftedForShutdown_ = true; }
    // Told the site list in force after each load (the browsers' policies).
    void setBrowserPolicies(core::BrowserPolicySink* sink) { policies_ = sink; }
    // Where programs ended, windows closed and pages blocked are reported.
    void setEvents(core::Events* events) { m_.events = events; }

    // A tick that lets events run is not entered again by the same timer
    // while it runs.
    void tickSiteCheck() noexcept { sites_.tick(); }
    void tickForbiddenProcesses() noexcept { processes_.tick(); }
    void tickCloseWindows() noexcept { windows_.tick(); }
    void tickKillTaskManager() noexcept { taskManager_.tick(); }
    void tickSiteLog() noexcept { log_.tick(); }

    [[nodiscard]] SiteTimer& siteTimer() { return sites_; }
    void logVisitedSite(const std::string& url) { log_.logVisitedSite(url); }

    // State, for the controller, the internal browser and tests.
    [[nodiscard]] const SiteList& sites() const { return profile_.sites; }
    // With the spare element: the names are [0, size() - 1).
    [[nodiscard]] const std::vector<std::string>& processNames() const { return profile_.processNames; }
    [[nodiscard]] const std::vector<std::string>& windowTitles() const { return profile_.windowTitles; }
    [[nodiscard]] const core::ProfileSwitches& switches() const { return profile_.switches; }
    [[nodiscard]] Holders& holders() { return profile_.holders; }

    // The internal browser's verdicts: the list and mode the site timer uses.
    [[nodiscard]] bool allowedList() const override { return profile_.allowedList; }
    [[nodiscard]] bool matches(std::string_view address) const override {
        return profile_.sites.firstMatch(address) != kNoMatch;
    }
    [[nodiscard]] std::vector<std::string> entries() const override;

private:
    // True when `error` is empty; otherwise tells the host (once until every
    // list reads again) and the caller keeps the lists it loaded last.
    bool readable(const std::string& error);
    void tellBrowserPolicies();

    Machine m_;
    EnforcedProfile profile_;
    core::BrowserPolicySink* policies_ = nullptr;
    bool sitesLoaded_ = false;
    bool liftedForShutdown_ = false;
    bool processesLoaded_ = false;
    bool windowsLoaded_ = false;
    bool storeErrorShown_ = false;
    bool everyListRead_ = true;  // in the current round of the three loaders
    SiteTimer sites_{m_, profile_};
    ProcessTimer processes_{m_, profile_};
    WindowTimer windows_{m_, profile_};
    TaskManagerTimer taskManager_{m_, profile_};
    LogTimer log_{m_, profile_};
};

}  // namespace ombrix::enforce

#include "enforce/enforcement.h"

#include "core/store.h"
#include "enforce/profile_lists.h"
#include "enforce/site_rules.h"
#include "platform/failures.h"

namespace ombrix::enforce {

Enforcement::Enforcement(Machine machine) : m_(machine) {}

void Enforcement::setProfile(long long profileId, const core::ProfileSwitches& switches) {
    profile_.switches = switches;
    profile_.id = profileId;
    // Only for the events: a name that cannot be read leaves the identifier.
    profile_.name = core::ReadField(m_.db, "Profili", "Profilo",
                                    core::Condition{"IDProfilo = ?", {core::Value(std::int64_t{profileId})}})
                        .toText();
}

bool Enforcement::readable(const std::string& error) {
    if (error.empty()) return true;
    everyListRead_ = false;
    if (!storeErrorShown_) {
        storeErrorShown_ = true;
        m_.host.storeUnreadable(error);
    }
    return false;
}

void Enforcement::loadSites(long long profileId) {
    m_.timers.setEnabled(core::TimerId::SiteCheck, false);
    everyListRead_ = true;
    if (liftedForShutdown_) {
        // The shutdown gives the machine back: no site list at all.
        profile_.sites = SiteList();
        profile_.allowedList = false;
        tellBrowserPolicies();
        return;
    }
    Loaded<SiteList> list = loadSiteList(m_.db, profileId);
    const Loaded<std::optional<bool>> forbiddenList =
        list.ok() ? readForbiddenListSwitch(m_.db, profileId) : Loaded<std::optional<bool>>{};
    if (readable(list.ok() ? forbiddenList.error : list.error)) {
        profile_.sites = std::move(list.value);
        // A missing row reads as a false SitiProibiti: an allowed list, so a
        // profile deleted while in use blocks every page rather than none.
        profile_.allowedList = !forbiddenList.value.value_or(false);
        sitesLoaded_ = true;
    } else if (!sitesLoaded_) {
        // Nothing read yet: every page is blocked, as an empty allowed list does.
        profile_.sites = SiteList();
        profile_.allowedList = true;
    }
    // Otherwise the lists loaded last stay in force.
    // An empty allowed list still blocks every page but the exempt ones.
    m_.timers.setEnabled(core::TimerId::SiteCheck, profile_.allowedList || !profile_.sites.empty());
    tellBrowserPolicies();
}

void Enforcement::tellBrowserPolicies() {
    if (!policies_) return;
    platform::guarded([&] {
        // The list the site timer enforces, or none when it is off.
        std::optional<core::PolicySites> sites;
        if (m_.timers.isEnabled(core::TimerId::SiteCheck)) {
            sites.emplace();
            sites->allowedList = profile_.allowedList;
            for (std::size_t i = 0; i < profile_.sites.size(); ++i) {
                sites->entries.emplace_back(profile_.sites.entry(i));
            }
        }
        policies_->siteListInForce(sites);
    });
}

void Enforcement::loadForbiddenProcesses() {
    m_.timers.setEnabled(core::TimerId::ForbiddenProcesses, false);
    Loaded<std::vector<std::string>> loaded = loadProcessNames(m_.db, m_.host.profileInUse());
    if (readable(loaded.error)) {
        processesLoaded_ = true;
    } else if (processesLoaded_) {
        // The names loaded last stay in force.
        m_.timers.setEnabled(core::TimerId::ForbiddenProcesses, profile_.processNames.size() > 1);
        return;
    }
    // Nothing loaded yet: what could be read, and the names the switches add.
    std::vector<std::string> names = std::move(loaded.value);
    const bool siteTimer = m_.timers.isEnabled(core::TimerId::SiteCheck);
    if (profile_.switches.internalBrowser) {
        names.insert(names.end(), kInternalBrowserOnly.begin(), kInternalBrowserOnly.end());
    } else if (siteTimer) {
        names.insert(names.end(), kUnreadBrowsers.begin(), kUnreadBrowsers.end());
    }
    if (names.empty()) {
        profile_.processNames.assign(1, std::string());
        return;
    }
    names.emplace_back();  // the spare element
    profile_.processNames = std::move(names);
    m_.timers.setEnabled(core::TimerId::ForbiddenProcesses, true);
}

void Enforcement::loadForbiddenWindows() {
    m_.timers.setEnabled(core::TimerId::CloseWindows, false);
    Loaded<std::vector<std::string>> loaded = loadWindowTitles(m_.db, m_.host.profileInUse());
    const bool read = readable(loaded.error);
    // Nothing loaded yet: what could be read, and the titles the switches add.
    if (read || !windowsLoaded_) {
        windowsLoaded_ = windowsLoaded_ || read;
        std::vector<std::string> titles = std::move(loaded.value);
        if (profile_.switches.blockDownloads) titles.emplace_back(kDownloadTitle);
        if (m_.host.timeSlotScheduleInForce()) titles.insert(titles.end(), kClockTitles.begin(), kClockTitles.end());
        titles.insert(titles.end(), kBrowserPromptTitles.begin(), kBrowserPromptTitles.end());
        titles.emplace_back();  // the spare element
        profile_.windowTitles = std::move(titles);
    }
    // Every list read: the next failure is news again.
    if (everyListRead_) storeErrorShown_ = false;
    // Otherwise the titles loaded last stay in force.
    m_.timers.setEnabled(core::TimerId::CloseWindows, true);
}

std::vector<std::string> Enforcement::entries() const {
    std::vector<std::string> out;
    out.reserve(profile_.sites.size());
    for (std::size_t i = 0; i < profile_.sites.size(); ++i) out.emplace_back(profile_.sites.entry(i));
    return out;
}

}  // namespace ombrix::enforce

#include "enforce/enforcement.h"

#include "enforce/profile_lists.h"
#include "enforce/site_rules.h"

namespace ombrix::enforce {

Enforcement::Enforcement(Machine machine) : m_(machine) {}

void Enforcement::setProfile(long long, const core::ProfileSwitches& switches) { profile_.switches = switches; }

void Enforcement::CaricaSitiVietatiConsentiti(long long profileId) {
    m_.timers.setEnabled(core::TimerId::SitiVietatiConsentiti, false);
    profile_.elencoSiti = loadSiteList(m_.db, profileId);
    // A missing row reads as a false SitiProibiti: an allowed list, so a
    // profile deleted while in use blocks every page rather than none. Only
    // "no profile" (0, put in use by the shutdown) and a store that cannot be
    // read at all enforce no site list.
    const std::optional<bool> proibiti = readSitiProibiti(m_.db, profileId);
    profile_.sitiConsentiti = profileId != 0 && m_.db.isOpen() && !proibiti.value_or(false);
    // An empty allowed list still blocks every page but the exempt ones.
    m_.timers.setEnabled(core::TimerId::SitiVietatiConsentiti, profile_.sitiConsentiti || !profile_.elencoSiti.empty());
}

void Enforcement::CaricaProcessiVietati() {
    m_.timers.setEnabled(core::TimerId::ProcessiVietati, false);
    std::vector<std::string> names = loadProcessNames(m_.db, m_.host.profileInUse());
    const bool siteTimer = m_.timers.isEnabled(core::TimerId::SitiVietatiConsentiti);
    if (profile_.switches.utilizzaBrowserInterno) {
        names.insert(names.end(), kInternalBrowserOnly.begin(), kInternalBrowserOnly.end());
    } else if (siteTimer) {
        names.insert(names.end(), kUnreadBrowsers.begin(), kUnreadBrowsers.end());
    }
    if (names.empty()) {
        profile_.elencoProcessi.assign(1, std::string());
        return;
    }
    names.emplace_back();  // the spare element
    profile_.elencoProcessi = std::move(names);
    m_.timers.setEnabled(core::TimerId::ProcessiVietati, true);
}

void Enforcement::CaricaFinestreVietate() {
    m_.timers.setEnabled(core::TimerId::ChiudiFinestre, false);
    std::vector<std::string> titles = loadWindowTitles(m_.db, m_.host.profileInUse());
    if (profile_.switches.bloccaDownload) titles.emplace_back(kDownloadTitle);
    if (m_.host.timeSlotScheduleInForce()) titles.insert(titles.end(), kClockTitles.begin(), kClockTitles.end());
    titles.insert(titles.end(), kBrowserPromptTitles.begin(), kBrowserPromptTitles.end());
    titles.emplace_back();  // the spare element
    profile_.elencoFinestre = std::move(titles);
    m_.timers.setEnabled(core::TimerId::ChiudiFinestre, true);
}

}  // namespace ombrix::enforce

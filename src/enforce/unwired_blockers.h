#pragma once
// Blockers kept, deliberately, though no timer calls them: the first
// allowed-list blockers of Chrome and Firefox (close the tab, retry, end the
// browser), Chrome's variant that goes back one page instead, and the two
// Opera blockers, which only give notice. Opera's address, like the helpers
// TitoloChrome and IndirizzoFirefoxDDE, is read through a DDE conversation.
// Nothing else in the program reads DDE.

#include <string>

#include "enforce/site_timer.h"

namespace ombrix::enforce {

class UnwiredBlockers final : public TimerPart {
public:
    UnwiredBlockers(EnforcementMachine& machine, EnforcedProfile& profile, SiteTimer& sites)
        : TimerPart(machine, profile), sites_(sites) {}

    void BloccaSitiDaElencoConsentitiChromeOLD();
    void BloccaSitiDaElencoConsentitiChromeIndietro();
    void BloccaSitiDaElencoConsentitiFirefoxOLD();
    void BloccaSitiDaElencoVietatiOpera();
    void BloccaSitiDaElencoConsentitiOpera();
    [[nodiscard]] std::string TitoloChrome();
    [[nodiscard]] std::string IndirizzoFirefoxDDE();

private:
    using Which = SiteTimer::Which;
    using Side = SiteTimer::Side;
    void bloccaConsentitiOld(Which w);
    [[nodiscard]] std::string dde(const char* service);

    SiteTimer& sites_;
};

}  // namespace ombrix::enforce

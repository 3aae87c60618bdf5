#include "enforce/log_timer.h"

#include <algorithm>

#include "enforce/address_readers.h"
#include "platform/failures.h"

namespace ombrix::enforce {

void LogTimer::tick() noexcept {
    const Entered entered(*this);
    if (!entered.first()) return;
    bool on = false;
    platform::guarded([&] { on = m_.host.logSwitch(); });
    if (!on) return;
    Holders& h = p_.holders;
    platform::guarded([&] {
        std::vector<std::string> addresses = indirizziShell(m_.browsers.ElencoFinestreShell());
        if (p_.switches.utilizzaBrowserInterno) {
            const std::vector<std::string> internal = m_.host.internalBrowserAddresses();
            addresses.insert(addresses.end(), internal.begin(), internal.end());
        }
        for (const auto& a : addresses) {
            if (std::find(h.lstWindows3.begin(), h.lstWindows3.end(), a) != h.lstWindows3.end()) continue;
            h.lstWindows3.push_back(a);
            MemorizzaSitoVisitato(a);
        }
    });
    // Each address is remembered before it is written, and written from a
    // copy: writing lets events run, and the site timer ticking meanwhile
    // reads into the same holders and must find the address already seen.
    platform::guarded([&] {
        h.lblEdge = m_.browsers.IndirizzoEdge();
        if (!h.lblEdge.empty() && h.lblEdge != h.UltimoSitoEdge) {
            const std::string address = h.UltimoSitoEdge = h.lblEdge;
            MemorizzaSitoVisitato(address);
        }
    });
    platform::guarded([&] {
        h.lblFirefox = withoutQuotes(m_.browsers.IndirizzoFirefox());
        if (h.lblFirefox != h.UltimoSitoFirefox) {
            const std::string address = h.UltimoSitoFirefox = h.lblFirefox;
            MemorizzaSitoVisitato(address);
        }
    });
    platform::guarded([&] {
        h.lblChrome = m_.browsers.IndirizzoChrome();
        if (h.lblChrome != h.UltimoSitoVisto) {
            const std::string address = h.UltimoSitoVisto = h.lblChrome;
            MemorizzaSitoVisitato(address);
        }
    });
}

}  // namespace ombrix::enforce

#include "enforce/log_timer.h"

#include <algorithm>

#include "enforce/address_readers.h"
#include "platform/failures.h"
#include "platform/text.h"

namespace ombrix::enforce {

void LogTimer::tick() noexcept {
    const Entered entered(*this);
    if (!entered.first()) return;
    bool on = false;
    platform::guarded([&] { on = m_.host.logSwitch(); });
    if (!on) return;
    Holders& h = p_.holders;
    platform::guarded([&] {
        std::vector<std::string> addresses = shellAddresses(m_.browsers.shellWindowAddresses());
        if (p_.switches.internalBrowser) {
            const std::vector<std::string> internal = m_.host.internalBrowserAddresses();
            addresses.insert(addresses.end(), internal.begin(), internal.end());
        }
        for (const auto& a : addresses) {
            auto& logged = h.explorerAddressesLogged;
            if (std::find(logged.begin(), logged.end(), a) != logged.end()) continue;
            logged.push_back(a);
            logVisitedSite(a);
        }
    });
    // Each address is remembered before it is written, and written from a
    // copy: writing lets events run, and the site timer ticking meanwhile
    // reads into the same holders and must find the address already seen.
    platform::guarded([&] {
        h.edgeAddress = m_.browsers.readEdgeAddress();
        if (!h.edgeAddress.empty() && h.edgeAddress != h.edgeLastLogged) {
            const std::string address = h.edgeLastLogged = h.edgeAddress;
            logVisitedSite(address);
        }
    });
    platform::guarded([&] {
        h.firefoxAddress = withoutQuotes(m_.browsers.readFirefoxAddress());
        if (h.firefoxAddress != h.firefoxLastLogged) {
            const std::string address = h.firefoxLastLogged = h.firefoxAddress;
            logVisitedSite(address);
        }
    });
    // The browsers found by what they show, as Chrome.
    platform::guarded([&] {
        for (const platform::OtherBrowser& b : m_.browsers.otherBrowsers()) {
            if (!b.readable || b.ownReader) continue;
            Holders::Other& other = h.others[lowerText(b.image)];
            other.address = m_.browsers.readOtherAddress(b.image);
            if (other.address != other.lastLogged) {
                const std::string address = other.lastLogged = other.address;
                logVisitedSite(address);
            }
        }
    });
    platform::guarded([&] {
        h.chromeAddress = m_.browsers.readChromeAddress();
        if (h.chromeAddress != h.chromeLastLogged) {
            const std::string address = h.chromeLastLogged = h.chromeAddress;
            logVisitedSite(address);
        }
    });
}

}  // namespace ombrix::enforce

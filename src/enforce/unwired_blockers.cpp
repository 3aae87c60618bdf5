#include "enforce/unwired_blockers.h"

#include "enforce/site_rules.h"
#include "platform/failures.h"
#include "platform/text.h"
#include "support/messages.h"

namespace ombrix::enforce {
void UnwiredBlockers::bloccaConsentitiOld(Which w) {
    Side s = sites_.side(w);
    if (!sites_.outsideAllowedList(w, s)) return;
    const std::string shown = s.lbl;
    const std::string notice = text(msg::SiteNotAllowed) + " " + withoutQuotes(shown);
    p_.holders.txtTitoloFinestraDaChiudere = shown;
    sites_.ChiudiScheda();
    p_.holders.txtTitoloFinestraDaChiudere.clear();
    notify(notice, kNoticeSite);
    s.lbl = sites_.readAddress(w);
    if (s.lbl == shown) {
        sites_.ChiudiScheda();
        notify(notice, kNoticeSite);
        s.lbl = sites_.readAddress(w);
        if (s.lbl == shown) sites_.killBrowser(s);
    }
    const std::string back = s.ultimaPagina.empty() ? startPage() : s.ultimaPagina;
    if (!back.empty()) m_.host.ApriPagina(back);
    s.ultimaPagina.clear();
}

void UnwiredBlockers::BloccaSitiDaElencoConsentitiChromeOLD() { bloccaConsentitiOld(Which::Chrome); }
void UnwiredBlockers::BloccaSitiDaElencoConsentitiFirefoxOLD() { bloccaConsentitiOld(Which::Firefox); }

void UnwiredBlockers::BloccaSitiDaElencoConsentitiChromeIndietro() {
    Side s = sites_.side(Which::Chrome);
    m_.pump.doEvents();
    s.lbl = sites_.readAddress(Which::Chrome);
    const Verdict v = verdictAsChrome(p_.elencoSiti, true, s.lbl);
    if (s.lbl.empty()) return;
    if (!v.blocked) {
        if (v.entry != kNoMatch) sites_.acceptPage(s);
        return;
    }
    // "%{LEFT}": back one page instead of closing.
    m_.keyboard.keyEvent(kVkMenu, 0);
    m_.keyboard.keyEvent(kVkLeft, kDown);
    m_.keyboard.keyEvent(kVkLeft, kUp);
    m_.keyboard.keyEvent(kVkMenu, platform::kKeyUp);
    notify(text(msg::SiteNotAllowed) + " " + withoutQuotes(s.lbl), kNoticeSite);
}

std::string UnwiredBlockers::TitoloChrome() { return dde("Chrome"); }

void UnwiredBlockers::BloccaSitiDaElencoVietatiOpera() {
    const std::string address = dde("Opera");
    if (address.empty()) return;
    const std::size_t match = p_.elencoSiti.firstMatch(address);
    if (match == kNoMatch) return;
    // A keyword blocks the page, any other entry the site.
    notify(text(p_.elencoSiti.kind(match) == SiteKind::Keyword ? msg::OperaPageBlocked : msg::SiteForbiddenInOpera) +
               " " + address,
           kNoticeSite);
}

void UnwiredBlockers::BloccaSitiDaElencoConsentitiOpera() {
    const std::string address = dde("Opera");
    if (address.empty() || p_.elencoSiti.firstMatch(address) != kNoMatch || allowedListExempt(address)) return;
    notify(text(msg::SiteNotAllowedInOpera) + " " + address, kNoticeSite);
}

std::string UnwiredBlockers::IndirizzoFirefoxDDE() { return dde("Firefox"); }

std::string UnwiredBlockers::dde(const char* service) {
    return platform::guarded([&] { return m_.browsers.IndirizzoDDE(service); });
}

}  // namespace ombrix::enforce

#include "enforce/enforcement.h"

#include <algorithm>
#include <exception>

#include "platform/process_control.h"
#include "enforce/profile_lists.h"
#include "enforce/site_log.h"
#include "enforce/site_rules.h"
#include "enforce/address_readers.h"
#include "platform/failures.h"
#include "support/language.h"
#include "platform/text.h"

namespace ombrix::enforce {
namespace {

constexpr std::uint8_t kVkControl = 17;
constexpr std::uint8_t kVkMenu = 18;
constexpr std::uint8_t kVkLeft = 37;
constexpr std::uint8_t kVkW = 87;
constexpr std::uint32_t kDown = platform::kKeyExtended;
constexpr std::uint32_t kUp = platform::kKeyExtended | platform::kKeyUp;


// Marks a tick as running for its duration.
class Entered {
public:
    explicit Entered(bool& flag) : flag_(flag), first_(!flag) { flag_ = true; }
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

bool isOneOf(std::string_view lowered, std::initializer_list<std::string_view> names) {
    return std::find(names.begin(), names.end(), lowered) != names.end();
}

}  // namespace

Verdict verdictAsChrome(const SiteList& list, bool sitiConsentiti, std::string_view address) {
    // The blockers judge nothing when the reader has no address.
    if (address.empty()) return {};
    const std::size_t match = list.firstMatch(address);
    if (!sitiConsentiti) {
        if (match == kNoMatch) return {};
        return {true, blockMessage(list.kind(match)), match};
    }
    if (match != kNoMatch) return {false, nullptr, match};
    if (allowedListExempt(address)) return {};
    return {true, "0182", kNoMatch};
}

Enforcement::Enforcement(Machine machine) : m_(machine) {}

// ---------------------------------------------------------------- loaders

void Enforcement::setProfile(long long, const core::ProfileSwitches& switches) { switches_ = switches; }

void Enforcement::CaricaSitiVietatiConsentiti(long long profileId) {
    m_.timers.setEnabled(core::TimerId::SitiVietatiConsentiti, false);
    elencoSiti_ = loadSiteList(m_.db, profileId);
    // A missing row reads as a false SitiProibiti: an allowed list, so a
    // profile deleted while in use blocks every page rather than none. Only
    // "no profile" (0, put in use by the shutdown) and a store that cannot be
    // read at all enforce no site list.
    const std::optional<bool> proibiti = readSitiProibiti(m_.db, profileId);
    sitiConsentiti_ = profileId != 0 && m_.db.isOpen() && !proibiti.value_or(false);
    // An empty allowed list still blocks every page but the exempt ones.
    m_.timers.setEnabled(core::TimerId::SitiVietatiConsentiti, sitiConsentiti_ || !elencoSiti_.empty());
}

void Enforcement::CaricaProcessiVietati() {
    m_.timers.setEnabled(core::TimerId::ProcessiVietati, false);
    std::vector<std::string> names = loadProcessNames(m_.db, m_.host.profileInUse());
    const bool siteTimer = m_.timers.isEnabled(core::TimerId::SitiVietatiConsentiti);
    if (switches_.utilizzaBrowserInterno) {
        names.insert(names.end(), kInternalBrowserOnly.begin(), kInternalBrowserOnly.end());
    } else if (siteTimer) {
        names.insert(names.end(), kUnreadBrowsers.begin(), kUnreadBrowsers.end());
    }
    if (names.empty()) {
        elencoProcessi_.assign(1, std::string());
        return;
    }
    names.emplace_back();  // the spare element
    elencoProcessi_ = std::move(names);
    m_.timers.setEnabled(core::TimerId::ProcessiVietati, true);
}

void Enforcement::CaricaFinestreVietate() {
    m_.timers.setEnabled(core::TimerId::ChiudiFinestre, false);
    std::vector<std::string> titles = loadWindowTitles(m_.db, m_.host.profileInUse());
    if (switches_.bloccaDownload) titles.emplace_back(kDownloadTitle);
    if (m_.host.timeSlotScheduleInForce()) titles.insert(titles.end(), kClockTitles.begin(), kClockTitles.end());
    titles.insert(titles.end(), kBrowserPromptTitles.begin(), kBrowserPromptTitles.end());
    titles.emplace_back();  // the spare element
    elencoFinestre_ = std::move(titles);
    m_.timers.setEnabled(core::TimerId::ChiudiFinestre, true);
}

// ---------------------------------------------------------------- helpers

std::string Enforcement::text(const char* id) { return m_.language.TestoMessaggio(id); }

void Enforcement::notify(const std::string& message, int kind) { m_.host.VisualizzaMessaggio(message, kind); }

int Enforcement::KillProcess(std::string_view imageName) { return platform::KillProcess(m_.processes, imageName); }

bool Enforcement::IsProcessRunning(std::string_view imageName) {
    return platform::IsProcessRunning(m_.processes, imageName);
}

void Enforcement::killUntilGone(std::string_view imageName) { platform::killUntilGone(m_.processes, m_.pump, imageName); }

void Enforcement::closeInternetExplorer() {
    // The misspelt name first: a program of that name is ended too, although
    // no browser is called so.
    KillProcess("iexplorer.exe");
    killUntilGone("iexplore.exe");
}

Enforcement::Side Enforcement::side(Which w) {
    switch (w) {
        case Which::Edge:
            return {holders_.lblEdge, holders_.txtUltimaPaginaEdge, holders_.UltimoSitoEdge, "msedge.exe", false};
        case Which::Firefox:
            return {holders_.lblFirefox, holders_.txtUltimaPaginaFirefox, holders_.UltimoSitoFirefox, "firefox.exe",
                    true};
        case Which::Chrome:
            break;
    }
    return {holders_.lblChrome, holders_.txtUltimaPaginaChrome, holders_.UltimoSitoVisto, "chrome.exe", false};
}

std::string Enforcement::readAddress(Which w) {
    try {
        switch (w) {
            case Which::Edge:
                return m_.browsers.IndirizzoEdge();
            case Which::Firefox:
                // The Firefox blockers trim what the reader gives.
                return std::string(trimBlanks(m_.browsers.IndirizzoFirefox()));
            case Which::Chrome:
                break;
        }
        return m_.browsers.IndirizzoChrome();
    } catch (...) {
        platform::recordCurrentFailure();
        return {};
    }
}

void Enforcement::killBrowser(const Side& s) {
    KillProcess(s.process);
    if (s.firefox) m_.host.clearFirefoxSession();
}

void Enforcement::acceptPage(Side& s) {
    s.ultimaPagina = s.lbl.empty() ? startPage() : s.lbl;
    // Remembered before it is written: writing lets events run, and the log
    // timer ticking meanwhile must find the address already seen.
    const std::string address = s.lbl;
    const bool changed = address != s.ultimoSito;
    s.ultimoSito = address;
    if (changed && m_.host.logSwitch()) MemorizzaSitoVisitato(address);
}

// ---------------------------------------------------------------- site blockers

void Enforcement::ChiudiScheda() {
    m_.keyboard.keyEvent(kVkControl, kDown);
    m_.keyboard.keyEvent(kVkW, kDown);
    m_.keyboard.keyEvent(kVkControl, kUp);
    m_.keyboard.keyEvent(kVkW, kUp);
}

void Enforcement::bloccaVietati(Which w) {
    Side s = side(w);
    m_.pump.doEvents();
    s.lbl = readAddress(w);
    if (s.lbl.empty()) return;
    bool paginaChiusa = false;
    std::string& closing = holders_.txtTitoloFinestraDaChiudere;
    // The walk goes on after a match, against the address read again.
    for (std::size_t i = elencoSiti_.firstMatch(s.lbl); i != kNoMatch; i = elencoSiti_.firstMatch(s.lbl, i + 1)) {
        const std::string shown = s.lbl;
        const std::string notice = text(blockMessage(elencoSiti_.kind(i))) + " " + withoutQuotes(shown);
        closing = shown;
        ChiudiScheda();
        closing.clear();
        notify(notice, kNoticeSite);
        s.lbl = readAddress(w);
        if (s.lbl == shown) {
            closing = shown;
        } else {
            paginaChiusa = true;
        }
        if (!closing.empty()) {
            // The page survived the first close.
            ChiudiScheda();
            notify(notice, kNoticeSite);
            s.lbl = readAddress(w);
            if (s.lbl == shown) killBrowser(s);
            closing.clear();
            paginaChiusa = true;
        }
        if (!s.ultimaPagina.empty()) {
            m_.host.ApriPagina(s.ultimaPagina);
            s.ultimaPagina.clear();
        }
    }
    if (paginaChiusa) return;
    acceptPage(s);
}

bool Enforcement::outsideAllowedList(Which w, Side& s) {
    m_.pump.doEvents();
    s.lbl = readAddress(w);
    const Verdict v = verdictAsChrome(elencoSiti_, true, s.lbl);
    if (s.lbl.empty()) return false;
    if (!v.blocked) {
        if (v.entry != kNoMatch) acceptPage(s);
        return false;
    }
    return true;
}

void Enforcement::bloccaConsentiti(Which w) {
    Side s = side(w);
    if (!outsideAllowedList(w, s)) return;
    // Harsher than the forbidden list: the whole browser goes at once.
    killBrowser(s);
    notify(text("0182") + " " + withoutQuotes(s.lbl), kNoticeSite);
    const std::string back = s.ultimaPagina.empty() ? startPage() : s.ultimaPagina;
    if (!back.empty()) m_.host.ApriPagina(back);
    s.ultimaPagina.clear();
}

void Enforcement::bloccaConsentitiOld(Which w) {
    Side s = side(w);
    if (!outsideAllowedList(w, s)) return;
    const std::string shown = s.lbl;
    const std::string notice = text("0182") + " " + withoutQuotes(shown);
    holders_.txtTitoloFinestraDaChiudere = shown;
    ChiudiScheda();
    holders_.txtTitoloFinestraDaChiudere.clear();
    notify(notice, kNoticeSite);
    s.lbl = readAddress(w);
    if (s.lbl == shown) {
        ChiudiScheda();
        notify(notice, kNoticeSite);
        s.lbl = readAddress(w);
        if (s.lbl == shown) killBrowser(s);
    }
    const std::string back = s.ultimaPagina.empty() ? startPage() : s.ultimaPagina;
    if (!back.empty()) m_.host.ApriPagina(back);
    s.ultimaPagina.clear();
}

void Enforcement::BloccaSitiDaElencoVietatiChrome() { bloccaVietati(Which::Chrome); }
void Enforcement::BloccaSitiDaElencoVietatiEdge() { bloccaVietati(Which::Edge); }
void Enforcement::BloccaSitiDaElencoVietatiFirefox() { bloccaVietati(Which::Firefox); }
void Enforcement::BloccaSitiDaElencoConsentitiChrome() { bloccaConsentiti(Which::Chrome); }
void Enforcement::BloccaSitiDaElencoConsentitiEdge() { bloccaConsentiti(Which::Edge); }
void Enforcement::BloccaSitiDaElencoConsentitiFirefox() { bloccaConsentiti(Which::Firefox); }
void Enforcement::BloccaSitiDaElencoConsentitiChromeOLD() { bloccaConsentitiOld(Which::Chrome); }
void Enforcement::BloccaSitiDaElencoConsentitiFirefoxOLD() { bloccaConsentitiOld(Which::Firefox); }

void Enforcement::BloccaSitiDaElencoConsentitiChromeIndietro() {
    Side s = side(Which::Chrome);
    m_.pump.doEvents();
    s.lbl = readAddress(Which::Chrome);
    const Verdict v = verdictAsChrome(elencoSiti_, true, s.lbl);
    if (s.lbl.empty()) return;
    if (!v.blocked) {
        if (v.entry != kNoMatch) acceptPage(s);
        return;
    }
    // "%{LEFT}": back one page instead of closing.
    m_.keyboard.keyEvent(kVkMenu, 0);
    m_.keyboard.keyEvent(kVkLeft, kDown);
    m_.keyboard.keyEvent(kVkLeft, kUp);
    m_.keyboard.keyEvent(kVkMenu, platform::kKeyUp);
    notify(text("0182") + " " + withoutQuotes(s.lbl), kNoticeSite);
}

std::string Enforcement::TitoloChrome() {
    return platform::guarded([&] { return m_.browsers.IndirizzoDDE("Chrome"); });
}

void Enforcement::BloccaSitiDaElencoVietatiOpera() {
    const std::string address = platform::guarded([&] { return m_.browsers.IndirizzoDDE("Opera"); });
    if (address.empty()) return;
    const std::size_t match = elencoSiti_.firstMatch(address);
    if (match == kNoMatch) return;
    // A keyword blocks the page, any other entry the site.
    notify(text(elencoSiti_.kind(match) == SiteKind::Keyword ? "0185" : "0184") + " " + address, kNoticeSite);
}

void Enforcement::BloccaSitiDaElencoConsentitiOpera() {
    const std::string address = platform::guarded([&] { return m_.browsers.IndirizzoDDE("Opera"); });
    if (address.empty() || elencoSiti_.firstMatch(address) != kNoMatch || allowedListExempt(address)) return;
    notify(text("0186") + " " + address, kNoticeSite);
}

void Enforcement::BloccaSitiVietatiIE() {
    const std::vector<platform::ShellBrowserWindow> all = m_.shellWindows.windows();
    for (std::size_t i = 0; i < all.size(); ++i) {
        const std::string& url = all[i].locationUrl;
        if (url.empty() || internetExplorerExempt(url)) continue;
        if (elencoSiti_.firstMatchIE(url, all[i].locationName) == kNoMatch) continue;
        notify(text("0172") + " " + url, kNoticeSite);
        m_.shellWindows.goBack(i);
    }
}

void Enforcement::BloccaSitiConsentitiIE() {
    const std::vector<platform::ShellBrowserWindow> all = m_.shellWindows.windows();
    for (std::size_t i = 0; i < all.size(); ++i) {
        const std::string& url = all[i].locationUrl;
        if (url.empty() || internetExplorerExempt(url)) continue;
        if (elencoSiti_.firstMatchIE(url, all[i].locationName) != kNoMatch) continue;
        notify(text("0173") + " " + url, kNoticeSite);
        m_.shellWindows.goBack(i);
    }
}

void Enforcement::BloccaSitiVietatiIEFinestre() {
    const std::string url = UltimoIndirizzoShell(m_.browsers.ElencoFinestreShell());
    if (url.empty() || internetExplorerExempt(url) || elencoSiti_.firstMatch(url) == kNoMatch) return;
    notify(text("0172") + " " + url, kNoticeSite);
    closeInternetExplorer();
    if (!startPage().empty()) m_.host.ApriPagina(startPage());
}

void Enforcement::BloccaSitiConsentitiIEFinestre() {
    const std::string url = UltimoIndirizzoShell(m_.browsers.ElencoFinestreShell());
    if (url.empty() || internetExplorerExempt(url) || elencoSiti_.firstMatch(url) != kNoMatch) return;
    notify(text("0173") + " " + url, kNoticeSite);
    closeInternetExplorer();
    if (!startPage().empty()) m_.host.ApriPagina(startPage());
}

void Enforcement::ChiudiFinestreConSitiVietati() {
    for (const platform::WindowId window : m_.windows.topLevelWindows()) {
        const std::string title = m_.windows.title(window);
        if (lowerText(title).find("chrome") != std::string::npos) m_.pump.doEvents();
        for (std::size_t i = elencoSiti_.firstKeywordMatch(title); i != kNoMatch;
             i = elencoSiti_.firstKeywordMatch(title, i + 1)) {
            m_.windows.postClose(window);
            notify(text("0137") + " " + std::string(trimBlanks(title)), kNoticeWindow);
        }
    }
}

void Enforcement::tickSitiVietatiConsentiti() noexcept {
    const Entered entered(busy_.sites);
    if (!entered.first()) return;
    // Every step is guarded: a failure is recorded and ends that step only,
    // so the tick goes on with the next.
    if (sitiConsentiti_) {
        platform::guarded([&] { BloccaSitiConsentitiIE(); });
        platform::guarded([&] { BloccaSitiDaElencoConsentitiChrome(); });
        platform::guarded([&] { BloccaSitiDaElencoConsentitiEdge(); });
        platform::guarded([&] { BloccaSitiDaElencoConsentitiFirefox(); });
        platform::guarded([&] { BloccaSitiConsentitiIEFinestre(); });
        return;
    }
    platform::guarded([&] { BloccaSitiVietatiIE(); });
    platform::guarded([&] { BloccaSitiDaElencoVietatiChrome(); });
    platform::guarded([&] { BloccaSitiDaElencoVietatiEdge(); });
    platform::guarded([&] { BloccaSitiDaElencoVietatiFirefox(); });
    if (switches_.protezioneMassima) platform::guarded([&] { ChiudiFinestreConSitiVietati(); });
    platform::guarded([&] { BloccaSitiVietatiIEFinestre(); });
}

// ---------------------------------------------------------------- processes and windows

void Enforcement::tickProcessiVietati() noexcept {
    const Entered entered(busy_.processes);
    if (!entered.first()) return;
    platform::guarded([&] { m_.pump.doEvents(); });
    browserGestito_ = false;
    // A copy: letting events run may reload the list.
    const std::vector<std::string> names = elencoProcessi_;
    for (std::size_t i = 0; i + 1 < names.size(); ++i) {
        platform::guarded([&] {
            const std::string& name = names[i];
            if (KillProcess(name) == 0) return;
            const std::string lowered = lowerText(name);
            if (std::find(kInternalBrowserOnly.begin(), kInternalBrowserOnly.end(), lowered) ==
                kInternalBrowserOnly.end()) {
                notify(text("0171") + " " + name, kNoticeProcess);
                return;
            }
            // Only the first browser of a tick is handed over.
            if (browserGestito_) return;
            if (switches_.protezioneMassima && isOneOf(lowered, {"chrome.exe", "safari.exe", "microsoftedge.exe"})) {
                return;
            }
            killUntilGone(name);
            if (switches_.utilizzaBrowserInterno) {
                if (m_.host.internalBrowserWindowCount() < 5) m_.host.openInternalBrowser();
            } else if (isOneOf(lowered, {"opera.exe", "safari.exe", "chrome.exe", "microsoftedge.exe"})) {
                if (m_.timers.isEnabled(core::TimerId::SitiVietatiConsentiti)) m_.host.launchStartPage();
                const char* id = lowered == "opera.exe"    ? "0168"
                                 : lowered == "safari.exe" ? "0169"
                                 : lowered == "chrome.exe" ? "0170"
                                                           : nullptr;
                if (id != nullptr) notify(text(id), kNoticeProcess);
            }
            browserGestito_ = true;
        });
    }
}

void Enforcement::ChiudiFinestreVietate() {
    const std::vector<std::string> titles = elencoFinestre_;
    for (std::size_t i = 0; i + 1 < titles.size(); ++i) {
        const std::string& title = titles[i];
        const bool silent = title.rfind(kSilentMark, 0) == 0;
        const std::string searched = silent ? replaceAll(title, kSilentMark, "") : title;
        // A blank title would find some untitled window of any program.
        if (searched.empty()) continue;
        const platform::WindowId window = m_.windows.findByTitle(searched);
        if (window == 0) continue;
        m_.windows.show(window, platform::ShowCommand::Normal);
        m_.windows.postClose(window);
        if (!silent) notify(text("0174") + " " + title, kNoticeWindow);
    }
}

void Enforcement::tickChiudiFinestre() noexcept {
    const Entered entered(busy_.windows);
    if (!entered.first()) return;
    platform::guarded([&] { ChiudiFinestreVietate(); });
}

void Enforcement::tickKillTaskManager() noexcept {
    const Entered entered(busy_.taskManager);
    if (!entered.first()) return;
    platform::guarded([&] { KillProcess("taskmgr.exe"); });
    platform::guarded([&] { KillProcess("msconfig.exe"); });
    platform::guarded([&] { m_.host.keepNoticeWindowsOnTop(); });
}

// ---------------------------------------------------------------- the log

void Enforcement::MemorizzaSitoVisitato(const std::string& url) {
    // An empty address is no visit: a browser that closed reads as "".
    if (url.empty()) return;
    if (m_.host.profileInUse() != 0) {
        m_.pump.doEvents();
        const bool matched = elencoSiti_.firstMatch(url) != kNoMatch;
        // A forbidden page is never logged; with an allowed list, only
        // pages it allows are.
        if (matched != sitiConsentiti_) return;
    }
    (void)insertLogRow(m_.db, m_.clock.now(), url);
}

void Enforcement::tickLogSitiVisitati() noexcept {
    const Entered entered(busy_.log);
    if (!entered.first()) return;
    bool on = false;
    platform::guarded([&] { on = m_.host.logSwitch(); });
    if (!on) return;
    Holders& h = holders_;
    platform::guarded([&] {
        std::vector<std::string> addresses = indirizziShell(m_.browsers.ElencoFinestreShell());
        if (switches_.utilizzaBrowserInterno) {
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

#include "enforce/site_timer.h"

#include "enforce/address_readers.h"
#include "enforce/site_rules.h"
#include "platform/failures.h"
#include "platform/process_control.h"
#include "platform/text.h"
#include "support/messages.h"

namespace ombrix::enforce {
namespace {
constexpr std::string_view kExplorer = "iexplore.exe";
}  // namespace

Verdict verdictAsChrome(const SiteList& list, bool allowedList, std::string_view address) {
    // The blockers judge nothing when the reader has no address.
    if (address.empty()) return {};
    const std::size_t match = list.firstMatch(address);
    if (!allowedList) {
        if (match == kNoMatch) return {};
        return {true, blockMessage(list.kind(match)), match};
    }
    if (match != kNoMatch) return {false, {}, match};
    if (allowedListExempt(address)) return {};
    return {true, msg::SiteNotAllowed, kNoMatch};
}

void SiteTimer::closeInternetExplorer() {
    KillProcess(platform::kMisspeltInternetExplorer);
    killUntilGone("iexplore.exe");
}

SiteTimer::Side SiteTimer::side(Which w) {
    switch (w) {
        case Which::Edge:
            return {p_.holders.edgeAddress, p_.holders.edgeLastAccepted, p_.holders.edgeLastLogged, "msedge.exe", false};
        case Which::Firefox:
            return {p_.holders.firefoxAddress, p_.holders.firefoxLastAccepted, p_.holders.firefoxLastLogged, "firefox.exe",
                    true};
        case Which::Chrome:
            break;
    }
    return {p_.holders.chromeAddress, p_.holders.chromeLastAccepted, p_.holders.chromeLastLogged, "chrome.exe", false};
}

std::string SiteTimer::readAddress(Which w) {
    try {
        switch (w) {
            case Which::Edge:
                return m_.browsers.readEdgeAddress();
            case Which::Firefox:
                // The Firefox blockers trim what the reader gives.
                return std::string(trimBlanks(m_.browsers.readFirefoxAddress()));
            case Which::Chrome:
                break;
        }
        return m_.browsers.readChromeAddress();
    } catch (...) {
        platform::recordCurrentFailure();
        return {};
    }
}

void SiteTimer::killBrowser(const Side& s) {
    KillProcess(s.process);
    if (s.firefox) m_.host.clearFirefoxSession();
}

void SiteTimer::acceptPage(Side& s) {
    s.lastPage = s.lbl.empty() ? startPage() : s.lbl;
    // Remembered before it is written: writing lets events run, and the log
    // timer ticking meanwhile must find the address already seen.
    const std::string address = s.lbl;
    const bool changed = address != s.lastSite;
    s.lastSite = address;
    if (changed && m_.host.logSwitch()) logVisitedSite(address);
}

void SiteTimer::closeTab() {
    m_.keyboard.keyEvent(kVkControl, kDown);
    m_.keyboard.keyEvent(kVkW, kDown);
    m_.keyboard.keyEvent(kVkControl, kUp);
    m_.keyboard.keyEvent(kVkW, kUp);
}

// A browser that is not running reads as empty, without letting events run
// first: the site timer ticks twenty times a second all day.
bool SiteTimer::notRunning(Side& s) {
    if (IsProcessRunning(s.process)) return false;
    s.lbl.clear();
    return true;
}

void SiteTimer::blockForbidden(Which w) {
    Side s = side(w);
    if (notRunning(s)) return;
    m_.pump.doEvents();
    s.lbl = readAddress(w);
    if (s.lbl.empty()) return;
    bool closedPage = false;
    std::string& closing = p_.holders.closingAddress;
    // The walk goes on after a match, against the address read again.
    for (std::size_t i = p_.sites.firstMatch(s.lbl); i != kNoMatch; i = p_.sites.firstMatch(s.lbl, i + 1)) {
        const std::string shown = s.lbl;
        const std::string notice = text(blockMessage(p_.sites.kind(i))) + " " + withoutQuotes(shown);
        closing = shown;
        closeTab();
        closing.clear();
        reportPageBlocked(shown, s.process);
        notify(notice, kNoticeSite);
        s.lbl = readAddress(w);
        if (s.lbl == shown) {
            closing = shown;
        } else {
            closedPage = true;
        }
        if (!closing.empty()) {
            // The page survived the first close.
            closeTab();
            notify(notice, kNoticeSite);
            s.lbl = readAddress(w);
            if (s.lbl == shown) killBrowser(s);
            closing.clear();
            closedPage = true;
        }
        if (!s.lastPage.empty()) {
            m_.host.openPage(s.lastPage);
            s.lastPage.clear();
        }
    }
    if (closedPage) return;
    acceptPage(s);
}

bool SiteTimer::outsideAllowedList(Which w, Side& s) {
    if (notRunning(s)) return false;
    m_.pump.doEvents();
    s.lbl = readAddress(w);
    const Verdict v = verdictAsChrome(p_.sites, true, s.lbl);
    if (s.lbl.empty()) return false;
    if (!v.blocked) {
        if (v.entry != kNoMatch) acceptPage(s);
        return false;
    }
    return true;
}

void SiteTimer::blockUnlisted(Which w) {
    Side s = side(w);
    if (!outsideAllowedList(w, s)) return;
    // Harsher than the forbidden list: the whole browser goes at once.
    killBrowser(s);
    reportPageBlocked(s.lbl, s.process);
    notify(text(msg::SiteNotAllowed) + " " + withoutQuotes(s.lbl), kNoticeSite);
    const std::string back = s.lastPage.empty() ? startPage() : s.lastPage;
    if (!back.empty()) m_.host.openPage(back);
    s.lastPage.clear();
}

void SiteTimer::blockForbiddenInChrome() { blockForbidden(Which::Chrome); }
void SiteTimer::blockForbiddenInEdge() { blockForbidden(Which::Edge); }
void SiteTimer::blockForbiddenInFirefox() { blockForbidden(Which::Firefox); }
void SiteTimer::blockUnlistedInChrome() { blockUnlisted(Which::Chrome); }
void SiteTimer::blockUnlistedInEdge() { blockUnlisted(Which::Edge); }
void SiteTimer::blockUnlistedInFirefox() { blockUnlisted(Which::Firefox); }

void SiteTimer::blockForbiddenInExplorer() {
    const std::vector<platform::ShellBrowserWindow> all = m_.shellWindows.windows();
    for (std::size_t i = 0; i < all.size(); ++i) {
        const std::string& url = all[i].locationUrl;
        if (url.empty() || internetExplorerExempt(url)) continue;
        if (p_.sites.firstMatchIE(url, all[i].locationName) == kNoMatch) continue;
        reportPageBlocked(url, kExplorer);
        notify(text(msg::SiteForbiddenInExplorer) + " " + url, kNoticeSite);
        m_.shellWindows.goBack(i);
    }
}

void SiteTimer::blockUnlistedInExplorer() {
    const std::vector<platform::ShellBrowserWindow> all = m_.shellWindows.windows();
    for (std::size_t i = 0; i < all.size(); ++i) {
        const std::string& url = all[i].locationUrl;
        if (url.empty() || internetExplorerExempt(url)) continue;
        if (p_.sites.firstMatchIE(url, all[i].locationName) != kNoMatch) continue;
        reportPageBlocked(url, kExplorer);
        notify(text(msg::SiteNotAmongAllowedInExplorer) + " " + url, kNoticeSite);
        m_.shellWindows.goBack(i);
    }
}

void SiteTimer::blockForbiddenInExplorerWindows() {
    const std::string url = lastShellAddress(m_.browsers.shellWindowAddresses());
    if (url.empty() || internetExplorerExempt(url) || p_.sites.firstMatch(url) == kNoMatch) return;
    reportPageBlocked(url, kExplorer);
    notify(text(msg::SiteForbiddenInExplorer) + " " + url, kNoticeSite);
    closeInternetExplorer();
    if (!startPage().empty()) m_.host.openPage(startPage());
}

void SiteTimer::blockUnlistedInExplorerWindows() {
    const std::string url = lastShellAddress(m_.browsers.shellWindowAddresses());
    if (url.empty() || internetExplorerExempt(url) || p_.sites.firstMatch(url) != kNoMatch) return;
    reportPageBlocked(url, kExplorer);
    notify(text(msg::SiteNotAmongAllowedInExplorer) + " " + url, kNoticeSite);
    closeInternetExplorer();
    if (!startPage().empty()) m_.host.openPage(startPage());
}

void SiteTimer::closeWindowsWithForbiddenSites() {
    for (const platform::WindowId window : m_.windows.topLevelWindows()) {
        const std::string title = m_.windows.title(window);
        if (lowerText(title).find("chrome") != std::string::npos) m_.pump.doEvents();
        for (std::size_t i = p_.sites.firstKeywordMatch(title); i != kNoMatch;
             i = p_.sites.firstKeywordMatch(title, i + 1)) {
            m_.windows.postClose(window);
            reportEvent(core::EventId::WindowClosed, {std::string(trimBlanks(title))});
            notify(text(msg::WindowClosedForKeyword) + " " + std::string(trimBlanks(title)), kNoticeWindow);
        }
    }
}

void SiteTimer::tick() noexcept {
    const Entered entered(*this);
    if (!entered.first()) return;
    if (p_.allowedList) {
        platform::guarded([&] { blockUnlistedInExplorer(); });
        platform::guarded([&] { blockUnlistedInChrome(); });
        platform::guarded([&] { blockUnlistedInEdge(); });
        platform::guarded([&] { blockUnlistedInFirefox(); });
        platform::guarded([&] { blockUnlistedInExplorerWindows(); });
        return;
    }
    platform::guarded([&] { blockForbiddenInExplorer(); });
    platform::guarded([&] { blockForbiddenInChrome(); });
    platform::guarded([&] { blockForbiddenInEdge(); });
    platform::guarded([&] { blockForbiddenInFirefox(); });
    if (p_.switches.maxProtection) platform::guarded([&] { closeWindowsWithForbiddenSites(); });
    platform::guarded([&] { blockForbiddenInExplorerWindows(); });
}

}  // namespace ombrix::enforce

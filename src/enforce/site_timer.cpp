#include "enforce/site_timer.h"

#include <algorithm>

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
    Holders& h = p_.holders;
    auto read = [this, w] { return readAddress(w); };
    switch (w) {
        case Which::Edge:
            return {h.edgeAddress, h.edgeLastAccepted, h.edgeLastLogged, "msedge.exe", false, read, {}};
        case Which::Firefox:
            return {h.firefoxAddress, h.firefoxLastAccepted, h.firefoxLastLogged, "firefox.exe", true, read, {}};
        case Which::Chrome:
            break;
    }
    return {h.chromeAddress, h.chromeLastAccepted, h.chromeLastLogged, "chrome.exe", false, read, {}};
}

std::string SiteTimer::readGuarded(const std::function<std::string()>& read) {
    try {
        return read();
    } catch (...) {
        platform::recordCurrentFailure();
        return {};
    }
}

std::string SiteTimer::readAddress(Which w) {
    return readGuarded([&] {
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
    });
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

void SiteTimer::blockForbidden(Side s) {
    if (notRunning(s)) return;
    m_.pump.doEvents();
    s.lbl = s.read();
    if (s.lbl.empty()) return;
    bool closedPage = false;
    std::string& closing = p_.holders.closingAddress;
    // The walk goes on after a match, against the address read again.
    for (std::size_t i = p_.sites.firstMatch(s.lbl); i != kNoMatch; i = p_.sites.firstMatch(s.lbl, i + 1)) {
        const std::string shown = s.lbl;
        const std::string notice = text(blockMessage(p_.sites.kind(i))) + " " + withoutQuotes(shown) +
                                   (s.program.empty() ? "" : " (" + s.program + ")");
        closing = shown;
        closeTab();
        closing.clear();
        reportPageBlocked(shown, s.process);
        notify(notice, kNoticeSite);
        s.lbl = s.read();
        if (s.lbl == shown) {
            closing = shown;
        } else {
            closedPage = true;
        }
        if (!closing.empty()) {
            // The page survived the first close.
            closeTab();
            notify(notice, kNoticeSite);
            s.lbl = s.read();
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

bool SiteTimer::outsideAllowedList(Side& s) {
    if (notRunning(s)) return false;
    m_.pump.doEvents();
    s.lbl = s.read();
    const Verdict v = verdictAsChrome(p_.sites, true, s.lbl);
    if (s.lbl.empty()) return false;
    if (!v.blocked) {
        if (v.entry != kNoMatch) acceptPage(s);
        return false;
    }
    return true;
}

void SiteTimer::blockUnlisted(Side s) {
    if (!outsideAllowedList(s)) return;
    // Harsher than the forbidden list: the whole browser goes at once.
    killBrowser(s);
    reportPageBlocked(s.lbl, s.process);
    notify(text(msg::SiteNotAllowed) + " " + withoutQuotes(s.lbl) + (s.program.empty() ? "" : " (" + s.program + ")"),
           kNoticeSite);
    const std::string back = s.lastPage.empty() ? startPage() : s.lastPage;
    if (!back.empty()) m_.host.openPage(back);
    s.lastPage.clear();
}

void SiteTimer::blockForbiddenInChrome() { blockForbidden(side(Which::Chrome)); }
void SiteTimer::blockForbiddenInEdge() { blockForbidden(side(Which::Edge)); }
void SiteTimer::blockForbiddenInFirefox() { blockForbidden(side(Which::Firefox)); }
void SiteTimer::blockUnlistedInChrome() { blockUnlisted(side(Which::Chrome)); }
void SiteTimer::blockUnlistedInEdge() { blockUnlisted(side(Which::Edge)); }
void SiteTimer::blockUnlistedInFirefox() { blockUnlisted(side(Which::Firefox)); }

void SiteTimer::judgeOtherBrowsers() {
    const std::vector<platform::OtherBrowser> found = m_.browsers.otherBrowsers();
    auto& others = p_.holders.others;
    // A browser that went starts afresh when it comes back.
    std::erase_if(others, [&](const auto& entry) {
        return std::none_of(found.begin(), found.end(),
                            [&](const platform::OtherBrowser& b) { return lowerText(b.image) == entry.first; });
    });
    for (const platform::OtherBrowser& b : found) {
        Holders::Other& h = others[lowerText(b.image)];
        if (!b.readable) {
            unreadableBrowser(b, h);
            continue;
        }
        h.unreadableSince.reset();
        h.traced = false;
        if (b.ownReader) continue;  // its own blockers judged it
        const std::string image = b.image;
        Side s{h.address, h.lastAccepted, h.lastLogged, image, false,
               [this, image] { return readGuarded([&] { return m_.browsers.readOtherAddress(image); }); }, b.label};
        if (p_.allowedList) {
            blockUnlisted(s);
        } else {
            blockForbidden(s);
        }
    }
}

void SiteTimer::unreadableBrowser(const platform::OtherBrowser& b, Holders::Other& h) {
    const std::uint64_t now = m_.clock.tickMilliseconds();
    if (!h.unreadableSince) h.unreadableSince = now;
    if (!h.traced) {
        h.traced = true;
        platform::recordFailure("a browser's address cannot be read, so its pages are not judged", b.label);
    }
    // A forbidden list lets every other page through: an unread page is not
    // worth ending a browser for. An allowed list, or maximum protection,
    // lets through only what it has read.
    if (!p_.allowedList && !p_.switches.maxProtection) return;
    if (now - *h.unreadableSince < kUnreadableGraceMs) return;
    KillProcess(b.image);
    notify(text(msg::UnreadableBrowserClosed) + " " + b.label, kNoticeProcess);
    h.unreadableSince.reset();
}

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
        platform::guarded([&] { judgeOtherBrowsers(); });
        platform::guarded([&] { blockUnlistedInExplorerWindows(); });
        return;
    }
    platform::guarded([&] { blockForbiddenInExplorer(); });
    platform::guarded([&] { blockForbiddenInChrome(); });
    platform::guarded([&] { blockForbiddenInEdge(); });
    platform::guarded([&] { blockForbiddenInFirefox(); });
    platform::guarded([&] { judgeOtherBrowsers(); });
    if (p_.switches.maxProtection) platform::guarded([&] { closeWindowsWithForbiddenSites(); });
    platform::guarded([&] { blockForbiddenInExplorerWindows(); });
}

}  // namespace ombrix::enforce

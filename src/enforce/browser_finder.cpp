#include "enforce/browser_finder.h"

#include <algorithm>
#include <array>

#include "enforce/address_readers.h"
#include "platform/failures.h"
#include "platform/text.h"

namespace ombrix::enforce {
namespace {

using platform::AccessibleQuery;
using platform::WindowId;

// Gecko gives its URL bar's element id to UI Automation as its automation id.
constexpr std::string_view kGeckoUrlBarId = "urlbar-input";

// Chromium and Gecko builds a pupil may bring; Tor Browser's file is firefox.exe.
constexpr std::array<std::string_view, 17> kBrowserFiles{
    "chrome.exe",   "msedge.exe",   "firefox.exe",  "brave.exe",   "vivaldi.exe", "chromium.exe",
    "opera.exe",    "librewolf.exe", "waterfox.exe", "palemoon.exe", "floorp.exe", "thorium.exe",
    "iron.exe",     "seamonkey.exe", "basilisk.exe", "slimjet.exe", "mercury.exe"};

bool ownReader(std::string_view image) {
    return equalsNoCase(image, "chrome.exe") || equalsNoCase(image, "msedge.exe") ||
           equalsNoCase(image, "firefox.exe");
}

// The system's image names are fixed-width fields: a NUL ends the name.
std::string imageOf(const platform::ProcessEntry& p) { return p.imageName.substr(0, p.imageName.find('\0')); }

// Marks a call under way for as long as it lasts.
class Busy {
public:
    explicit Busy(bool& flag) noexcept : flag_(flag) { flag_ = true; }
    ~Busy() { flag_ = false; }
    Busy(const Busy&) = delete;
    Busy& operator=(const Busy&) = delete;

private:
    bool& flag_;
};

}  // namespace

bool knownBrowserName(std::string_view fileName) {
    return std::any_of(kBrowserFiles.begin(), kBrowserFiles.end(),
                       [&](std::string_view known) { return equalsNoCase(fileName, known); });
}

BrowserFinder::BrowserFinder(platform::Processes& processes, platform::WindowSystem& windows,
                             platform::Accessibility& accessibility, platform::Clock& clock)
    : processes_(processes), windows_(windows), accessibility_(accessibility), clock_(clock) {}

std::vector<AccessibleQuery> BrowserFinder::queries(bool gecko) {
    // The user's language as it is now: a search is rare enough to ask.
    const std::string language = languageSettingFor(accessibility_.userInterfaceLanguage());
    std::vector<AccessibleQuery> out;
    const auto add = [&](const AccessibleQuery& q) {
        if (std::find(out.begin(), out.end(), q) == out.end()) out.push_back(q);
    };
    if (gecko) {
        add(localizedQuery(Browser::Firefox, language).query);
        add(firstAttemptQuery(Browser::Firefox));
        add({platform::AccessibleText::AutomationId, std::string(kGeckoUrlBarId), false});
        return out;
    }
    // The user's language first: a browser names its bar in it.
    add(localizedQuery(Browser::Chrome, language).query);
    add(firstAttemptQuery(Browser::Chrome));
    add(localizedQuery(Browser::Edge, language).query);
    add(firstAttemptQuery(Browser::Edge));
    return out;
}

std::vector<BrowserFinder::Seen> BrowserFinder::windowsByProcess() {
    std::vector<Seen> seen;
    for (const bool gecko : {false, true}) {
        const std::string_view cls = gecko ? kGeckoWindowClass : kChromiumWindowClass;
        // Bounded: a tick must stay short whatever the desktop holds.
        WindowId w = 0;
        for (int n = 0; n < 1000 && (w = windows_.findByClass(cls, w)) != 0; ++n) {
            if (!accessibility_.isVisible(w)) continue;
            const std::uint32_t pid = windows_.processId(w);
            if (pid == 0) continue;
            auto it = std::find_if(seen.begin(), seen.end(), [&](const Seen& s) { return s.pid == pid; });
            if (it == seen.end()) it = seen.insert(seen.end(), Seen{pid, gecko, {}});
            it->windows.push_back(w);
        }
    }
    return seen;
}

void BrowserFinder::decide(Process& process) {
    process.decided = true;
    process.bar.reset();
    const std::vector<AccessibleQuery> wanted = queries(process.gecko);
    for (const WindowId window : process.windows) {
        for (const AccessibleQuery& query : wanted) {
            ++searches_;
            if (auto element = accessibility_.findFirst(window, query)) {
                process.bar = std::move(element);
                return;
            }
        }
    }
}

void BrowserFinder::pass() {
    const std::uint64_t now = clock_.tickMilliseconds();
    if (passed_ && now - lastPass_ < kPassMs) return;
    passed_ = true;
    lastPass_ = now;
    const std::vector<Seen> seen = windowsByProcess();
    if (seen.empty()) {
        known_.clear();
        return;
    }
    const std::vector<platform::ProcessEntry> running = processes_.snapshot();
    std::vector<Process> next;
    for (const Seen& s : seen) {
        const auto entry =
            std::find_if(running.begin(), running.end(), [&](const platform::ProcessEntry& p) { return p.id == s.pid; });
        if (entry == running.end()) continue;
        auto old = std::find_if(known_.begin(), known_.end(), [&](const Process& p) {
            return p.pid == entry->id && p.startTime == entry->startTime;
        });
        Process p;
        if (old != known_.end()) {
            p = std::move(*old);
        } else {
            p.pid = entry->id;
            p.startTime = entry->startTime;
            p.image = imageOf(*entry);
            p.label = p.image;
            p.knownName = knownBrowserName(p.image);
            // The names inside the file say what a renamed copy is.
            const std::vector<std::string> kept = processes_.originalNames(*entry);
            bool renamed = !kept.empty();
            for (const std::string& name : kept) {
                if (knownBrowserName(name)) p.knownName = true;
                if (equalsNoCase(name, p.image) || equalsNoCase(name + ".exe", p.image)) renamed = false;
            }
            if (renamed) p.label = p.image + " (" + kept.front() + ")";
            p.changedAt = now;
        }
        if (p.windows != s.windows || p.gecko != s.gecko) {
            p.windows = s.windows;
            p.gecko = s.gecko;
            p.changedAt = now;
            p.decided = false;
            p.bar.reset();
        }
        if (!p.bar && (!p.decided || now - p.changedAt < kSettleMs)) decide(p);
        next.push_back(std::move(p));
    }
    known_ = std::move(next);
}

std::vector<platform::OtherBrowser> BrowserFinder::browsers() noexcept {
    std::vector<platform::OtherBrowser> out;
    if (busy_) return out;
    const Busy busy(busy_);
    try {
        pass();
        for (const Process& p : known_) {
            if (!p.bar && !p.knownName) continue;  // not a browser: left alone
            auto same = std::find_if(out.begin(), out.end(),
                                     [&](const platform::OtherBrowser& b) { return equalsNoCase(b.image, p.image); });
            if (same == out.end()) {
                out.push_back({p.image, p.label, p.gecko, p.bar != nullptr, ownReader(p.image)});
            } else if (p.bar) {
                same->readable = true;
            }
        }
    } catch (...) {
        platform::recordCurrentFailure();
        known_.clear();
        out.clear();
    }
    return out;
}

std::string BrowserFinder::readAddress(std::string_view image) noexcept {
    if (busy_) return {};
    const Busy busy(busy_);
    try {
        for (Process& p : known_) {
            if (!p.bar || !equalsNoCase(p.image, image)) continue;
            const std::optional<std::string> value = p.bar->value();
            const std::optional<bool> focused =
                value && !value->empty() ? p.bar->hasKeyboardFocus() : std::optional<bool>(false);
            if (!value || !focused) {
                // Gone (its window closed, its tool bar rebuilt): searched again at the next pass.
                p.bar.reset();
                p.decided = false;
                p.changedAt = clock_.tickMilliseconds();
                continue;
            }
            if (value->empty() || *focused) return {};
            if (p.gecko) return std::string(trimBlanks(*value));
            return completeScheme(lowerText(*value), Browser::Chrome);
        }
    } catch (...) {
        platform::recordCurrentFailure();
        known_.clear();
    }
    return {};
}

}  // namespace ombrix::enforce

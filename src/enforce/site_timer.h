#pragma once
// The site timer (TimerId::SiteCheck): each browser's address
// judged against the site list of the profile in use, with the blockers of
// the list's mode.

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "enforce/timer_part.h"
#include "support/messages.h"

namespace ombrix::enforce {

// What one browser blocker judges of an address: the verdict of the Chrome,
// Edge and Firefox blockers, shared with "ombrixctl check".
struct Verdict {
    bool blocked = false;
    MessageId message;              // the notice's message when blocked
    std::size_t entry = kNoMatch;   // the first entry that matched, if any
};
[[nodiscard]] Verdict verdictAsChrome(const SiteList& list, bool allowedList, std::string_view address);

// The keys the blockers press, as the keyboard seam takes them.
inline constexpr std::uint8_t kVkControl = 17;
inline constexpr std::uint8_t kVkW = 87;
inline constexpr std::uint32_t kDown = platform::kKeyExtended;
inline constexpr std::uint32_t kUp = platform::kKeyExtended | platform::kKeyUp;

class SiteTimer final : public TimerPart {
public:
    using TimerPart::TimerPart;

    // Every blocker is guarded: a failure is recorded and ends that blocker
    // only, so the tick goes on with the next.
    void tick() noexcept;

    void blockForbiddenInChrome();
    void blockForbiddenInEdge();
    void blockForbiddenInFirefox();
    void blockUnlistedInChrome();
    void blockUnlistedInEdge();
    void blockUnlistedInFirefox();
    void blockForbiddenInExplorer();
    void blockForbiddenInExplorerWindows();
    void blockUnlistedInExplorer();
    void blockUnlistedInExplorerWindows();
    void closeWindowsWithForbiddenSites();
    // The browsers found by what they show: judged as Chrome (Chromium) or
    // Firefox (Gecko) are, in the list's mode; one whose address stays
    // unreadable is ended after kUnreadableGraceMs under an allowed list or
    // maximum protection, and traced otherwise.
    void judgeOtherBrowsers();

    // Ctrl+W to the active window, keys interleaved: Ctrl down, W down, Ctrl up, W up.
    void closeTab();

    // Long enough for a browser that has just shown its window to build its
    // tool bar, and for a slow machine to answer a search or two.
    static constexpr std::uint64_t kUnreadableGraceMs = 10000;

private:
    // One browser's holders, process and reader, for these blockers.
    struct Side {
        std::string& lbl;
        std::string& lastPage;
        std::string& lastSite;
        std::string process;
        bool firefox;                       // its saved session is cleared after a kill
        std::function<std::string()> read;  // a failed read counts as empty
        std::string program;                // named after the address in a notice, when set
    };
    enum class Which { Chrome, Edge, Firefox };
    [[nodiscard]] Side side(Which w);
    [[nodiscard]] std::string readAddress(Which w);
    [[nodiscard]] std::string readGuarded(const std::function<std::string()>& read);
    // Reads the address and accepts a page the allowed list holds; true when
    // the page is outside the list and must go.
    [[nodiscard]] bool outsideAllowedList(Side& s);
    void acceptPage(Side& s);
    void killBrowser(const Side& s);
    [[nodiscard]] bool notRunning(Side& s);
    void blockForbidden(Side s);
    void blockUnlisted(Side s);
    void closeInternetExplorer();
    void unreadableBrowser(const platform::OtherBrowser& browser, Holders::Other& h);
};

}  // namespace ombrix::enforce

#pragma once
// The internal browser's decisions about an address: the go procedure behind
// the address box, the check on the page being loaded, and the cancel before
// a navigation starts. The verdict itself is the site list's.

#include <string>
#include <string_view>
#include <vector>

#include "core/site_verdicts.h"
#include "support/messages.h"

namespace ombrix::browser {

// "http://" in front unless the text starts with "http:", "https:", "ftp:"
// or "about:", compared exactly: "HTTP://x" gets one too.
[[nodiscard]] std::string withScheme(std::string_view typed);

// Never refused in either mode: "about:blank", "about:tabs" and the
// program's own block page (its first 34 characters).
[[nodiscard]] bool neverRefused(std::string_view address);

enum class Then {
    Navigate,            // the address passed
    GoHomeAndStop,       // forbidden: nothing is requested
    GoBackThenNavigate,  // outside the allowed list: told, yet still requested
};

struct GoDecision {
    std::string address;            // what is navigated to
    MessageId message;              // shown before the address, or none
    Then then = Then::Navigate;
    bool remember = false;          // added to the address box's list
};

// The go procedure on the address box's text.
[[nodiscard]] GoDecision go(const core::SiteVerdicts& list, std::string_view typed);

// The check on the page the control is loading: the message to show before
// the address when the control must go back; none when the page may stay.
[[nodiscard]] MessageId refusedWhileLoading(const core::SiteVerdicts& list, std::string_view location);

// Whether a navigation the control is about to start must be cancelled: every
// address the go procedure would refuse, whatever started it (a link, a
// redirect, a script), so that it never reaches the network. The allowed
// list's asymmetry stays in what the user is told, not in what is requested.
[[nodiscard]] bool cancelBeforeRequest(const core::SiteVerdicts& list, std::string_view url);

// The address box's list at load: the entries that begin neither with "."
// nor with "*" (whole addresses and prefixes, not domains or keywords).
[[nodiscard]] std::vector<std::string> addressHistory(const core::SiteVerdicts& list);

// A local file's address: the browser goes home instead.
[[nodiscard]] bool sendsHome(std::string_view boxText);

}  // namespace ombrix::browser

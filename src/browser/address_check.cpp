#include "browser/address_check.h"

#include <optional>

#include "core/site_entry.h"
#include "support/messages.h"

namespace ombrix::browser {

std::string withScheme(std::string_view typed) {
    for (const std::string_view scheme : {"http:", "https:", "ftp:", "about:"}) {
        if (typed.starts_with(scheme)) return std::string(typed);
    }
    return "http://" + std::string(typed);
}

bool neverRefused(std::string_view address) {
    return address == "about:blank" || address == "about:tabs" ||
           core::leftCharacters(address, core::kBlockPageCut) == core::kBlockPageAddress;
}

namespace {

// The refusal for an address in the list's mode: the go procedure's and the
// loading check's messages, in that order; null when the address may go.
struct Refusal {
    MessageId typed;
    MessageId loading;
};

std::optional<Refusal> refusal(const core::SiteVerdicts& list, std::string_view address) {
    if (neverRefused(address)) return std::nullopt;
    if (list.allowedList()) {
        if (address.empty() || list.matches(address)) return std::nullopt;
        return Refusal{msg::SiteNotAmongAllowedInBrowser, msg::PageNotAllowedLoadStopped};
    }
    if (!list.matches(address)) return std::nullopt;
    return Refusal{msg::SiteForbiddenInBrowser, msg::PageForbiddenLoadStopped};
}

}  // namespace

GoDecision go(const core::SiteVerdicts& list, std::string_view typed) {
    GoDecision d;
    d.address = withScheme(typed);
    const auto refused = refusal(list, d.address);
    if (!refused) {
        d.remember = true;
        return d;
    }
    d.message = refused->typed;
    d.then = list.allowedList() ? Then::GoBackThenNavigate : Then::GoHomeAndStop;
    return d;
}

MessageId refusedWhileLoading(const core::SiteVerdicts& list, std::string_view location) {
    const auto refused = refusal(list, location);
    return refused ? refused->loading : MessageId{};
}

bool cancelBeforeRequest(const core::SiteVerdicts& list, std::string_view url) {
    return refusal(list, url).has_value();
}

std::vector<std::string> addressHistory(const core::SiteVerdicts& list) {
    std::vector<std::string> out;
    for (std::string& entry : list.entries()) {
        if (!entry.starts_with('.') && !entry.starts_with('*')) out.push_back(std::move(entry));
    }
    return out;
}

bool sendsHome(std::string_view boxText) { return boxText.starts_with("file://"); }

}  // namespace ombrix::browser

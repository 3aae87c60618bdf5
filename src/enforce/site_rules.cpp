#include "enforce/site_rules.h"

#include "enforce/site_list.h"
#include "platform/text.h"
#include "support/messages.h"

namespace ombrix::enforce {

MessageId blockMessage(SiteKind kind) {
    switch (kind) {
        case SiteKind::Domain:
            return msg::SiteNotAllowed;
        case SiteKind::Keyword:
            return msg::SiteBlockedForKeyword;
        case SiteKind::Prefix:
            break;
    }
    return msg::SiteForbidden;
}

bool matchesKeywordTitle(std::string_view title, std::string_view entry) {
    return siteKind(entry) == SiteKind::Keyword && containsText(lowerText(title), lowerText(entry.substr(1)));
}

bool matchesEntryIE(std::string_view address, std::string_view title, std::string_view entry) {
    return matchesKeywordTitle(title, entry) || matchesEntry(address, entry);
}

std::size_t referenceFirstMatch(const SiteList& list, std::string_view address, std::size_t from) {
    for (std::size_t i = from; i < list.size(); ++i) {
        if (matchesEntry(address, list.entry(i))) return i;
    }
    return kNoMatch;
}

std::size_t referenceFirstMatchIE(const SiteList& list, std::string_view address, std::string_view title,
                                  std::size_t from) {
    for (std::size_t i = from; i < list.size(); ++i) {
        if (matchesEntryIE(address, title, list.entry(i))) return i;
    }
    return kNoMatch;
}

std::size_t referenceFirstKeywordMatch(const SiteList& list, std::string_view title, std::size_t from) {
    for (std::size_t i = from; i < list.size(); ++i) {
        if (matchesKeywordTitle(title, list.entry(i))) return i;
    }
    return kNoMatch;
}

bool internetExplorerExempt(std::string_view address) {
    if (address == "about:tabs" || address == "about:blank") return true;
    return lowerText(leftCharacters(address, kBlockPageCut)) == kBlockPageAddress;
}

std::vector<std::string> shellAddresses(std::string_view list) {
    // Each piece but the last (the empty one after the final "|") holds
    // "<number>§<address>"; a piece without "§" gives nothing.
    static constexpr std::string_view kSection = "\xC2\xA7";
    std::vector<std::string> out;
    std::size_t start = 0;
    while (true) {
        const std::size_t bar = list.find('|', start);
        if (bar == std::string_view::npos) break;
        const std::string_view piece = list.substr(start, bar - start);
        const std::size_t mark = piece.find(kSection);
        if (mark != std::string_view::npos) {
            const std::string_view rest = piece.substr(mark + kSection.size());
            out.emplace_back(rest.substr(0, rest.find(kSection)));
        }
        start = bar + 1;
    }
    return out;
}

}  // namespace ombrix::enforce

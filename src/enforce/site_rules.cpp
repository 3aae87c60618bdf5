#include "enforce/site_rules.h"

#include "enforce/site_list.h"
#include "platform/text.h"

namespace ombrix::enforce {
namespace {

std::string removeChars(std::string_view text, std::string_view chars) {
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        if (chars.find(c) == std::string_view::npos) out += c;
    }
    return out;
}

}  // namespace

SiteKind siteKind(std::string_view entry) {
    if (!entry.empty() && entry.front() == '.') return SiteKind::Domain;
    if (!entry.empty() && entry.front() == '*') return SiteKind::Keyword;
    return SiteKind::Prefix;
}

const char* blockMessage(SiteKind kind) {
    switch (kind) {
        case SiteKind::Domain:
            return "0182";
        case SiteKind::Keyword:
            return "0180";
        case SiteKind::Prefix:
            break;
    }
    return "0181";
}

std::string withoutQuotes(std::string_view text) { return removeChars(text, "\""); }

std::string withoutSchemeAndWww(std::string_view text) {
    return replaceAll(replaceAll(replaceAll(text, "http://", ""), "https://", ""), "www.", "");
}

std::string_view leftCharacters(std::string_view text, std::size_t count) {
    std::size_t pos = 0;
    for (std::size_t n = 0; n < count && pos < text.size(); ++n) (void)decodeUtf8(text, pos);
    return text.substr(0, pos);
}

bool containsText(std::string_view lowered, std::string_view loweredNeedle) {
    return !lowered.empty() && lowered.find(loweredNeedle) != std::string_view::npos;
}

bool matchesEntry(std::string_view address, std::string_view entry) {
    switch (siteKind(entry)) {
        case SiteKind::Domain: {
            const std::string u = lowerText(withoutQuotes(address));
            return containsText(u, lowerText(entry)) || containsText(u, "//" + lowerText(entry.substr(1)));
        }
        case SiteKind::Keyword:
            return containsText(lowerText(address), lowerText(entry.substr(1)));
        case SiteKind::Prefix:
            break;
    }
    const std::string e = withoutSchemeAndWww(entry);
    const std::string a = withoutQuotes(withoutSchemeAndWww(address));
    return lowerText(leftCharacters(a, characterCount(e))) == lowerText(e);
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

bool allowedListExempt(std::string_view address) {
    const std::string a = lowerText(removeChars(address, "\","));
    return a.starts_with("about:blank") || a.starts_with("about:newtab");
}

bool internetExplorerExempt(std::string_view address) {
    if (address == "about:tabs" || address == "about:blank") return true;
    return lowerText(leftCharacters(address, kBlockPageCut)) == kBlockPageAddress;
}

std::vector<std::string> indirizziShell(std::string_view list) {
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

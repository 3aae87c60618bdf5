#include "core/site_entry.h"

#include "platform/text.h"

namespace ombrix::core {
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

bool matchesEveryAddress(std::string_view entry) {
    // Hosts without a letter in common, with and without a scheme, "www."
    // or a path, in either case.
    static constexpr std::string_view kUnrelatedPages[] = {"http://q.x/", "https://www.j.k/z?v=1", "m.n",
                                                           "HTTPS://U.V/"};
    for (const std::string_view page : kUnrelatedPages) {
        if (!matchesEntry(page, entry)) return false;
    }
    return true;
}

bool allowedListExempt(std::string_view address) {
    const std::string a = lowerText(removeChars(address, "\","));
    return a.starts_with("about:blank") || a.starts_with("about:newtab");
}

}  // namespace ombrix::core

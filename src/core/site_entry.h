#pragma once
// The one rule that decides whether an address matches a site entry. The
// enforcement judges pages with it and the profile editor refuses a home
// page its own allowed list would block with it: both must say the same.
//
// An entry's first character picks its kind: "." a domain, "*" a keyword,
// anything else a prefix compared without "http://", "https://" and "www.".

#include <cstddef>
#include <string>
#include <string_view>

namespace ombrix::core {

enum class SiteKind { Domain, Keyword, Prefix };

[[nodiscard]] SiteKind siteKind(std::string_view entry);

// Every double-quote character removed.
[[nodiscard]] std::string withoutQuotes(std::string_view text);
// Every "http://", then every "https://", then every "www." removed; the
// removals are case-sensitive (browsers show these parts in lower case, and
// a list entry in capitals is the administrator's to match exactly).
[[nodiscard]] std::string withoutSchemeAndWww(std::string_view text);

// The first `count` characters (all of them when there are fewer).
[[nodiscard]] std::string_view leftCharacters(std::string_view text, std::size_t count);

// A text search as the classic InStr with a text comparison: both sides are
// lowered by the caller; an empty text to search in never contains anything,
// an empty text to look for is found in any other text.
[[nodiscard]] bool containsText(std::string_view lowered, std::string_view loweredNeedle);

// The rule, literally: every call lowers and rewrites both sides.
[[nodiscard]] bool matchesEntry(std::string_view address, std::string_view entry);

// Whether the entry matches every address, by the rule itself: it matches
// pages of unrelated sites that share nothing but what every address has
// (a dot in the host, a scheme or none), whichever way a browser shows them.
// "http://", "www.", "*", "*." and "." do; on an allowed list such an entry
// lets every page through.
[[nodiscard]] bool matchesEveryAddress(std::string_view entry);

// The program's own block page: "https://" + host + "/web". The host is ours
// and reserved for examples, so it can never be somebody else's site. It is
// 34 characters long, the width of the comparison that exempts it.
inline constexpr std::string_view kBlockPageHost = "blocked.ombrix.example";
inline constexpr std::string_view kBlockPageAddress = "https://blocked.ombrix.example/web";
inline constexpr std::size_t kBlockPageCut = 34;

// Pages an allowed list never blocks: after removing double quotes and
// commas and lowering, the address begins with "about:blank" or
// "about:newtab".
[[nodiscard]] bool allowedListExempt(std::string_view address);

}  // namespace ombrix::core

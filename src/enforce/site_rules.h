#pragma once
// The one rule that decides whether an address matches a site entry, in its
// literal form: every call lowers and rewrites both sides. This is the
// reference that the compiled SiteList must agree with on every input; the
// running program asks the SiteList.
//
// An entry's first character picks its kind: "." a domain, "*" a keyword,
// anything else a prefix compared without "http://", "https://" and "www.".

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace ombrix::enforce {

class SiteList;

enum class SiteKind { Domain, Keyword, Prefix };

[[nodiscard]] SiteKind siteKind(std::string_view entry);
// The message shown when an entry of this kind blocks a page.
[[nodiscard]] const char* blockMessage(SiteKind kind);

inline constexpr std::size_t kNoMatch = static_cast<std::size_t>(-1);

// The program's own block page: "https://" + host + "/web". The host is ours
// and reserved for examples, so it can never be somebody else's site. It is
// 34 characters long, the width of the comparison that exempts it.
inline constexpr std::string_view kBlockPageHost = "blocked.ombrix.example";
inline constexpr std::string_view kBlockPageAddress = "https://blocked.ombrix.example/web";
inline constexpr std::size_t kBlockPageCut = 34;

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

// The rule, literally.
[[nodiscard]] bool matchesEntry(std::string_view address, std::string_view entry);
// The Internet Explorer flavour: a keyword also matches the window title
// (tested first), domain and prefix entries only the address.
[[nodiscard]] bool matchesEntryIE(std::string_view address, std::string_view title, std::string_view entry);
// The title closer's test: keyword entries only, against a window title.
[[nodiscard]] bool matchesKeywordTitle(std::string_view title, std::string_view entry);

// The literal walk: the first entry at or after `from` that matches; kNoMatch
// when none does.
[[nodiscard]] std::size_t referenceFirstMatch(const SiteList& list, std::string_view address, std::size_t from = 0);
[[nodiscard]] std::size_t referenceFirstMatchIE(const SiteList& list, std::string_view address,
                                                std::string_view title, std::size_t from = 0);
[[nodiscard]] std::size_t referenceFirstKeywordMatch(const SiteList& list, std::string_view title,
                                                     std::size_t from = 0);

// Pages the allowed-list blockers of Chrome, Edge and Firefox never judge: after
// removing double quotes and commas and lowering, the address begins with
// "about:blank" or "about:newtab".
[[nodiscard]] bool allowedListExempt(std::string_view address);
// Pages the Internet Explorer blockers never act on: "about:tabs",
// "about:blank", and the block page (the first 34 characters, lowered).
[[nodiscard]] bool internetExplorerExempt(std::string_view address);

// Every address of a shell window list "1§<address>|2§<address>|", in order,
// read as UltimoIndirizzoShell reads its last one.
[[nodiscard]] std::vector<std::string> indirizziShell(std::string_view list);

}  // namespace ombrix::enforce

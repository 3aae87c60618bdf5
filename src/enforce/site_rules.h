#pragma once
// The site rule as the enforcement uses it. The rule itself lives a floor
// down (core/site_entry.h), where the profile editor reaches it too; this is
// the reference that the compiled SiteList must agree with on every input;
// the running program asks the SiteList.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "core/site_entry.h"
#include "support/messages.h"

namespace ombrix::enforce {

class SiteList;

using core::SiteKind;
using core::siteKind;
using core::withoutQuotes;
using core::withoutSchemeAndWww;
using core::leftCharacters;
using core::containsText;
using core::matchesEntry;
using core::allowedListExempt;

// The message shown when an entry of this kind blocks a page.
[[nodiscard]] MessageId blockMessage(SiteKind kind);

inline constexpr std::size_t kNoMatch = static_cast<std::size_t>(-1);

using core::kBlockPageAddress;
using core::kBlockPageCut;
using core::kBlockPageHost;

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

// Pages the Internet Explorer blockers never act on: "about:tabs",
// "about:blank", and the block page (the first 34 characters, lowered).
[[nodiscard]] bool internetExplorerExempt(std::string_view address);

// Every address of a shell window list "1§<address>|2§<address>|", in order,
// read as lastShellAddress reads its last one.
[[nodiscard]] std::vector<std::string> shellAddresses(std::string_view list);

}  // namespace ombrix::enforce

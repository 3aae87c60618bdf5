#pragma once
// The browsers' own filters: the site list in force told to Chrome, Edge and
// Firefox through their per-user policy keys, with private and guest
// windows, DNS over HTTPS, developer tools and the pages that could undo it
// turned off. The browser refuses a page before it shows it, where the
// address-bar readers act only on their next tick and never see a private
// window; the readers stay the judges of every page.
//
// So that no page changes verdict: a forbidden list becomes a block list
// only of what the site rule blocks too (domains, and prefixes on their host
// and its "www." form); an allowed list becomes "block everything, allow
// these" only when every entry has a policy form and the list fits the
// browser, since a page the browser refuses cannot be let through by the
// readers. Keywords have no policy form.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "core/browser_policy_sink.h"

namespace ombrix::core {

inline constexpr const char* kChromePolicies = "Software\\Policies\\Google\\Chrome";
inline constexpr const char* kEdgePolicies = "Software\\Policies\\Microsoft\\Edge";
inline constexpr const char* kFirefoxPolicies = "Software\\Policies\\Mozilla\\Firefox";
// Chrome and Edge ignore the entries of a URL list past the 1000th; Firefox
// names no limit for its filter and is held to the same.
inline constexpr std::size_t kPolicyListLimit = 1000;

// One value under the current user's key.
struct PolicyValue {
    std::string path;
    std::string name;
    bool dword = false;
    std::string value;  // text, or the double word in decimal
    bool operator==(const PolicyValue&) const = default;
};

struct BrowserPolicies {
    std::vector<PolicyValue> values;
    // What stays with the readers alone, and why: for the program's log.
    std::vector<std::string> leftToReaders;
};

[[nodiscard]] BrowserPolicies translatePolicies(const PolicySites& sites);

// How one entry reads in a browser's URL list.
struct UrlFilter {
    std::string host;  // lowered, in ASCII (punycode)
    bool subdomains = false;
    std::string path;  // "" or from its "/"
    bool operator==(const UrlFilter&) const = default;
};
struct EntryFilters {
    enum class Reach { None, Everything, Filters } reach = Reach::None;
    std::vector<UrlFilter> filters;
    std::string why;  // for None
};
[[nodiscard]] EntryFilters entryFilters(std::string_view entry);
// "example.org/x" (with its subdomains), ".example.org/x" (the host alone).
[[nodiscard]] std::string chromiumFilter(const UrlFilter& filter);
// "*://*.example.org/x*" or "*://example.org/x*".
[[nodiscard]] std::string firefoxFilter(const UrlFilter& filter);

}  // namespace ombrix::core

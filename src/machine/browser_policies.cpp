#include "machine/browser_policies.h"

#include <algorithm>
#include <set>

#include "core/site_entry.h"
#include "platform/idn.h"
#include "platform/text.h"

namespace ombrix::core {
namespace {

using Reach = EntryFilters::Reach;

EntryFilters none(std::string why) { return {Reach::None, {}, std::move(why)}; }

bool asciiHostCharacter(char c) { return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.'; }

// "host/path" of an entry, lowered: the host in ASCII, the path plain ASCII
// without the characters a browser's list reads as patterns or as the query.
std::optional<UrlFilter> hostAndPath(std::string_view text, bool subdomains, std::string& why) {
    const std::size_t slash = text.find('/');
    std::string host(text.substr(0, slash));
    std::string path(slash == std::string_view::npos ? std::string_view() : text.substr(slash));
    if (std::any_of(host.begin(), host.end(), [](char c) { return static_cast<unsigned char>(c) >= 0x80; })) {
        const auto ascii = platform::hostToAscii(host);
        if (!ascii) {
            why = "a host with no ASCII form";
            return std::nullopt;
        }
        host = *ascii;
    }
    if (host.empty() || !std::all_of(host.begin(), host.end(), asciiHostCharacter) || host.front() == '.' ||
        host.back() == '.' || host.find("..") != std::string::npos) {
        why = "no host name (a port, a space or other signs)";
        return std::nullopt;
    }
    for (const char c : path) {
        const auto b = static_cast<unsigned char>(c);
        if (b <= 0x20 || b >= 0x7f || c == '*' || c == '?' || c == '#' || c == '@' || c == '\\') {
            why = "a path a URL list cannot hold exactly";
            return std::nullopt;
        }
    }
    return UrlFilter{std::move(host), subdomains, std::move(path)};
}

void addValue(std::vector<PolicyValue>& out, std::string path, std::string name, std::string value) {
    out.push_back({std::move(path), std::move(name), false, std::move(value)});
}

void addDword(std::vector<PolicyValue>& out, std::string path, std::string name, std::uint32_t value) {
    out.push_back({std::move(path), std::move(name), true, std::to_string(value)});
}

// A list policy: its key with values "1", "2", ... in order.
void addList(std::vector<PolicyValue>& out, const std::string& key, const std::vector<std::string>& items) {
    for (std::size_t i = 0; i < items.size(); ++i) addValue(out, key, std::to_string(i + 1), items[i]);
}

std::vector<std::string> formatted(const std::vector<UrlFilter>& filters, std::string (*format)(const UrlFilter&)) {
    std::vector<std::string> out;
    std::set<std::string> seen;
    for (const auto& f : filters) {
        std::string text = format(f);
        if (seen.insert(text).second) out.push_back(std::move(text));
    }
    return out;
}

}  // namespace

EntryFilters entryFilters(std::string_view entry) {
    // The rule removes double quotes from the address, never from the entry:
    // an entry with one matches nothing.
    if (entry.find('"') != std::string_view::npos) return none("a double quote (it matches no address)");
    std::string why;
    switch (siteKind(entry)) {
        case SiteKind::Keyword:
            if (entry.size() == 1) return {Reach::Everything, {}, {}};
            return none("a keyword (no policy form)");
        case SiteKind::Domain: {
            const std::string rest = lowerText(entry.substr(1));
            // "." alone: every address with "//" in it, every page.
            if (rest.empty()) return {Reach::Everything, {}, {}};
            auto filter = hostAndPath(rest, true, why);
            if (!filter) return none(why);
            return {Reach::Filters, {*filter}, {}};
        }
        case SiteKind::Prefix: {
            const std::string rest = lowerText(withoutSchemeAndWww(entry));
            // "http://" or "www." alone: every address begins with nothing.
            if (rest.empty()) return {Reach::Everything, {}, {}};
            if (rest.find("://") != std::string::npos) return none("another scheme");
            auto filter = hostAndPath(rest, false, why);
            if (!filter) return none(why);
            // The rule drops "www." from the address: that host too.
            UrlFilter www = *filter;
            www.host = "www." + www.host;
            return {Reach::Filters, {*filter, www}, {}};
        }
    }
    return none("unknown");
}

std::string chromiumFilter(const UrlFilter& f) { return (f.subdomains ? "" : ".") + f.host + f.path; }

std::string firefoxFilter(const UrlFilter& f) {
    return std::string("*://") + (f.subdomains ? "*." : "") + f.host + (f.path.empty() ? "/" : f.path) + "*";
}

BrowserPolicies translatePolicies(const PolicySites& sites) {
    BrowserPolicies out;
    std::vector<UrlFilter> filters;
    bool everything = false;
    std::size_t withoutForm = 0;
    bool keyword = false;
    for (const auto& entry : sites.entries) {
        EntryFilters e = entryFilters(entry);
        if (e.reach == Reach::Everything) everything = true;
        if (e.reach == Reach::Filters) filters.insert(filters.end(), e.filters.begin(), e.filters.end());
        if (e.reach == Reach::None) {
            ++withoutForm;
            keyword = keyword || siteKind(entry) == SiteKind::Keyword;
            out.leftToReaders.push_back("\"" + entry + "\": " + e.why);
        }
    }

    // The three browsers' lists, the pages that could undo them last.
    const std::vector<std::string> chromePages = {"chrome://extensions", "chrome://policy"};
    const std::vector<std::string> edgePages = {"edge://extensions", "edge://policy"};
    std::vector<std::string> chromeBlock, edgeBlock, firefoxBlock, chromeAllow, firefoxAllow;
    if (!sites.allowedList) {
        if (everything) {
            chromeBlock = {"*"};
            firefoxBlock = {"<all_urls>"};
        } else {
            chromeBlock = formatted(filters, chromiumFilter);
            firefoxBlock = formatted(filters, firefoxFilter);
        }
        const std::size_t room = kPolicyListLimit - chromePages.size();
        if (chromeBlock.size() > room || firefoxBlock.size() > kPolicyListLimit) {
            out.leftToReaders.push_back("the block list is cut at " + std::to_string(room) + " entries of " +
                                        std::to_string(std::max(chromeBlock.size(), firefoxBlock.size())));
            if (chromeBlock.size() > room) chromeBlock.resize(room);
            if (firefoxBlock.size() > kPolicyListLimit) firefoxBlock.resize(kPolicyListLimit);
        }
        edgeBlock = chromeBlock;
    } else if (everything) {
        out.leftToReaders.push_back("the allowed list allows every page: no URL lists");
    } else if (withoutForm > 0) {
        // A page the browser refuses, the readers cannot let through.
        out.leftToReaders.push_back(keyword ? "the allowed list has keywords: no URL lists"
                                            : "the allowed list has entries without a policy form: no URL lists");
    } else {
        chromeAllow = formatted(filters, chromiumFilter);
        firefoxAllow = formatted(filters, firefoxFilter);
        if (chromeAllow.size() > kPolicyListLimit || firefoxAllow.size() > kPolicyListLimit) {
            out.leftToReaders.push_back("the allowed list has more than " + std::to_string(kPolicyListLimit) +
                                        " entries: no URL lists");
            chromeAllow.clear();
            firefoxAllow.clear();
        } else {
            chromeBlock = edgeBlock = {"*"};
            firefoxBlock = {"<all_urls>"};
        }
    }
    chromeBlock.insert(chromeBlock.end(), chromePages.begin(), chromePages.end());
    edgeBlock.insert(edgeBlock.end(), edgePages.begin(), edgePages.end());

    const std::string chrome = kChromePolicies, edge = kEdgePolicies, firefox = kFirefoxPolicies;
    auto& v = out.values;
    addList(v, chrome + "\\URLBlocklist", chromeBlock);
    addList(v, chrome + "\\URLAllowlist", chromeAllow);
    addDword(v, chrome, "IncognitoModeAvailability", 1);  // not available
    addDword(v, chrome, "BrowserGuestModeEnabled", 0);
    addValue(v, chrome, "DnsOverHttpsMode", "off");
    addDword(v, chrome, "DeveloperToolsAvailability", 2);  // not allowed

    addList(v, edge + "\\URLBlocklist", edgeBlock);
    addList(v, edge + "\\URLAllowlist", chromeAllow);
    addDword(v, edge, "InPrivateModeAvailability", 1);
    addDword(v, edge, "BrowserGuestModeEnabled", 0);
    addValue(v, edge, "DnsOverHttpsMode", "off");
    addDword(v, edge, "DeveloperToolsAvailability", 2);

    addList(v, firefox + "\\WebsiteFilter\\Block", firefoxBlock);
    addList(v, firefox + "\\WebsiteFilter\\Exceptions", firefoxAllow);
    addDword(v, firefox, "DisablePrivateBrowsing", 1);
    addDword(v, firefox + "\\DNSOverHTTPS", "Enabled", 0);
    addDword(v, firefox + "\\DNSOverHTTPS", "Locked", 1);
    addDword(v, firefox, "DisableDeveloperTools", 1);
    addDword(v, firefox, "BlockAboutAddons", 1);
    addDword(v, firefox, "BlockAboutConfig", 1);
    return out;
}

}  // namespace ombrix::core

#include "enforce/site_rules.h"

#include <gtest/gtest.h>

#include "enforce/site_list.h"

namespace ombrix::enforce {
namespace {

struct RuleCase {
    const char* entry;
    const char* address;
    bool matches;
};

// Each case runs through the literal rule and through a compiled one-entry
// list, so the table pins both; the differential test compares the two on
// longer lists, from any position, for Internet Explorer's titles too.
const RuleCase kRules[] = {
    // Domains: the name itself after "//", any name ending in it, anywhere.
    {".example.org", "http://example.org/", true},
    {".example.org", "https://a.b.example.org/p", true},
    {".example.org", "https://example.org.evil.net/", true},
    {".example.org", "https://notexample.org/", false},
    {".example.org", "https://www.example.com/?q=.example.org", true},
    {".EXAMPLE.org", "http://Example.ORG/", true},
    {".example.org", "\"http://example.org/\"", true},
    {".exa\"mple.org", "http://exa\"mple.org/", false},
    {".", "http://localhost/", true},
    {".", "about:blank", false},
    {".", "example.org", true},
    {".", "\"\"", false},
    // Keywords: anywhere, case ignored, quotes kept.
    {"*Casino", "https://x.org/?q=casino", true},
    {"*casino", "https://x.org/?q=cas\"ino", false},
    {"*\"x", "http://a/\"x", true},
    {"*", "http://anything/", true},
    {"*", "", false},
    {"*ÀÉ", "http://àé.it/", true},
    {"*straße", "http://STRASSE.de/", false},
    // Prefixes: scheme and "www." ignored on both sides, case-sensitively.
    {"example.org", "https://www.example.org/a", true},
    {"example.org", "https://sub.example.org", false},
    {"example.org/news", "http://example.org/news/today", true},
    {"example.org/news", "http://example.org/new", false},
    {"www.example.org", "example.org", true},
    {"https://example.org", "http://www.example.org/", true},
    {"HTTP://example.org", "http://example.org/", false},
    {"HTTP://example.org", "HTTP://example.org/", true},
    {"example.org", "\"https://www.example.org/\"", true},
    {"Example.ORG", "http://EXAMPLE.org/x", true},
    {"www.", "about:blank", true},
    {"www.", "", true},
    {"http://", "x", true},
    {"ex\"ample", "http://ex\"ample/", false},
    {"hthttp://tp://x", "http://x", false},
    {"hthttp://tp://x", "http://tp://x", false},
    {"hthttp://tp://x", "hthttp://tp://x", true},
    // Accented capitals lower as Windows lowers them; a prefix counts characters.
    {"ÉCOLE.fr", "http://école.fr/", true},
    {"İstanbul.tr", "http://istanbul.tr/", true},
    {"istanbul", "http://İSTANBUL.tr/", true},
    {"ÀÀ", "http://àà/", true},
    {"àx", "http://à/", false},
    // Leaving a quote out can join two stray bytes into a letter, which then lowers.
    {".Org\xC3\xA0", "http://x//Org\xC3\x22\x80", true},
    {"Org\xC3\xA0", "http://Org\xC3\x22\x80", true},
    {"*org\xC3\xA0", "http://Org\xC3\x22\x80", false},
};

TEST(SiteRule, TableOfEntriesAndAddresses) {
    for (const auto& c : kRules) {
        EXPECT_EQ(matchesEntry(c.address, c.entry), c.matches) << c.entry << " vs " << c.address;
        const SiteList list = SiteList::from({c.entry});
        EXPECT_EQ(list.firstMatch(c.address) == 0, c.matches) << "compiled: " << c.entry << " vs " << c.address;
    }
}

TEST(SiteRule, InternetExplorerKeywordsAlsoMatchTheTitle) {
    EXPECT_TRUE(matchesEntryIE("http://a.org/", "Il mio CASINO", "*casino"));
    EXPECT_FALSE(matchesEntryIE("http://a.org/", "casino", ".casino"));
    EXPECT_FALSE(matchesEntryIE("http://a.org/", "casino", "casino"));
}

TEST(SiteRule, Exemptions) {
    EXPECT_TRUE(allowedListExempt("about:blank"));
    EXPECT_TRUE(allowedListExempt("\"About:NewTab\","));
    EXPECT_TRUE(allowedListExempt("about:newtab,"));
    EXPECT_TRUE(allowedListExempt("about:bl,ank#x"));
    EXPECT_FALSE(allowedListExempt("about:settings"));
    EXPECT_FALSE(allowedListExempt(" about:blank"));

    EXPECT_TRUE(internetExplorerExempt("about:blank"));
    EXPECT_TRUE(internetExplorerExempt("about:tabs"));
    EXPECT_FALSE(internetExplorerExempt("About:Blank"));
    EXPECT_TRUE(internetExplorerExempt("HTTPS://BLOCKED.ombrix.example/web?sito=x"));
    EXPECT_FALSE(internetExplorerExempt("https://blocked.ombrix.example/we"));
    EXPECT_FALSE(internetExplorerExempt("http://blocked.ombrix.example/web"));
}

}  // namespace
}  // namespace ombrix::enforce

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
// list, so the table pins both.
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
    const SiteList list = SiteList::from({"example.org", "*casino", ".b.org"});
    EXPECT_EQ(list.firstMatchIE("http://a.org/", "Casino Royale"), 1u);
    EXPECT_EQ(list.firstMatchIE("http://example.org/", "Casino Royale"), 0u);
    EXPECT_EQ(list.firstMatchIE("http://x.b.org/", "niente", 1), 2u);
    EXPECT_EQ(list.firstKeywordMatch("Casino"), 1u);
    EXPECT_EQ(list.firstKeywordMatch("example.org"), kNoMatch);
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

TEST(SiteRule, CharactersCountCodePointsAndStrayBytes) {
    EXPECT_EQ(characterCount("àb"), 2u);
    EXPECT_EQ(characterCount("\xC3"), 1u);
    EXPECT_EQ(characterCount("\xC3\x28"), 2u);
    EXPECT_EQ(leftCharacters("àèì", 2), "àè");
    EXPECT_EQ(leftCharacters("ab", 5), "ab");
}

TEST(SiteList, KeepsEntriesAsStoredWithTheSpareElement) {
    const SiteList list = SiteList::from({"*Gioco", ".Esempio.it", "www.A.b"});
    ASSERT_EQ(list.size(), 3u);
    EXPECT_EQ(list.upperBound(), 3u);
    EXPECT_EQ(list.entry(0), "*Gioco");
    EXPECT_EQ(list.entry(1), ".Esempio.it");
    EXPECT_EQ(list.entry(2), "www.A.b");
    EXPECT_EQ(list.entry(3), "") << "the spare element";
    EXPECT_EQ(list.kind(0), SiteKind::Keyword);
    const SiteList none;
    EXPECT_TRUE(none.empty());
    EXPECT_EQ(none.firstMatch("http://a/"), kNoMatch);
}

TEST(SiteList, FirstMatchAtOrAfterAPosition) {
    const SiteList list = SiteList::from({"a.org", "*zzz", ".a.org", "A.ORG", "*a", "b.org"});
    EXPECT_EQ(list.firstMatch("http://a.org/"), 0u);
    EXPECT_EQ(list.firstMatch("http://a.org/", 1), 2u);
    EXPECT_EQ(list.firstMatch("http://a.org/", 3), 3u);
    EXPECT_EQ(list.firstMatch("http://a.org/", 4), 4u);
    EXPECT_EQ(list.firstMatch("http://a.org/", 5), kNoMatch);
    EXPECT_EQ(list.firstMatch("http://a.org/", 99), kNoMatch);
    EXPECT_EQ(list.firstMatch("http://b.org/"), 5u);
}

}  // namespace
}  // namespace ombrix::enforce

#include "enforce/site_rules.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <iostream>
#include <random>
#include <tuple>

#include "enforce/site_list.h"

namespace ombrix::enforce {
namespace {

// Each case runs through the literal rule and a compiled one-entry list.
const std::tuple<const char*, const char*, bool> kRules[] = {  // entry, address, matches
    // Domains: the name itself after "//", any name ending in it, anywhere.
    {".example.org", "https://a.b.example.org/p", true},
    {".example.org", "https://notexample.org/", false},
    {".example.org", "\"http://example.org/\"", true},
    {".EXAMPLE.org", "http://Example.ORG/", true},
    {".exa\"mple.org", "http://exa\"mple.org/", false},
    {".", "http://localhost/", true},
    {".", "about:blank", false},
    // Keywords: anywhere, case ignored, quotes kept.
    {"*Casino", "https://x.org/?q=casino", true},
    {"*casino", "https://x.org/?q=cas\"ino", false},
    {"*", "", false},
    {"*ÀÉ", "http://àé.it/", true},
    {"*straße", "http://STRASSE.de/", false},
    // Prefixes: scheme and "www." ignored on both sides, case-sensitively.
    {"Example.ORG", "https://www.EXAMPLE.org/x", true},
    {"example.org", "https://sub.example.org", false},
    {"example.org/news", "http://example.org/new", false},
    {"https://example.org", "http://www.example.org/", true},
    {"HTTP://example.org", "http://example.org/", false},
    {"HTTP://example.org", "HTTP://example.org/", true},
    {"www.", "", true},
    {"ex\"ample", "http://ex\"ample/", false},
    {"hthttp://tp://x", "http://tp://x", false},
    {"hthttp://tp://x", "hthttp://tp://x", true},
    // Accented capitals lower as Windows lowers them; a prefix counts characters.
    {"ÉCOLE.fr", "http://école.fr/", true},
    {"İstanbul.tr", "http://istanbul.tr/", true},
    {"istanbul", "http://İSTANBUL.tr/", true},
    {"àx", "http://à/", false},
    // Leaving a quote out can join two stray bytes into a letter, which then lowers.
    {".Org\xC3\xA0", "http://x//Org\xC3\x22\x80", true},
    {"Org\xC3\xA0", "http://Org\xC3\x22\x80", true},
    {"*org\xC3\xA0", "http://Org\xC3\x22\x80", false},
};

TEST(SiteRule, TableOfEntriesAndAddresses) {
    for (const auto& [entry, address, matches] : kRules) {
        EXPECT_EQ(matchesEntry(address, entry), matches) << entry << " vs " << address;
        EXPECT_EQ(SiteList::from({entry}).firstMatch(address) == 0, matches) << "compiled: " << entry << " vs " << address;
    }
}

TEST(SiteRule, ExemptionsAndInternetExplorerTitles) {
    EXPECT_TRUE(allowedListExempt("\"About:NewTab\",") && allowedListExempt("about:bl,ank#x"));
    EXPECT_FALSE(allowedListExempt("about:settings") || allowedListExempt(" about:blank"));
    EXPECT_TRUE(internetExplorerExempt("about:tabs") && internetExplorerExempt("HTTPS://BLOCKED.ombrix.example/web?sito=x"));
    EXPECT_FALSE(internetExplorerExempt("About:Blank") || internetExplorerExempt("https://blocked.ombrix.example/we") ||
                 internetExplorerExempt("http://blocked.ombrix.example/web"));
    EXPECT_TRUE(matchesEntryIE("http://a.org/", "Il mio CASINO", "*casino")) << "keywords match the title too";
    EXPECT_FALSE(matchesEntryIE("http://a.org/", "casino", ".casino") || matchesEntryIE("http://a.org/", "casino", "casino"));
}

// The compiled site list against the literal walk, on random lists and addresses of pieces that make
// the three kinds collide. OMBRIX_DIFFERENTIAL_PAIRS and OMBRIX_DIFFERENTIAL_SEED set how many pairs
// run and the seed (scripts/differential.sh runs millions).
constexpr const char* kPieces[] = {
    "a", "b", "o", "ex", "am", "ple", "org", "com", ".", ".", "..", "/", "//", ":", "?q=", "#", " ", ",",
    "http://", "https://", "HTTP://", "Https://", "http:/", "www.", "WWW.", "ww", "w.", "htt", "p://",
    "\"", "\"", "*", "about:blank", "about:newtab", "X", "AB", "Org",
    "é", "É", "à", "À", "İ", "ı", "i", "I", "ß", "Σ", "σ", "Ω", "Ж", "ж", "Ÿ", "ÿ", "€",
    "\xC3", "\x80", "\xC3\x28", "\xE2\x82", "\xF0\x9F\x98\x80", "\xED\xA0\x80", "\xC0\xAF",
    // Halves of a letter around a quote: leaving the quote out joins them.
    "\xC3\"", "\"\x89", "\xC3\"\x89",
};

// Few pieces with long common beginnings crowd entries under the same first bytes, as "www." does.
constexpr const char* kCrowdedPieces[] = {"a", "b", "aaaa", "abab", "aa", ".", "/", "//", "x", "A", "À", "à", "\""};

// Crowded lists and their entries are longer, so that shared bytes split several levels deep.
struct Generator {
    std::string text(int maxPieces, int crowdedMax) {
        std::string out;
        for (int n = pick((crowded ? crowdedMax : maxPieces) + 1); n > 0; --n) {
            out += crowded ? kCrowdedPieces[pick(std::size(kCrowdedPieces))] : kPieces[pick(std::size(kPieces))];
        }
        return out;
    }
    std::string entry() {
        const int kind = pick(8);
        const std::string e = kind < 3 ? "." + text(3, 12) : kind < 5 ? "*" + text(2, 8) : text(4, 14);
        return e.empty() ? "x" : e;
    }
    std::string address() {
        const int kind = pick(6);
        if (kind < 2) return kind == 0 ? text(3, 16) : "\"" + text(5, 16) + "\"";
        return (pick(2) == 0 ? "http://" : "https://") + std::string(pick(3) == 0 ? "www." : "") + text(6, 20);
    }
    int pick(std::size_t n) { return std::uniform_int_distribution<int>(0, static_cast<int>(n) - 1)(rng); }
    std::mt19937_64 rng;
    bool crowded = false;
};

std::uint64_t envNumber(const char* name, std::uint64_t fallback) {
    const char* v = std::getenv(name);
    return v == nullptr || *v == '\0' ? fallback : std::strtoull(v, nullptr, 10);
}

TEST(SiteListDifferential, CompiledAnswersAsTheLiteralWalk) {
    const std::uint64_t pairs = envNumber("OMBRIX_DIFFERENTIAL_PAIRS", 30000);
    const std::uint64_t seed = envNumber("OMBRIX_DIFFERENTIAL_SEED", 20240305);
    Generator gen{std::mt19937_64(seed)};
    std::uint64_t done = 0, matched = 0;
    while (done < pairs) {
        // A list, then many addresses against it: compiling is the slow part.
        gen.crowded = gen.pick(8) == 0;
        std::vector<std::string> entries(static_cast<std::size_t>(gen.crowded ? 40 + gen.pick(300) : 1 + gen.pick(24)));
        for (auto& e : entries) e = gen.entry();
        const SiteList list = SiteList::from(entries);
        for (int k = 0; k < 40 && done < pairs; ++k, ++done) {
            const std::string address = gen.address(), title = gen.text(4, 4);
            const auto from = static_cast<std::size_t>(gen.pick(entries.size() + 1));
            // The first match, Internet Explorer's, a title's keyword.
            const std::array<std::size_t, 3> want{referenceFirstMatch(list, address, from),
                                                  referenceFirstMatchIE(list, address, title, from),
                                                  referenceFirstKeywordMatch(list, title, from)};
            matched += want[0] != kNoMatch ? 1 : 0;
            ASSERT_EQ((std::array{list.firstMatch(address, from), list.firstMatchIE(address, title, from),
                                  list.firstKeywordMatch(title, from)}),
                      want)
                << "seed " << seed << ", pair " << done << ": address " << ::testing::PrintToString(address)
                << ", title " << ::testing::PrintToString(title) << ", from " << from << ", entries "
                << ::testing::PrintToString(entries);
        }
    }
    // The generator must produce both outcomes, or the comparison proves little.
    EXPECT_GT(matched, done / 10);
    EXPECT_LT(matched, done - done / 10);
    std::cout << "[ compared ] " << done << " pairs, " << matched << " with a match\n";
}

}  // namespace
}  // namespace ombrix::enforce

// The compiled site list against the literal walk, on random lists and
// addresses built from pieces that make the three kinds collide: schemes in
// both cases, "www.", quotes, dots and slashes, accented capitals, letters
// whose lowered form is shorter, and bytes that are not UTF-8.
//
// OMBRIX_DIFFERENTIAL_PAIRS sets how many address/list pairs run (a small
// number by default; scripts/differential.sh runs a million or more), and
// OMBRIX_DIFFERENTIAL_SEED the seed.

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <iostream>
#include <random>
#include <string>
#include <vector>

#include "enforce/site_list.h"
#include "enforce/site_rules.h"

namespace ombrix::enforce {
namespace {

constexpr const char* kPieces[] = {
    "a", "b", "o", "ex", "am", "ple", "org", "com", ".", ".", "..", "/", "//", ":", "?q=", "#", " ", ",",
    "http://", "https://", "HTTP://", "Https://", "http:/", "www.", "WWW.", "ww", "w.", "htt", "p://",
    "\"", "\"", "*", "about:blank", "about:newtab", "X", "AB", "Org",
    "é", "É", "à", "À", "İ", "ı", "i", "I", "ß", "Σ", "σ", "Ω", "Ж", "ж", "Ÿ", "ÿ", "€",
    "\xC3", "\x80", "\xC3\x28", "\xE2\x82", "\xF0\x9F\x98\x80", "\xED\xA0\x80", "\xC0\xAF",
    // Halves of a letter around a quote: leaving the quote out joins them.
    "\xC3\"", "\"\x89", "\xC3\"\x89",
};

// Few pieces with long common beginnings: lists built from them crowd many
// entries under the same first bytes, as "www." or "cdn." do in real lists.
constexpr const char* kCrowdedPieces[] = {"a", "b", "aaaa", "abab", "aa", ".", "/", "//", "x", "A", "À", "à", "\""};

class Generator {
public:
    explicit Generator(std::uint64_t seed) : rng_(seed) {}

    std::string text(int maxPieces) {
        std::string out;
        const int n = pick(maxPieces + 1);
        for (int i = 0; i < n; ++i) {
            out += crowded ? kCrowdedPieces[pick(static_cast<int>(std::size(kCrowdedPieces)))]
                            : kPieces[pick(static_cast<int>(std::size(kPieces)))];
        }
        return out;
    }
    // Crowded lists are longer and their entries longer, so that long runs
    // of shared bytes split several levels deep.
    bool crowded = false;

    std::string entry() {
        switch (pick(8)) {
            case 0:
            case 1:
            case 2:
                return "." + text(crowded ? 12 : 3);
            case 3:
            case 4:
                return "*" + text(crowded ? 8 : 2);
            default: {
                std::string e = text(crowded ? 14 : 4);
                return e.empty() ? "x" : e;
            }
        }
    }

    std::string address() {
        switch (pick(6)) {
            case 0:
                return text(crowded ? 16 : 3);
            case 1:
                return "\"" + text(crowded ? 16 : 5) + "\"";
            default:
                return (pick(2) == 0 ? "http://" : "https://") + std::string(pick(3) == 0 ? "www." : "") +
                       text(crowded ? 20 : 6);
        }
    }

    int pick(int n) { return static_cast<int>(std::uniform_int_distribution<int>(0, n - 1)(rng_)); }

private:
    std::mt19937_64 rng_;
};

std::uint64_t envNumber(const char* name, std::uint64_t fallback) {
    const char* v = std::getenv(name);
    if (v == nullptr || *v == '\0') return fallback;
    return std::strtoull(v, nullptr, 10);
}

TEST(SiteListDifferential, CompiledAnswersAsTheLiteralWalk) {
    const std::uint64_t pairs = envNumber("OMBRIX_DIFFERENTIAL_PAIRS", 30000);
    const std::uint64_t seed = envNumber("OMBRIX_DIFFERENTIAL_SEED", 20240305);
    Generator gen(seed);
    std::uint64_t done = 0, matched = 0, failures = 0;
    while (done < pairs && failures < 5) {
        // A list, then many addresses against it: compiling is the slow part.
        // One list in eight is crowded.
        gen.crowded = gen.pick(8) == 0;
        const int count = gen.crowded ? 40 + gen.pick(300) : 1 + gen.pick(24);
        std::vector<std::string> entries(static_cast<std::size_t>(count));
        for (auto& e : entries) e = gen.entry();
        const SiteList list = SiteList::from(entries);
        for (int k = 0; k < 40 && done < pairs && failures < 5; ++k, ++done) {
            const std::string address = gen.address();
            const std::string title = gen.text(4);
            const std::size_t from = static_cast<std::size_t>(gen.pick(static_cast<int>(entries.size()) + 1));
            using Answers = std::array<long long, 3>;  // first match, Internet Explorer's, a title's keyword
            const auto n = [](std::size_t i) { return i == kNoMatch ? -1LL : static_cast<long long>(i); };
            const Answers want{n(referenceFirstMatch(list, address, from)),
                               n(referenceFirstMatchIE(list, address, title, from)),
                               n(referenceFirstKeywordMatch(list, title, from))};
            const Answers got{n(list.firstMatch(address, from)), n(list.firstMatchIE(address, title, from)),
                              n(list.firstKeywordMatch(title, from))};
            matched += want[0] >= 0 ? 1 : 0;
            if (want == got) continue;
            ++failures;
            EXPECT_EQ(got, want) << "seed " << seed << ", pair " << done << ": address "
                                 << ::testing::PrintToString(address) << ", title " << ::testing::PrintToString(title)
                                 << ", from " << from << ", entries " << ::testing::PrintToString(entries);
        }
    }
    // The generator must produce both outcomes, or the comparison proves little.
    EXPECT_GT(matched, done / 10);
    EXPECT_LT(matched, done - done / 10);
    std::cout << "[ compared ] " << done << " pairs, " << matched << " with a match\n";
}

}  // namespace
}  // namespace ombrix::enforce

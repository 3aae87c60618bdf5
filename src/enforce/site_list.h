#pragma once
// The site list: the site entries of the profile in use, kept exactly as the
// store returns them, together with an index built once per load that
// answers "the first entry at or after position i that matches this address"
// with the same answer as the literal walk of site_rules.h, without walking.
//
// The index holds, for each kind, the distinct normalised entries (lowered;
// for prefixes also without scheme and "www.") sorted by their bytes, with
// the entry positions of each. A query normalises the address once per kind
// as the rule does and asks, at each place where an entry may begin in it,
// for the entries that are a prefix of the rest: a domain may begin after "."
// or "//", a keyword anywhere, a prefix only at the start (and must end where
// a character ends). The answer is the smallest position at or after i among
// the entries found.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "enforce/site_rules.h"

namespace ombrix::enforce {

namespace detail {

// The normalised entries of one kind: sorted, with the entry positions of
// each, found through a hashed trie of four-byte steps. A node stands for the
// keys that begin with its bytes; a node with few keys is searched by
// bisection, a larger one hands its longer keys to child nodes keyed by the
// next four bytes and keeps the few that end within them in a short list.
class KeyIndex {
public:
    struct KeyRef {
        std::uint32_t offset;  // into the list's text
        std::uint32_t length;
        std::uint32_t entry;   // position in the list
    };
    void build(const std::string& text, std::vector<KeyRef> refs);

    // Calls visit(key) for every key that is a prefix of haystack[start..];
    // stops and returns false as soon as visit returns false.
    template <class Visit>
    bool prefixKeysAt(const char* text, std::string_view haystack, std::size_t start, Visit&& visit) const;
    // Whether a key may begin at haystack[start]: false means none does.
    [[nodiscard]] bool mayBeginAt(std::string_view haystack, std::size_t start) const;
    // Loads the node a search at haystack[start] reads first.
    void prefetch(std::string_view haystack, std::size_t start) const;

    // The first entry at or after `from` of one key; 0xFFFFFFFF when none.
    [[nodiscard]] std::uint32_t firstEntryOf(std::uint32_t key, std::uint32_t from) const;
    [[nodiscard]] std::uint32_t keyLength(std::uint32_t key) const { return keys_[key].length; }
    [[nodiscard]] bool empty() const { return keys_.size() <= 1; }
    [[nodiscard]] std::size_t memoryBytes() const;

private:
    static constexpr std::uint32_t kNone = 0xFFFFFFFFu;
    static constexpr std::uint32_t kBig = 0x80000000u;
    struct Key {
        std::uint32_t offset;
        std::uint32_t length;
        std::uint32_t group;  // first position in entries_; the next key's group ends it
        // The eight bytes after those its node shares, big-endian and
        // zero-padded: most steps of a bisection decide on these alone.
        std::uint32_t middleHigh;
        std::uint32_t middleLow;
    };
    struct Node {
        std::uint32_t parent;  // the parent node's slot; kNone at the first step
        std::uint32_t word;    // the four bytes of this step
        std::uint32_t lo;      // keys [lo, hi), or for a big node its short list [lo, hi & ~kBig)
        std::uint32_t hi;      // 0: free slot
    };
    struct Short {
        std::uint32_t packed;  // length << 24 | bytes; 0: free slot
        std::uint32_t key;
    };

    [[nodiscard]] std::uint32_t findShort(std::uint32_t packed) const;
    [[nodiscard]] std::uint32_t findNode(std::uint32_t parent, std::uint32_t word) const;
    std::uint32_t insertNode(const Node& node);
    // -1, 0 or 1: key against q[0, length), both sharing their first `shared` bytes.
    [[nodiscard]] int compareKey(const char* text, std::uint32_t key, const char* q, std::size_t length,
                                 std::size_t shared) const;
    // The keys at positions [lo, hi) of a sorted sequence (keyAt gives the key)
    // that are prefixes of q, longest first.
    template <class KeyAt, class Visit>
    bool prefixesInRun(const char* text, KeyAt keyAt, std::uint32_t lo, std::uint32_t hi, const char* q,
                       std::size_t length, std::size_t shared, Visit& visit) const;

    std::vector<Key> keys_;  // sorted, plus one closing key
    std::vector<std::uint32_t> entries_;
    std::vector<std::uint32_t> shortLists_;
    std::vector<Node> nodes_;
    std::vector<Short> shorts_;
    std::uint32_t nodeShift_ = 63;
    std::uint32_t shortShift_ = 32;
    std::uint32_t emptyKey_ = kNone;
    std::uint32_t shortLengths_ = 0;  // bit L: a key of L bytes (1 to 3)
    bool longKeys_ = false;           // keys of four bytes or more
    std::array<std::uint64_t, 4> oneByte_{};      // keys of one byte
    std::array<std::uint64_t, 1024> twoBytes_{};  // first two bytes of keys of two bytes or more
};

}  // namespace detail

class SiteList {
public:
    SiteList();
    SiteList(SiteList&&) noexcept = default;
    SiteList& operator=(SiteList&&) noexcept = default;
    SiteList(const SiteList&) = delete;
    SiteList& operator=(const SiteList&) = delete;

    // Collects entries in order, then compiles them once.
    class Builder {
    public:
        void reserve(std::size_t entries, std::size_t bytes);
        // False (and nothing added) when the list cannot grow further.
        bool add(std::string_view entry);
        [[nodiscard]] SiteList build();

    private:
        std::string text_;
        std::vector<std::uint32_t> offsets_{0};
    };
    [[nodiscard]] static SiteList from(const std::vector<std::string>& entries);

    [[nodiscard]] std::size_t size() const { return offsets_.size() - 1; }
    [[nodiscard]] bool empty() const { return size() == 0; }
    // The array's upper bound: one spare, empty element past the entries,
    // which the blockers' loops reach last.
    [[nodiscard]] std::size_t upperBound() const { return size(); }
    // Entry i as stored; the spare element (i == size()) and beyond are "".
    [[nodiscard]] std::string_view entry(std::size_t i) const;
    [[nodiscard]] SiteKind kind(std::size_t i) const { return siteKind(entry(i)); }

    // The first entry at or after `from` that matches the address; kNoMatch
    // when none does. The same answer as referenceFirstMatch.
    [[nodiscard]] std::size_t firstMatch(std::string_view address, std::size_t from = 0) const;
    // As referenceFirstMatchIE: keywords also match the window title.
    [[nodiscard]] std::size_t firstMatchIE(std::string_view address, std::string_view title,
                                           std::size_t from = 0) const;
    // As referenceFirstKeywordMatch: keyword entries against a window title.
    [[nodiscard]] std::size_t firstKeywordMatch(std::string_view title, std::size_t from = 0) const;

    // What the list holds beyond the entries' own text (the index, the
    // positions, normalised entries that are not a slice of the entry).
    [[nodiscard]] std::size_t overheadBytes() const;
    [[nodiscard]] std::size_t entryTextBytes() const { return rawBytes_; }

private:
    [[nodiscard]] std::size_t firstKeyword(std::string_view loweredText, std::size_t from) const;

    std::string text_;  // the entries, then normalised forms that needed a copy
    std::vector<std::uint32_t> offsets_;
    std::size_t rawBytes_ = 0;
    detail::KeyIndex domains_, keywords_, prefixes_;
};

}  // namespace ombrix::enforce

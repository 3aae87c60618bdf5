#include "enforce/site_list.h"

#include <algorithm>
#include <cstring>

#include "platform/text.h"

namespace ombrix::enforce {
namespace {

constexpr std::uint32_t kNone = 0xFFFFFFFFu;
// Normalised copies can at most double the text; offsets stay 32-bit.
constexpr std::size_t kMaxEntryText = 0x7FFFFFFFu;

std::uint32_t word4(const char* p) {
    std::uint32_t w;
    std::memcpy(&w, p, sizeof w);
    return w;
}

std::uint32_t packShort(const char* p, std::size_t length) {
    std::uint32_t v = static_cast<std::uint32_t>(length) << 24;
    for (std::size_t i = 0; i < length; ++i) {
        v |= static_cast<std::uint32_t>(static_cast<unsigned char>(p[i])) << (8 * i);
    }
    return v;
}

std::uint32_t twoBytes(const char* p) {
    return static_cast<std::uint32_t>(static_cast<unsigned char>(p[0])) |
           static_cast<std::uint32_t>(static_cast<unsigned char>(p[1])) << 8;
}

bool testBit(const std::uint64_t* bits, std::uint32_t i) { return ((bits[i >> 6] >> (i & 63)) & 1) != 0; }
void setBit(std::uint64_t* bits, std::uint32_t i) { bits[i >> 6] |= std::uint64_t{1} << (i & 63); }

std::uint32_t slotOf(std::uint32_t v, std::uint32_t shift) { return (v * 0x9E3779B1u) >> shift; }

// A power of two at least half again as large as `count`, as a shift for slotOf.
std::uint32_t tableShift(std::size_t count) {
    std::uint32_t bits = 1;
    while ((std::size_t{1} << bits) < count + count / 2 + 1) ++bits;
    return 32 - bits;
}

// Up to eight bytes, big-endian and zero-padded, so that integer order
// follows byte order.
std::uint64_t bytesBigEndian(const char* p, std::size_t length) {
    std::uint64_t v = 0;
    for (std::size_t i = 0; i < length && i < 8; ++i) {
        v |= static_cast<std::uint64_t>(static_cast<unsigned char>(p[i])) << (56 - 8 * i);
    }
    return v;
}

bool isAscii(std::string_view s) {
    for (const char c : s) {
        if (static_cast<unsigned char>(c) >= 0x80) return false;
    }
    return true;
}

constexpr std::array<char, 128> kAsciiLower = [] {
    std::array<char, 128> t{};
    for (int i = 0; i < 128; ++i) t[static_cast<std::size_t>(i)] = static_cast<char>(i >= 'A' && i <= 'Z' ? i + 32 : i);
    return t;
}();

// lowerText (with every double quote left out when asked), in one pass over
// plain ASCII and through lowerText otherwise.
void lowerInto(std::string& out, std::string_view s, bool dropQuotes = false) {
    out.resize(s.size());
    std::size_t n = 0;
    for (const char c : s) {
        const auto b = static_cast<unsigned char>(c);
        if (b >= 0x80) {
            out = lowerText(dropQuotes ? withoutQuotes(s) : std::string(s));
            return;
        }
        if (dropQuotes && c == '"') continue;
        out[n++] = kAsciiLower[b];
    }
    out.resize(n);
}

// Every occurrence of `pattern` left out, as replaceAll with "" does.
void removeAllInto(std::string& out, std::string_view in, std::string_view pattern) {
    out.clear();
    std::size_t pos = 0;
    for (std::size_t hit = in.find(pattern); hit != std::string_view::npos; hit = in.find(pattern, pos)) {
        out.append(in.data() + pos, hit - pos);
        pos = hit + pattern.size();
    }
    out.append(in.data() + pos, in.size() - pos);
}

// Buffers reused from query to query, so a verdict allocates nothing.
struct Scratch {
    std::string lowered, unquoted, pass1, pass2;
    std::vector<char> boundary;
    std::vector<std::uint32_t> starts;
};

Scratch& scratch() {
    thread_local Scratch s;
    return s;
}

void prefetchLine(const void* p) {
#if defined(__GNUC__) || defined(__clang__)
    __builtin_prefetch(p);
#else
    (void)p;
#endif
}

bool needsLowering(std::string_view s) {
    for (const char c : s) {
        if ((c >= 'A' && c <= 'Z') || static_cast<unsigned char>(c) >= 0x80) return true;
    }
    return false;
}

}  // namespace

namespace detail {
namespace {

// A node with more keys than this splits them among children.
constexpr std::uint32_t kMaxRun = 16;

std::uint32_t nodeSlot(std::uint32_t parent, std::uint32_t word, std::uint32_t shift) {
    const std::uint64_t v = (static_cast<std::uint64_t>(parent) << 32 | word) * 0x9E3779B97F4A7C15ull;
    return static_cast<std::uint32_t>(v >> shift);
}

// A shift for nodeSlot giving a power of two at least half again as large as `count`.
std::uint32_t nodeTableShift(std::size_t count) {
    std::uint32_t bits = 1;
    while ((std::size_t{1} << bits) < count + count / 2 + 1) ++bits;
    return 64 - bits;
}

}  // namespace

void KeyIndex::build(const std::string& text, std::vector<KeyRef> refs) {
    struct Item {
        std::uint64_t lead;
        KeyRef ref;
    };
    std::vector<Item> items;
    items.reserve(refs.size());
    for (const KeyRef& r : refs) items.push_back({bytesBigEndian(text.data() + r.offset, r.length), r});
    refs.clear();
    refs.shrink_to_fit();
    const char* base = text.data();
    auto view = [base](std::uint32_t offset, std::uint32_t length) { return std::string_view(base + offset, length); };
    std::sort(items.begin(), items.end(), [&](const Item& a, const Item& b) {
        if (a.lead != b.lead) return a.lead < b.lead;
        const int c = view(a.ref.offset, a.ref.length).compare(view(b.ref.offset, b.ref.length));
        if (c != 0) return c < 0;
        return a.ref.entry < b.ref.entry;
    });

    keys_.clear();
    entries_.clear();
    entries_.reserve(items.size());
    for (const Item& it : items) {
        if (keys_.empty() || view(keys_.back().offset, keys_.back().length) != view(it.ref.offset, it.ref.length)) {
            keys_.push_back({it.ref.offset, it.ref.length, static_cast<std::uint32_t>(entries_.size()), 0, 0});
        }
        entries_.push_back(it.ref.entry);
    }
    items.clear();
    items.shrink_to_fit();
    const auto keyCount = static_cast<std::uint32_t>(keys_.size());
    keys_.push_back({0, 0, static_cast<std::uint32_t>(entries_.size()), 0, 0});
    keys_.shrink_to_fit();

    auto setMiddle = [&](std::uint32_t k, std::size_t shared) {
        Key& key = keys_[k];
        const std::uint64_t m =
            key.length <= shared ? 0 : bytesBigEndian(base + key.offset + shared, key.length - shared);
        key.middleHigh = static_cast<std::uint32_t>(m >> 32);
        key.middleLow = static_cast<std::uint32_t>(m);
    };

    std::size_t shortCount = 0;
    for (std::uint32_t k = 0; k < keyCount; ++k) {
        const Key& key = keys_[k];
        const char* p = base + key.offset;
        if (key.length == 0) {
            emptyKey_ = k;
            continue;
        }
        if (key.length == 1) setBit(oneByte_.data(), static_cast<unsigned char>(p[0]));
        if (key.length >= 2) setBit(twoBytes_.data(), twoBytes(p));
        if (key.length < 4) {
            shortLengths_ |= 1u << key.length;
            ++shortCount;
            setMiddle(k, 0);
        } else {
            longKeys_ = true;
        }
    }
    if (shortCount > 0) {
        shortShift_ = tableShift(shortCount);
        shorts_.assign(std::size_t{1} << (32 - shortShift_), Short{0, 0});
        const std::uint32_t mask = static_cast<std::uint32_t>(shorts_.size() - 1);
        for (std::uint32_t k = 0; k < keyCount; ++k) {
            const Key& key = keys_[k];
            if (key.length == 0 || key.length >= 4) continue;
            const std::uint32_t packed = packShort(base + key.offset, key.length);
            std::uint32_t slot = slotOf(packed, shortShift_);
            while (shorts_[slot].packed != 0) slot = (slot + 1) & mask;
            shorts_[slot] = {packed, k};
        }
    }
    if (!longKeys_) return;

    // The nodes, walked twice: once to count them, once to place them. Keys
    // sharing a step are contiguous among those long enough to have it:
    // anything sorted between two keys with a common prefix has it too.
    struct Pending {
        std::uint32_t parent;
        std::uint32_t lo, hi;  // keys all sharing `depth` steps, all at least that long
        std::uint32_t depth;   // steps already shared
    };
    auto walk = [&](bool place) {
        std::size_t count = 0;
        std::vector<Pending> stack{{kNone, 0, keyCount, 0}};
        while (!stack.empty()) {
            const Pending p = stack.back();
            stack.pop_back();
            const std::size_t shared = 4 * static_cast<std::size_t>(p.depth);
            const std::size_t step = shared + 4;
            std::uint32_t k = p.lo;
            while (k < p.hi) {
                if (keys_[k].length < step) {
                    ++k;
                    continue;
                }
                const std::uint32_t word = word4(base + keys_[k].offset + shared);
                std::uint32_t end = k + 1;
                while (end < p.hi && keys_[end].length >= step && word4(base + keys_[end].offset + shared) == word) {
                    ++end;
                }
                ++count;
                if (end - k <= kMaxRun) {
                    if (place) {
                        for (std::uint32_t i = k; i < end; ++i) setMiddle(i, step);
                        insertNode({p.parent, word, k, end});
                    }
                } else {
                    std::uint32_t slot = kNone;
                    if (place) {
                        // The keys that end within the next step stay here.
                        const auto first = static_cast<std::uint32_t>(shortLists_.size());
                        for (std::uint32_t i = k; i < end; ++i) {
                            if (keys_[i].length >= step + 4) continue;
                            setMiddle(i, step);
                            shortLists_.push_back(i);
                        }
                        const auto last = static_cast<std::uint32_t>(shortLists_.size());
                        slot = insertNode({p.parent, word, first, last | kBig});
                    }
                    stack.push_back({slot, k, end, p.depth + 1});
                }
                k = end;
            }
        }
        return count;
    };
    const std::size_t nodeCount = walk(false);
    nodeShift_ = nodeTableShift(nodeCount);
    nodes_.assign(std::size_t{1} << (64 - nodeShift_), Node{0, 0, 0, 0});
    (void)walk(true);
    shortLists_.shrink_to_fit();
}

std::uint32_t KeyIndex::insertNode(const Node& node) {
    const std::uint32_t mask = static_cast<std::uint32_t>(nodes_.size() - 1);
    std::uint32_t slot = nodeSlot(node.parent, node.word, nodeShift_);
    while (nodes_[slot].hi != 0) slot = (slot + 1) & mask;
    nodes_[slot] = node;
    return slot;
}

std::uint32_t KeyIndex::findNode(std::uint32_t parent, std::uint32_t word) const {
    const std::uint32_t mask = static_cast<std::uint32_t>(nodes_.size() - 1);
    for (std::uint32_t slot = nodeSlot(parent, word, nodeShift_);; slot = (slot + 1) & mask) {
        const Node& n = nodes_[slot];
        if (n.hi == 0) return kNone;
        if (n.word == word && n.parent == parent) return slot;
    }
}

std::uint32_t KeyIndex::findShort(std::uint32_t packed) const {
    const std::uint32_t mask = static_cast<std::uint32_t>(shorts_.size() - 1);
    for (std::uint32_t slot = slotOf(packed, shortShift_);; slot = (slot + 1) & mask) {
        const Short& s = shorts_[slot];
        if (s.packed == packed) return s.key;
        if (s.packed == 0) return kNone;
    }
}

int KeyIndex::compareKey(const char* text, std::uint32_t key, const char* q, std::size_t length,
                         std::size_t shared) const {
    const Key& k = keys_[key];
    const std::uint64_t mine = static_cast<std::uint64_t>(k.middleHigh) << 32 | k.middleLow;
    const std::uint64_t theirs = length <= shared ? 0 : bytesBigEndian(q + shared, length - shared);
    // Different middles decide, zero padding included: where a padded byte
    // meets a real one, the shorter text is a prefix of the longer.
    if (mine != theirs) return mine < theirs ? -1 : 1;
    const int c = std::string_view(text + k.offset, k.length).compare(std::string_view(q, length));
    return c < 0 ? -1 : c > 0 ? 1 : 0;
}

bool KeyIndex::mayBeginAt(std::string_view haystack, std::size_t start) const {
    if (emptyKey_ != kNone) return true;
    const std::size_t rest = haystack.size() - start;
    if (rest == 0) return false;
    const char* q = haystack.data() + start;
    if ((shortLengths_ & 2) != 0 && testBit(oneByte_.data(), static_cast<unsigned char>(q[0]))) return true;
    return rest >= 2 && testBit(twoBytes_.data(), twoBytes(q));
}

void KeyIndex::prefetch(std::string_view haystack, std::size_t start) const {
    if (!longKeys_ || haystack.size() - start < 4) return;
    prefetchLine(&nodes_[nodeSlot(kNone, word4(haystack.data() + start), nodeShift_)]);
}

std::uint32_t KeyIndex::firstEntryOf(std::uint32_t key, std::uint32_t from) const {
    const auto first = entries_.begin() + keys_[key].group;
    const auto last = entries_.begin() + keys_[key + 1].group;
    if (*first >= from) return *first;
    const auto it = std::lower_bound(first, last, from);
    return it == last ? kNone : *it;
}

template <class KeyAt, class Visit>
bool KeyIndex::prefixesInRun(const char* text, KeyAt keyAt, std::uint32_t lo, std::uint32_t hi, const char* q,
                             std::size_t length, std::size_t shared, Visit& visit) const {
    // The last key not above the bound is either a prefix of q, or its
    // common part with q bounds every shorter prefix; both lie before it.
    std::size_t bound = length;
    while (hi > lo) {
        std::uint32_t a = lo, b = hi;
        while (a < b) {
            const std::uint32_t mid = a + (b - a) / 2;
            if (compareKey(text, keyAt(mid), q, bound, shared) <= 0) {
                a = mid + 1;
            } else {
                b = mid;
            }
        }
        if (a == lo) break;
        const std::uint32_t key = keyAt(a - 1);
        const std::string_view candidate(text + keys_[key].offset, keys_[key].length);
        std::size_t common = shared;
        while (common < candidate.size() && common < bound && candidate[common] == q[common]) ++common;
        std::size_t next = common;
        if (common == candidate.size()) {
            if (!visit(key)) return false;
            next = candidate.size() - 1;
        }
        if (next < shared) break;
        bound = next;
        hi = a - 1;
    }
    return true;
}

template <class Visit>
bool KeyIndex::prefixKeysAt(const char* text, std::string_view haystack, std::size_t start, Visit&& visit) const {
    if (emptyKey_ != kNone && !visit(emptyKey_)) return false;
    const std::size_t rest = haystack.size() - start;
    if (rest == 0) return true;
    const char* q = haystack.data() + start;
    const auto b0 = static_cast<unsigned char>(q[0]);
    if ((shortLengths_ & 2) != 0 && testBit(oneByte_.data(), b0)) {
        const std::uint32_t k = findShort(packShort(q, 1));
        if (k != kNone && !visit(k)) return false;
    }
    if (rest < 2 || !testBit(twoBytes_.data(), twoBytes(q))) return true;
    for (std::size_t length = 2; length <= 3 && length <= rest; ++length) {
        if ((shortLengths_ & (1u << length)) == 0) continue;
        const std::uint32_t k = findShort(packShort(q, length));
        if (k != kNone && !visit(k)) return false;
    }
    if (!longKeys_) return true;
    std::uint32_t parent = kNone;
    for (std::size_t step = 4; step <= rest; step += 4) {
        const std::uint32_t slot = findNode(parent, word4(q + step - 4));
        if (slot == kNone) break;
        const Node& node = nodes_[slot];
        if ((node.hi & kBig) == 0) {
            return prefixesInRun(text, [](std::uint32_t i) { return i; }, node.lo, node.hi, q, rest, step, visit);
        }
        const std::uint32_t* list = shortLists_.data();
        if (!prefixesInRun(text, [list](std::uint32_t i) { return list[i]; }, node.lo, node.hi & ~kBig, q, rest,
                           step, visit)) {
            return false;
        }
        parent = slot;
    }
    return true;
}

std::size_t KeyIndex::memoryBytes() const {
    return keys_.capacity() * sizeof(Key) + entries_.capacity() * sizeof(std::uint32_t) +
           shortLists_.capacity() * sizeof(std::uint32_t) + nodes_.capacity() * sizeof(Node) +
           shorts_.capacity() * sizeof(Short) + sizeof(*this);
}

}  // namespace detail

SiteList::SiteList() : offsets_{0} {}

void SiteList::Builder::reserve(std::size_t entries, std::size_t bytes) {
    offsets_.reserve(entries + 1);
    text_.reserve(bytes);
}

bool SiteList::Builder::add(std::string_view entry) {
    if (text_.size() + entry.size() > kMaxEntryText) return false;
    text_.append(entry);
    offsets_.push_back(static_cast<std::uint32_t>(text_.size()));
    return true;
}

SiteList SiteList::from(const std::vector<std::string>& entries) {
    Builder b;
    for (const auto& e : entries) b.add(e);
    return b.build();
}

SiteList SiteList::Builder::build() {
    SiteList list;
    list.text_ = std::move(text_);
    list.offsets_ = std::move(offsets_);
    text_.clear();
    offsets_.assign(1, 0);
    list.rawBytes_ = list.text_.size();

    std::string& text = list.text_;
    auto keep = [&text](std::uint32_t offset, std::string_view raw, const std::string& normal) {
        // A normal form that is the tail of the entry needs no copy.
        if (raw.size() >= normal.size() && raw.substr(raw.size() - normal.size()) == normal) {
            return detail::KeyIndex::KeyRef{offset + static_cast<std::uint32_t>(raw.size() - normal.size()),
                                            static_cast<std::uint32_t>(normal.size()), 0};
        }
        const auto at = static_cast<std::uint32_t>(text.size());
        text.append(normal);
        return detail::KeyIndex::KeyRef{at, static_cast<std::uint32_t>(normal.size()), 0};
    };

    std::vector<detail::KeyIndex::KeyRef> domains, keywords, prefixes;
    std::string normal;
    for (std::size_t i = 0; i < list.size(); ++i) {
        const std::uint32_t offset = list.offsets_[i];
        const std::uint32_t length = list.offsets_[i + 1] - offset;
        // Valid until keep() appends a normal form, which may move the text.
        const std::string_view raw(text.data() + offset, length);
        const SiteKind kind = siteKind(raw);
        detail::KeyIndex::KeyRef ref{};
        if (kind == SiteKind::Prefix) {
            // Only an entry holding "://" or "www." changes without them.
            std::string stripped;
            std::string_view source = raw;
            if (raw.find("://") != std::string_view::npos || raw.find("www.") != std::string_view::npos) {
                stripped = withoutSchemeAndWww(raw);
                source = stripped;
            }
            if (needsLowering(source)) {
                lowerInto(normal, source);
            } else {
                normal.assign(source);
            }
            ref = keep(offset, raw, normal);
        } else {
            const std::string_view body = raw.substr(1);
            if (needsLowering(body)) {
                lowerInto(normal, body);
            } else {
                normal.assign(body);
            }
            ref = keep(offset, raw, normal);
        }
        ref.entry = static_cast<std::uint32_t>(i);
        (kind == SiteKind::Domain ? domains : kind == SiteKind::Keyword ? keywords : prefixes).push_back(ref);
    }
    text.shrink_to_fit();
    list.offsets_.shrink_to_fit();
    list.domains_.build(text, std::move(domains));
    list.keywords_.build(text, std::move(keywords));
    list.prefixes_.build(text, std::move(prefixes));
    return list;
}

std::string_view SiteList::entry(std::size_t i) const {
    if (i >= size()) return {};
    return std::string_view(text_.data() + offsets_[i], offsets_[i + 1] - offsets_[i]);
}

std::size_t SiteList::firstKeyword(std::string_view loweredText, std::size_t from) const {
    // An empty text contains nothing, not even the empty keyword.
    if (keywords_.empty() || loweredText.empty()) return kNoMatch;
    const auto f = static_cast<std::uint32_t>(from);
    std::uint32_t best = kNone;
    auto consider = [&](std::uint32_t key) {
        best = std::min(best, keywords_.firstEntryOf(key, f));
        return best != f;
    };
    for (std::size_t s = 0; s < loweredText.size(); ++s) {
        if (!keywords_.mayBeginAt(loweredText, s)) continue;
        if (!keywords_.prefixKeysAt(text_.data(), loweredText, s, consider)) break;
    }
    return best == kNone ? kNoMatch : best;
}

std::size_t SiteList::firstMatch(std::string_view address, std::size_t from) const {
    if (from >= size()) return kNoMatch;
    Scratch& sc = scratch();
    const auto f = static_cast<std::uint32_t>(from);
    std::uint32_t best = kNone;
    lowerInto(sc.lowered, address);

    if (!domains_.empty()) {
        // "." + domain or "//" + domain anywhere: a domain begins after either
        // mark. The searches for all of them are started together.
        // Quotes go before lowering: leaving one out can join the bytes around
        // it into a letter that lowers.
        std::string_view u = sc.lowered;
        if (address.find('"') != std::string_view::npos) {
            lowerInto(sc.unquoted, address, true);
            u = sc.unquoted;
        }
        sc.starts.clear();
        for (std::size_t p = 0; p < u.size(); ++p) {
            if (u[p] == '.') {
                sc.starts.push_back(static_cast<std::uint32_t>(p + 1));
            } else if (u[p] == '/' && p + 1 < u.size() && u[p + 1] == '/') {
                sc.starts.push_back(static_cast<std::uint32_t>(p + 2));
            }
        }
        for (const std::uint32_t start : sc.starts) domains_.prefetch(u, start);
        auto consider = [&](std::uint32_t key) {
            best = std::min(best, domains_.firstEntryOf(key, f));
            return best != f;
        };
        for (const std::uint32_t start : sc.starts) {
            if (!domains_.mayBeginAt(u, start)) continue;
            if (!domains_.prefixKeysAt(text_.data(), u, start, consider)) break;
        }
    }
    if (best == f) return best;

    const std::size_t keyword = firstKeyword(sc.lowered, from);
    if (keyword != kNoMatch) best = std::min(best, static_cast<std::uint32_t>(keyword));
    if (best == f || prefixes_.empty()) return best == kNone ? kNoMatch : best;

    removeAllInto(sc.pass1, address, "http://");
    removeAllInto(sc.pass2, sc.pass1, "https://");
    removeAllInto(sc.pass1, sc.pass2, "www.");
    lowerInto(sc.pass2, sc.pass1, true);
    const std::string_view a = sc.pass2;
    // A prefix counts characters: it must end where a character ends.
    sc.boundary.clear();
    if (!isAscii(a)) {
        sc.boundary.assign(a.size() + 1, 0);
        for (std::size_t pos = 0; pos < a.size();) {
            sc.boundary[pos] = 1;
            (void)decodeUtf8(a, pos);
        }
        sc.boundary[a.size()] = 1;
    }
    auto consider = [&](std::uint32_t key) {
        if (!sc.boundary.empty() && sc.boundary[prefixes_.keyLength(key)] == 0) return true;
        best = std::min(best, prefixes_.firstEntryOf(key, f));
        return best != f;
    };
    (void)prefixes_.prefixKeysAt(text_.data(), a, 0, consider);
    return best == kNone ? kNoMatch : best;
}

std::size_t SiteList::firstKeywordMatch(std::string_view title, std::size_t from) const {
    if (from >= size()) return kNoMatch;
    Scratch& sc = scratch();
    lowerInto(sc.lowered, title);
    return firstKeyword(sc.lowered, from);
}

std::size_t SiteList::firstMatchIE(std::string_view address, std::string_view title, std::size_t from) const {
    const std::size_t byTitle = firstKeywordMatch(title, from);
    const std::size_t byAddress = firstMatch(address, from);
    return std::min(byTitle, byAddress);
}

std::size_t SiteList::overheadBytes() const {
    return sizeof(*this) + (text_.capacity() - rawBytes_) + offsets_.capacity() * sizeof(std::uint32_t) +
           domains_.memoryBytes() + keywords_.memoryBytes() + prefixes_.memoryBytes() -
           3 * sizeof(detail::KeyIndex);
}

}  // namespace ombrix::enforce

#include "site_data.h"

#include <algorithm>
#include <random>

#include "core/database.h"
#include "core/schema.h"
#include "enforce/site_rules.h"

namespace ombrix::bench {
namespace {

// Common words that many real site names share, so that names crowd
// together as they do in real lists.
constexpr const char* kWords[] = {"bet", "top", "net", "web", "play", "star", "game", "shop", "news", "club", "free",
                                  "best", "my", "the", "online", "zone", "hub", "ads", "cdn", "track", "stat", "casino",
                                  "porn", "live", "tube", "chat", "video", "mail", "cloud", "app"};
constexpr char kConsonants[] = "bcdfghjklmnprstvwxz";
constexpr char kVowels[] = "aeiouy";
constexpr const char* kTlds[] = {"com", "com", "com", "net", "org", "it", "info", "ru", "de", "xyz", "io", "co.uk",
                                 "fr", "es", "biz", "online", "site", "top", "cn", "nl"};
constexpr const char* kPaths[] = {"news", "video", "watch", "games/play", "forum", "chat", "img", "live", "bet",
                                  "casino", "p", "articolo", "page", "index.php", "search"};

class Words {
public:
    explicit Words(std::uint64_t seed) : rng_(seed) {}
    int pick(int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng_); }
    std::string syllable() {
        std::string s;
        s += kConsonants[pick(static_cast<int>(std::size(kConsonants)) - 1)];
        s += kVowels[pick(static_cast<int>(std::size(kVowels)) - 1)];
        if (pick(3) == 0) s += kConsonants[pick(static_cast<int>(std::size(kConsonants)) - 1)];
        return s;
    }
    std::string name() {
        std::string s;
        if (pick(4) == 0) s += kWords[pick(static_cast<int>(std::size(kWords)))];
        const int n = 2 + pick(2);
        for (int i = 0; i < n; ++i) s += syllable();
        if (pick(4) == 0) s += kWords[pick(static_cast<int>(std::size(kWords)))];
        if (pick(6) == 0) s += std::to_string(pick(1000));
        if (pick(12) == 0) s.insert(s.size() / 2, "-");
        return s;
    }
    std::string host() {
        std::string h = name() + "." + kTlds[pick(static_cast<int>(std::size(kTlds)))];
        if (pick(5) == 0) h = std::string(pick(2) ? "cdn." : "m.") + h;
        return h;
    }
    std::string path() { return kPaths[pick(static_cast<int>(std::size(kPaths)))]; }

private:
    std::mt19937_64 rng_;
};

}  // namespace

std::vector<std::string> generateEntries(std::size_t count) {
    Words w(count * 7919 + 1);
    std::vector<std::string> out;
    out.reserve(count);
    const std::size_t keywords = std::max<std::size_t>(5, count / 1000);
    const std::size_t keywordStep = std::max<std::size_t>(1, count / keywords);
    const std::size_t prefixes = count * 99 / 1000;
    for (std::size_t i = 0; i < count; ++i) {
        if (i % keywordStep == 3) {
            out.push_back("*" + w.name());
        } else if (i % 10 == 7 && i / 10 < prefixes) {
            switch (w.pick(4)) {
                case 0:
                    out.push_back("www." + w.host() + "/" + w.path());
                    break;
                case 1:
                    out.push_back("http://" + w.host() + "/" + w.path());
                    break;
                default:
                    out.push_back(w.host() + "/" + w.path());
            }
        } else {
            out.push_back("." + w.host());
        }
    }
    return out;
}

std::vector<std::string> generateAddresses(const std::vector<std::string>& entries, std::size_t count) {
    Words w(4242);
    std::vector<std::string> out;
    for (std::size_t i = 0; i < count; ++i) {
        std::string host = w.host();
        if (i % 3 == 0) {
            const std::string& e = entries[static_cast<std::size_t>(w.pick(static_cast<int>(entries.size())))];
            if (e[0] == '.') host = (w.pick(2) ? "www" : "news") + e;
            if (e[0] != '.' && e[0] != '*') host = enforce::withoutSchemeAndWww(e);
        }
        std::string a = (w.pick(3) ? "https://" : "http://") + std::string(w.pick(2) ? "www." : "") + host;
        if (a.find('/', 8) == std::string::npos) a += "/" + w.path();
        a += "?id=" + std::to_string(w.pick(100000)) + "&ref=" + w.name();
        out.push_back(std::move(a));
    }
    return out;
}

std::vector<std::string> generateDomains(std::size_t count) {
    Words w(count * 104729 + 5);
    std::vector<std::string> out;
    out.reserve(count);
    for (std::size_t i = 0; i < count; ++i) out.push_back("." + w.host());
    return out;
}

bool writeSiteStore(const std::string& path, const std::vector<std::string>& entries) {
    core::Database db;
    if (!core::createDeliveredDatabase(path) || !db.open(path)) return false;
    core::Transaction tx(db);
    core::Statement insert = db.prepare("INSERT INTO SitiVietatiConsentiti (IDProfilo, Sito) VALUES (1, ?);");
    for (const auto& e : entries) {
        insert.reset();
        if (!insert.bind(1, core::Value(e)) || insert.step() || insert.failed()) return false;
    }
    return tx.commit();
}

}  // namespace ombrix::bench

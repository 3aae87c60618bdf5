#include "profiles/managed_profiles.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <set>
#include <system_error>

#include "core/machine_policy.h"
#include "core/store.h"
#include "platform/crypto.h"
#include "platform/failures.h"
#include "platform/files.h"
#include "platform/filesystem.h"
#include "platform/text.h"

namespace ombrix::profiles {
namespace {

using core::Value;
namespace fs = std::filesystem;

Value idValue(long long id) { return Value(static_cast<std::int64_t>(id)); }

std::string hex(std::span<const std::uint8_t> bytes) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string out;
    for (const std::uint8_t b : bytes) {
        out += kDigits[b >> 4];
        out += kDigits[b & 15];
    }
    return out;
}

bool exchangeFileName(const fs::path& p) {
    return equalsNoCase(pathToUtf8(p.extension()), ".ox");
}

// The files of the set, by name; nullopt when the path cannot be read.
std::optional<std::vector<std::string>> filesAt(const std::string& path, bool& folder) {
    std::error_code ec;
    const fs::path at = pathFromUtf8(path);
    folder = fs::is_directory(at, ec);
    if (ec) return std::nullopt;
    if (!folder) {
        if (!fs::is_regular_file(at, ec) || ec) return std::nullopt;
        return std::vector<std::string>{path};
    }
    std::vector<std::string> files;
    for (fs::directory_iterator it(at, ec), end; !ec && it != end; it.increment(ec)) {
        std::error_code typeError;
        if (it->is_regular_file(typeError) && exchangeFileName(it->path())) files.push_back(pathToUtf8(it->path()));
    }
    if (ec) return std::nullopt;
    std::sort(files.begin(), files.end());
    return files;
}

std::optional<FileStamp> stampOf(const std::string& path) {
    std::error_code ec;
    const fs::path p = pathFromUtf8(path);
    FileStamp s;
    s.path = path;
    s.size = fs::file_size(p, ec);
    if (ec) return std::nullopt;
    s.modified = static_cast<std::int64_t>(fs::last_write_time(p, ec).time_since_epoch().count());
    if (ec) return std::nullopt;
    return s;
}

bool sameFiles(const std::vector<FileStamp>& a, const std::vector<FileStamp>& b, bool byHash) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (a[i].path != b[i].path) return false;
        if (byHash ? a[i].sha256 != b[i].sha256 : (a[i].size != b[i].size || a[i].modified != b[i].modified)) {
            return false;
        }
    }
    return true;
}

bool deleteLists(core::Database& db, long long id) {
    for (const ListKind kind : {ListKind::Processes, ListKind::Sites, ListKind::WindowTitles}) {
        if (!db.run(std::string("DELETE FROM ") + core::listTable(kind).table + " WHERE IDProfilo = ?;", {idValue(id)})) {
            return false;
        }
    }
    return true;
}

bool insertLists(core::Database& db, long long id, const ExchangeProfile& p) {
    for (const auto& [kind, entries] : {std::pair{ListKind::Sites, &p.sites},
                                        std::pair{ListKind::Processes, &p.processes},
                                        std::pair{ListKind::WindowTitles, &p.windows}}) {
        ListInserter list(db, kind, id);
        if (!list.ready()) return false;
        for (const std::string& entry : *entries) {
            if (list.add(entry) == ListInserter::Added::Failed) return false;
        }
        if (!list.finish()) return false;
    }
    return true;
}

// Whether the options row or a time slot names the profile: removing it
// would leave them naming nothing.
std::optional<bool> referenced(core::Database& db, long long id) {
    const Value n = db.scalar(
        "SELECT (SELECT count(*) FROM Opzioni WHERE IDProfiloInUso = ?1) + (SELECT count(*) FROM Fasce WHERE ?1 IN "
        "(Fascia1Profilo, Fascia2Profilo, Fascia3Profilo, ProfiloFasceNonDefinite));",
        {idValue(id)});
    if (n.isEmpty()) return std::nullopt;
    return n.toInteger() > 0;
}

ManagedCheck refusal(std::string reason, std::string subject) {
    ManagedCheck c;
    c.outcome = ManagedCheck::Outcome::Refused;
    c.reason = std::move(reason);
    c.subject = std::move(subject);
    return c;
}

ManagedCheck storeRefusal(core::Database& db) { return refusal("the store cannot be written", db.lastError()); }

// The set just imported, in place of the last one's record.
bool record(core::Database& db, const ManagedSource& source, const std::vector<FileStamp>& stamps) {
    if (!db.run("DELETE FROM ImportGestito;")) return false;
    for (const FileStamp& s : stamps) {
        if (!db.run("INSERT INTO ImportGestito (Origine, Impronta, File, Dimensione, Modificato, SHA256) "
                    "VALUES (?, ?, ?, ?, ?, ?);",
                    {Value(source.path), Value(source.pinnedSha256), Value(s.path),
                     Value(static_cast<std::int64_t>(s.size)), Value(s.modified), Value(s.sha256)})) {
            return false;
        }
    }
    return true;
}

}  // namespace

std::optional<bool> profileManaged(core::Database& db, long long profileId) {
    core::Statement q = db.prepare("SELECT COALESCE(Gestito, 0) <> 0 FROM Profili WHERE IDProfilo = ?;");
    if (!q.valid() || !q.bind(1, idValue(profileId))) return std::nullopt;
    if (q.step()) return q.column(0).toInteger() != 0;
    if (q.failed()) return std::nullopt;
    return false;
}

ManagedCheck replaceManagedSet(core::Database& db, const std::vector<ExchangeProfile>& profiles,
                               const ManagedSource& source, const std::vector<FileStamp>& stamps) {
    for (std::size_t i = 0; i < profiles.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            if (equalsNoCase(profiles[i].record.name, profiles[j].record.name)) {
                return refusal("two managed files name the same profile", stamps[i].path);
            }
        }
        const ProfileRecord& r = profiles[i].record;
        // The editor's save rule: an allowed list must let its home page through.
        if (!r.forbiddenList && !homePageAllowed(normalisedHomePage(r.homePage), profiles[i].sites)) {
            return refusal("the allowed list blocks the managed profile's home page", stamps[i].path);
        }
    }
    core::Transaction tx(db);
    if (!tx.active()) return storeRefusal(db);
    ManagedCheck done;
    done.outcome = ManagedCheck::Outcome::Imported;
    std::set<long long> imported;
    for (std::size_t i = 0; i < profiles.size(); ++i) {
        ProfileRecord r = profiles[i].record;
        r.homePage = normalisedHomePage(r.homePage);
        // Read, then let go: a statement still stepping would hold the
        // tables the lists' temporary tables are dropped beside.
        std::optional<std::pair<long long, bool>> existing;
        {
            core::Statement q = db.prepare("SELECT IDProfilo, COALESCE(Gestito, 0) <> 0 FROM Profili WHERE Profilo" OMBRIX_TEXT_EQUALS
                                           " ORDER BY rowid LIMIT 1;");
            if (!q.valid() || !q.bind(1, Value(r.name))) return storeRefusal(db);
            if (q.step()) existing.emplace(q.column(0).toInteger(), q.column(1).toInteger() != 0);
            if (q.failed()) return storeRefusal(db);
        }
        long long id = 0;
        std::vector<Value> values = profileValues(r);
        if (existing) {
            // A local profile of the same name is the administrator's: the
            // file may not take it over.
            if (!existing->second) return refusal("a local profile has a managed profile's name", r.name);
            id = existing->first;
            values.push_back(idValue(id));
            if (!db.run(profileUpdate(), values) || !deleteLists(db, id)) return storeRefusal(db);
        } else {
            const Value next = db.scalar("SELECT COALESCE(MAX(IDProfilo), 0) + 1 FROM Profili;");
            if (next.isEmpty()) return storeRefusal(db);
            id = next.toInteger();
            values.insert(values.begin(), idValue(id));
            if (!db.run(profileInsert("Gestito", "-1"), values)) {
                return storeRefusal(db);
            }
        }
        if (!insertLists(db, id, profiles[i])) return storeRefusal(db);
        imported.insert(id);
        done.changed.push_back(id);
    }

    // Managed profiles the set no longer names go, unless something names them.
    std::vector<std::pair<long long, std::string>> stale;
    {
        core::Statement q = db.prepare("SELECT IDProfilo, Profilo FROM Profili WHERE COALESCE(Gestito, 0) <> 0;");
        if (!q.valid()) return storeRefusal(db);
        while (q.step()) {
            const long long id = q.column(0).toInteger();
            if (!imported.contains(id)) stale.emplace_back(id, q.column(1).toText());
        }
        if (q.failed()) return storeRefusal(db);
    }
    for (const auto& [id, name] : stale) {
        const std::optional<bool> inUse = referenced(db, id);
        if (!inUse) return storeRefusal(db);
        if (*inUse) {
            done.kept.push_back(name);
            continue;
        }
        if (!deleteLists(db, id) || !db.run("DELETE FROM Profili WHERE IDProfilo = ?;", {idValue(id)})) {
            return storeRefusal(db);
        }
        done.changed.push_back(id);
    }
    if (!record(db, source, stamps) || !tx.commit()) return storeRefusal(db);
    return done;
}

void traceRefusal(const ManagedCheck& refused) {
    platform::recordFailure("managed profiles refused, the last good set stays", refused.reason + ": " + refused.subject);
}

void ManagedProfiles::recall() {
    recalled_ = true;
    core::Statement q =
        db_.prepare("SELECT Origine, Impronta, File, Dimensione, Modificato, SHA256 FROM ImportGestito ORDER BY rowid;");
    std::vector<FileStamp> stamps;
    ManagedSource source;
    while (q.step()) {
        source = {q.column(0).toText(), q.column(1).toText()};
        stamps.push_back({q.column(2).toText(), static_cast<std::uintmax_t>(q.column(3).toInteger()),
                          q.column(4).toInteger(), q.column(5).toText()});
    }
    // Without a record the files are read and imported, as on a first start.
    if (!q.valid() || q.failed() || stamps.empty()) return;
    last_ = std::move(stamps);
    lastSource_ = std::move(source);
}

ManagedCheck ManagedProfiles::check(const ManagedSource& source) {
    if (!recalled_) recall();
    if (trimBlanks(source.path).empty()) {
        // No policy: the profiles stay, with their lists, as the
        // administrator's own; nothing is lifted.
        last_.clear();
        lastSource_ = source;
        // Asked first: a store this process may only read refuses even an
        // update that changes nothing.
        const bool anyManaged = db_.scalar("SELECT EXISTS (SELECT 1 FROM Profili WHERE COALESCE(Gestito, 0) <> 0) "
                                           "OR EXISTS (SELECT 1 FROM ImportGestito);")
                                    .toInteger() != 0;
        if (!anyManaged) return {};
        core::Transaction tx(db_);
        if (!tx.active() || !db_.run("UPDATE Profili SET Gestito = 0 WHERE COALESCE(Gestito, 0) <> 0;") ||
            !db_.run("DELETE FROM ImportGestito;") || !tx.commit()) {
            return refusal("the store cannot be written", db_.lastError());
        }
        return {};
    }
    std::optional<std::string> pin;
    if (!trimBlanks(source.pinnedSha256).empty()) {
        pin = core::policy::sha256Pin(source.pinnedSha256);
        if (!pin) return refusal("the pinned SHA-256 is not 64 hexadecimal digits", source.pinnedSha256);
    }
    bool folder = false;
    const std::optional<std::vector<std::string>> files = filesAt(source.path, folder);
    if (!files) return refusal("the managed profiles' path cannot be read", source.path);
    if (folder && pin) return refusal("a pinned SHA-256 names one file, not a folder", source.path);
    if (files->empty()) return refusal("the folder holds no exchange file", source.path);

    std::vector<FileStamp> stamps;
    for (const std::string& file : *files) {
        const std::optional<FileStamp> s = stampOf(file);
        if (!s) return refusal("the managed file cannot be read", file);
        stamps.push_back(*s);
    }
    const bool sameSource = source == lastSource_;
    if (sameSource && sameFiles(stamps, last_, false)) return {ManagedCheck::Outcome::Unchanged, {}, {}, {}, {}};

    std::vector<std::string> contents;
    for (FileStamp& s : stamps) {
        platform::BoundedRead read = platform::realFileSystem().readFile(s.path, kMaxManagedFileBytes);
        if (read.outcome == platform::BoundedRead::Outcome::TooLarge) return refusal("the managed file is too large", s.path);
        if (read.outcome != platform::BoundedRead::Outcome::Read) return refusal("the managed file cannot be read", s.path);
        std::array<std::uint8_t, 32> digest{};
        if (!platform::sha256(read.bytes, digest)) return refusal("the system cannot hash the managed file", s.path);
        s.sha256 = hex(digest);
        // What was hashed is what is parsed: no second read to swap.
        if (pin && s.sha256 != *pin) return refusal("the managed file does not match its pinned SHA-256", s.path);
        contents.push_back(std::move(read.bytes));
    }
    if (sameSource && sameFiles(stamps, last_, true)) {
        last_ = std::move(stamps);
        return {ManagedCheck::Outcome::Unchanged, {}, {}, {}, {}};
    }

    std::vector<ExchangeProfile> profiles;
    for (std::size_t i = 0; i < contents.size(); ++i) {
        ExchangeRead read = readExchange(contents[i]);
        std::string().swap(contents[i]);
        if (read.status != ExchangeRead::Status::Valid || read.name.empty()) {
            std::string where = stamps[i].path;
            if (read.line != 0) where += " line " + std::to_string(read.line);
            if (!read.missingTag.empty()) where += " " + read.missingTag;
            return refusal("the managed file is damaged", where);
        }
        profiles.push_back(std::move(read.profile));
    }
    ManagedCheck result = replaceManagedSet(db_, profiles, source, stamps);
    if (result.outcome == ManagedCheck::Outcome::Imported) {
        last_ = std::move(stamps);
        lastSource_ = source;
    }
    return result;
}

}  // namespace ombrix::profiles

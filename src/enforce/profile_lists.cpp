#include "enforce/profile_lists.h"

#include "core/value.h"

namespace ombrix::enforce {
namespace {

// Prepares `sql` with the profile bound as its one parameter; the store's
// message in `error` when that fails.
core::Statement prepareForProfile(core::Database& db, const char* sql, long long profileId, std::string& error) {
    core::Statement q = db.prepare(sql);
    if (!q.valid()) {
        error = db.lastError();
    } else if (!q.bind(1, core::Value(static_cast<std::int64_t>(profileId)))) {
        error = q.error();
    }
    return q;
}

Loaded<std::vector<std::string>> loadTexts(core::Database& db, const char* sql, long long profileId) {
    Loaded<std::vector<std::string>> out;
    core::Statement q = prepareForProfile(db, sql, profileId, out.error);
    if (!out.ok()) return out;
    while (q.step()) out.value.push_back(core::valueOrDefault(q.column(0)).toText());
    if (q.failed()) out.error = q.error();
    return out;
}

}  // namespace

Loaded<SiteList> loadSiteList(core::Database& db, long long profileId) {
    Loaded<SiteList> out;
    SiteList::Builder builder;
    // Every byte of the value: the store's text functions stop at a NUL, and
    // "http://" followed by a NUL would read as "http://", which matches
    // every address. The length in bytes tells the empty text alone, whatever
    // the column's type affinity made of it.
    core::Statement q = prepareForProfile(
        db,
        "SELECT CAST(SitiVietatiConsentiti.Sito AS BLOB), SitiVietatiConsentiti.IDSito FROM SitiVietatiConsentiti "
        "WHERE SitiVietatiConsentiti.IDProfilo = ? AND SitiVietatiConsentiti.Sito IS NOT NULL "
        "AND length(CAST(SitiVietatiConsentiti.Sito AS BLOB)) > 0 ORDER BY SitiVietatiConsentiti.rowid;",
        profileId, out.error);
    if (!out.ok()) return out;
    while (q.step()) {
        const std::string entry = q.column(0).toText();
        // Written by another tool: a list holding it cannot be read as it was
        // meant, and is damaged rather than read shorter or without it.
        if (entry.find('\0') != std::string::npos) {
            out.error = "the site entry IDSito " + q.column(1).toText() + " of profile " + std::to_string(profileId) +
                        " holds a NUL character";
            return out;
        }
        if (!builder.add(entry)) break;
    }
    if (q.failed()) {
        out.error = q.error();
        return out;
    }
    out.value = builder.build();
    return out;
}

Loaded<std::optional<bool>> readForbiddenListSwitch(core::Database& db, long long profileId) {
    Loaded<std::optional<bool>> out;
    core::Statement q = prepareForProfile(
        db, "SELECT SitiProibiti FROM Profili WHERE IDProfilo = ? ORDER BY rowid LIMIT 1;", profileId, out.error);
    if (!out.ok()) return out;
    if (q.step()) {
        out.value = core::valueOrDefault(q.column(0), core::Value::boolean(false)).toBool();
    } else if (q.failed()) {
        out.error = q.error();
    }
    return out;
}

Loaded<std::vector<std::string>> loadProcessNames(core::Database& db, long long profileId) {
    return loadTexts(db,
                     "SELECT substr(ProcessiVietati.Processo, 1, 255) FROM Profili INNER JOIN ProcessiVietati "
                     "ON Profili.IDProfilo = ProcessiVietati.IDProfilo WHERE Profili.IDProfilo = ? "
                     "ORDER BY ProcessiVietati.rowid;",
                     profileId);
}

Loaded<std::vector<std::string>> loadWindowTitles(core::Database& db, long long profileId) {
    return loadTexts(db,
                     "SELECT substr(NomiFinestreVietate.NomeFinestra, 1, 255) FROM Profili INNER JOIN "
                     "NomiFinestreVietate ON Profili.IDProfilo = NomiFinestreVietate.IDProfilo "
                     "WHERE Profili.IDProfilo = ? ORDER BY NomiFinestreVietate.rowid;",
                     profileId);
}

}  // namespace ombrix::enforce

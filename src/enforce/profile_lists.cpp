#include "enforce/profile_lists.h"

#include "core/store.h"
#include "core/value.h"

namespace ombrix::enforce {
namespace {

std::vector<std::string> loadTexts(core::Database& db, const char* sql, long long profileId) {
    std::vector<std::string> out;
    core::Statement q = db.prepare(sql);
    if (!q.valid() || !q.bind(1, core::Value(static_cast<std::int64_t>(profileId)))) return out;
    while (q.step()) out.push_back(core::ValoreNonNullo(q.column(0)).toText());
    return out;
}

}  // namespace

SiteList loadSiteList(core::Database& db, long long profileId) {
    SiteList::Builder builder;
    // length() rather than a comparison with '': no text but the empty one
    // has length 0, whatever the column's type affinity made of it.
    core::Statement q = db.prepare(
        "SELECT SitiVietatiConsentiti.Sito FROM SitiVietatiConsentiti "
        "WHERE SitiVietatiConsentiti.IDProfilo = ? AND SitiVietatiConsentiti.Sito IS NOT NULL "
        "AND length(SitiVietatiConsentiti.Sito) > 0 ORDER BY SitiVietatiConsentiti.rowid;");
    if (q.valid() && q.bind(1, core::Value(static_cast<std::int64_t>(profileId)))) {
        while (q.step()) {
            if (!builder.add(q.column(0).toText())) break;
        }
    }
    return builder.build();
}

std::optional<bool> readSitiProibiti(core::Database& db, long long profileId) {
    const core::Condition profile{"IDProfilo = ?", {core::Value(static_cast<std::int64_t>(profileId))}};
    const core::Value v = core::ReadField(db, "Profili", "SitiProibiti", profile);
    if (v.isEmpty()) return std::nullopt;
    return core::ValoreNonNullo(v, core::Value::boolean(false)).toBool();
}

std::vector<std::string> loadProcessNames(core::Database& db, long long profileId) {
    return loadTexts(db,
                     "SELECT ProcessiVietati.Processo FROM Profili INNER JOIN ProcessiVietati "
                     "ON Profili.IDProfilo = ProcessiVietati.IDProfilo WHERE Profili.IDProfilo = ? "
                     "ORDER BY ProcessiVietati.rowid;",
                     profileId);
}

std::vector<std::string> loadWindowTitles(core::Database& db, long long profileId) {
    return loadTexts(db,
                     "SELECT NomiFinestreVietate.NomeFinestra FROM Profili INNER JOIN NomiFinestreVietate "
                     "ON Profili.IDProfilo = NomiFinestreVietate.IDProfilo WHERE Profili.IDProfilo = ? "
                     "ORDER BY NomiFinestreVietate.rowid;",
                     profileId);
}

}  // namespace ombrix::enforce

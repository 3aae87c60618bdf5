#include "core/profile_switches.h"

#include "platform/text.h"

namespace ombrix::core {

AppliedProfile readProfileSwitches(Database& db, long long profileId) {
    AppliedProfile applied;
    Statement q = db.prepare(
        "SELECT Profili.StampantePredefinita, Profili.PaginaPredefinita, Profili.BloccaDownload, Profili.Kiosk, "
        "Profili.TastoStartDisabilitato, Profili.UtilizzaBrowserInterno, Profili.NascondiMessaggiNotifica, "
        "Profili.ProtezioneMassima, Profili.ApriPaginaInizialeATuttoSchermo FROM Profili "
        "WHERE Profili.IDProfilo = ? ORDER BY rowid LIMIT 1;");
    if (!q.valid() || !q.bind(1, Value(static_cast<std::int64_t>(profileId)))) {
        applied.unreadable = db.lastError().empty() ? "the store is not open" : db.lastError();
        return applied;
    }
    if (!q.step()) {
        if (q.failed()) applied.unreadable = q.error();
        return applied;
    }
    auto text = [&](int c) { return valueOrDefault(q.column(c)).toText(); };
    auto flag = [&](int c) { return valueOrDefault(q.column(c), Value::boolean(false)).toBool(); };
    ProfileSwitches& s = applied.switches;
    s.printer = text(0);
    s.homePage = text(1);
    s.blockDownloads = flag(2);
    s.kiosk = flag(3);
    s.startDisabled = flag(4);
    s.internalBrowser = flag(5);
    s.hideMessages = flag(6);
    s.maxProtection = flag(7);
    s.fullScreen = flag(8);
    applied.homePagePending = !trimBlanks(s.homePage).empty();
    return applied;
}

bool homePageIsProgram(std::string_view page) {
    page = trimBlanks(page);
    if (page.size() < 4) return false;
    const std::string tail = lowerText(page.substr(page.size() - 4));
    return tail == ".exe" || tail == ".bat";
}

}  // namespace ombrix::core

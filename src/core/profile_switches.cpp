#include "core/profile_switches.h"

#include "platform/text.h"

namespace ombrix::core {

ProfileSwitches switchesAt(const Statement& q, int first) {
    auto flag = [&](int c) { return valueOrDefault(q.column(first + c), Value::boolean(false)).toBool(); };
    auto text = [&](int c) { return valueOrDefault(q.column(first + c)).toText(); };
    ProfileSwitches s;
    s.kiosk = flag(0);
    s.startDisabled = flag(1);
    s.blockDownloads = flag(2);
    s.hideMessages = flag(3);
    s.internalBrowser = flag(4);
    s.maxProtection = flag(5);
    s.fullScreen = flag(6);
    s.printer = text(7);
    s.homePage = text(8);
    return s;
}

void appendSwitchValues(const ProfileSwitches& s, std::vector<Value>& into) {
    for (const bool flag : {s.kiosk, s.startDisabled, s.blockDownloads, s.hideMessages, s.internalBrowser,
                            s.maxProtection, s.fullScreen}) {
        into.push_back(Value::boolean(flag));
    }
    into.emplace_back(s.printer);
    into.emplace_back(s.homePage);
}

AppliedProfile readProfileSwitches(Database& db, long long profileId) {
    AppliedProfile applied;
    std::string sql = "SELECT ";
    for (const char* column : kSwitchColumns) sql += std::string(column) + ", ";
    sql.resize(sql.size() - 2);
    Statement q = db.prepare(sql + " FROM Profili WHERE IDProfilo = ? ORDER BY rowid LIMIT 1;");
    if (!q.valid() || !q.bind(1, Value(static_cast<std::int64_t>(profileId)))) {
        applied.unreadable = db.lastError().empty() ? "the store is not open" : db.lastError();
        return applied;
    }
    if (!q.step()) {
        if (q.failed()) applied.unreadable = q.error();
        return applied;
    }
    applied.switches = switchesAt(q, 0);
    applied.homePagePending = !trimBlanks(applied.switches.homePage).empty();
    return applied;
}

bool homePageIsProgram(std::string_view page) {
    page = trimBlanks(page);
    if (page.size() < 4) return false;
    const std::string tail = lowerText(page.substr(page.size() - 4));
    return tail == ".exe" || tail == ".bat";
}

}  // namespace ombrix::core

#include "schedule/slot_editor.h"

#include <cstdio>

#include "core/store.h"
#include "platform/text.h"
#include "schedule/periodo.h"
#include "support/language.h"

namespace ombrix::schedule {
namespace {

bool allDigits(std::string_view s) {
    if (s.empty()) return false;
    for (char c : s) {
        if (c < '0' || c > '9') return false;
    }
    return true;
}

int number(std::string_view s) {
    int n = 0;
    for (char c : s) n = n * 10 + (c - '0');
    return n;
}

std::string trimmed(const std::string& s) { return std::string(trimBlanks(s)); }

bool given(const std::string& s) { return !trimBlanks(s).empty(); }

// A combo shows a profile when its text is none of its empty entries.
bool chosen(const std::string& text, Language& language, std::initializer_list<const char*> emptyIds) {
    const std::string t = trimmed(text);
    if (t.empty()) return false;
    for (const char* id : emptyIds) {
        if (t == language.TestoMessaggio(id)) return false;
    }
    return true;
}

struct Slot {
    const std::string& dalle;
    const std::string& alle;
};

// The checks a slot with a start or an end goes through; `previousEnd` is
// the end of the slot before (none for slot 1).
std::optional<SlotRefusal> checkTimes(int slot, Slot s, const std::string* previousEnd, char sep,
                                      std::array<const char*, 3> badStart, const char* beforePrevious,
                                      std::array<const char*, 3> badEnd, const char* notBefore) {
    const std::string dalle = trimmed(s.dalle), alle = trimmed(s.alle);
    if (!OrarioValido(dalle, sep)) return SlotRefusal{{badStart.begin(), badStart.end()}, dalleBox(slot)};
    // Compared as texts, as the boxes hold them: right because both passed the
    // format check; a start equal to the previous end is accepted.
    if (previousEnd && dalle < trimmed(*previousEnd)) return SlotRefusal{{beforePrevious}, dalleBox(slot)};
    if (!OrarioValido(alle, sep)) return SlotRefusal{{badEnd.begin(), badEnd.end()}, alleBox(slot)};
    if (secondsOf(dalle, sep) >= secondsOf(alle, sep)) return SlotRefusal{{notBefore}, dalleBox(slot)};
    return std::nullopt;
}

core::Value storedTime(const std::string& box, char sep) {
    if (!given(box)) return core::Value::null();
    return core::Value(storedTimeText(secondsOf(trimmed(box), sep)));
}

core::Value profileIdOf(core::Database& db, const std::string& name, const std::string& emptyEntry) {
    const std::string t = trimmed(name);
    if (t.empty() || t == emptyEntry) return core::Value::null();
    const core::Value id =
        core::ReadField(db, "Profili", "IDProfilo", core::Condition{"Profilo" OMBRIX_TEXT_EQUALS, {core::Value(t)}});
    return id.isEmpty() ? core::Value::null() : id;
}

}  // namespace

bool OrarioValido(const std::string& text, char sep) {
    const std::string_view t = trimBlanks(text);
    if (t.size() < 4 || t.size() > 8) return false;
    const std::size_t first = t.find(sep);
    if (first != 1 && first != 2) return false;
    if (!allDigits(t.substr(0, first)) || number(t.substr(0, first)) > 23) return false;
    std::string_view minutes = t.substr(first + 1);
    if (t.size() > 5) {
        const std::size_t second = t.find(sep, first + 1);
        if (second != 4 && second != 5) return false;
        minutes = t.substr(first + 1, second - first - 1);
        const std::string_view seconds = t.substr(second + 1);
        if (!allDigits(seconds) || number(seconds) > 59) return false;
    }
    if (!allDigits(minutes) || number(minutes) > 59) return false;
    // The last field always has two digits.
    return t[t.size() - 3] == sep;
}

int secondsOf(const std::string& text, char sep) {
    const std::string_view t = trimBlanks(text);
    const std::size_t first = t.find(sep);
    if (first == std::string_view::npos) return 0;
    const std::size_t second = t.find(sep, first + 1);
    const int h = number(t.substr(0, first));
    const int m = number(t.substr(first + 1, second == std::string_view::npos ? std::string_view::npos
                                                                               : second - first - 1));
    const int s = second == std::string_view::npos ? 0 : number(t.substr(second + 1));
    return h * 3600 + m * 60 + s;
}

std::string boxText(int secondsOfDay, char sep) {
    char buf[16];
    if (secondsOfDay % 60 == 0) {
        std::snprintf(buf, sizeof buf, "%02d%c%02d", secondsOfDay / 3600, sep, secondsOfDay / 60 % 60);
    } else {
        std::snprintf(buf, sizeof buf, "%02d%c%02d%c%02d", secondsOfDay / 3600, sep, secondsOfDay / 60 % 60, sep,
                      secondsOfDay % 60);
    }
    return buf;
}

SlotBox dalleBox(int slot) { return static_cast<SlotBox>(slot * 3); }
SlotBox alleBox(int slot) { return static_cast<SlotBox>(slot * 3 + 1); }
SlotBox profiloBox(int slot) { return static_cast<SlotBox>(slot * 3 + 2); }

std::array<std::string, 4> emptyEntries(Language& language) {
    return {language.TestoMessaggio("0291"), language.TestoMessaggio("0292"), language.TestoMessaggio("0293"),
            language.TestoMessaggio("0294")};
}

std::optional<SlotRefusal> ValidaFasce(const SlotBoxes& b, char sep, Language& lang) {
    if (given(b.dalle[0]) || given(b.alle[0])) {
        if (auto r = checkTimes(0, {b.dalle[0], b.alle[0]}, nullptr, sep, {"0252", "0253", "0254"}, nullptr,
                                {"0255", "0256", "0257"}, "0258")) {
            return r;
        }
    } else {
        if (chosen(b.profilo[0], lang, {"0259"})) return SlotRefusal{{"0260"}, SlotBox::Profilo1};
        if (given(b.dalle[1]) || given(b.alle[1]) || given(b.dalle[2]) || given(b.alle[2]) ||
            chosen(b.profilo[1], lang, {"0261"}) || chosen(b.profilo[2], lang, {"0262", "0263"})) {
            return SlotRefusal{{"0264"}, SlotBox::Dalle1};
        }
    }
    if (given(b.dalle[1]) || given(b.alle[1])) {
        if (auto r = checkTimes(1, {b.dalle[1], b.alle[1]}, &b.alle[0], sep, {"0265", "0266", "0267"}, "0268",
                                {"0269", "0270", "0271"}, "0272")) {
            return r;
        }
    } else {
        if (chosen(b.profilo[1], lang, {"0273"})) return SlotRefusal{{"0274"}, SlotBox::Profilo2};
        if (given(b.dalle[2]) || given(b.alle[2]) || chosen(b.profilo[2], lang, {"0275"})) {
            return SlotRefusal{{"0276"}, SlotBox::Dalle2};
        }
    }
    if (given(b.dalle[2]) || given(b.alle[2])) {
        if (auto r = checkTimes(2, {b.dalle[2], b.alle[2]}, &b.alle[1], sep, {"0277", "0278", "0279"}, "0280",
                                {"0281", "0282", "0283"}, "0284")) {
            return r;
        }
    } else if (chosen(b.profilo[2], lang, {"0285"})) {
        return SlotRefusal{{"0286"}, SlotBox::Profilo3};
    }
    return std::nullopt;
}

std::string refusalText(const SlotRefusal& refusal, Language& language) {
    std::string text;
    for (const char* id : refusal.messages) {
        if (!text.empty()) text += "\n";
        text += language.TestoMessaggio(id);
    }
    return text;
}

std::vector<std::string> profileNames(core::Database& db) {
    std::vector<std::string> names;
    core::Statement q = db.prepare("SELECT Profili.IDProfilo, Profili.Profilo FROM Profili ORDER BY rowid;");
    while (q.step()) names.push_back(core::ValoreNonNullo(q.column(1)).toText());
    return names;
}

std::optional<SlotBoxes> readSlotBoxes(core::Database& db, char sep, Language& language) {
    core::Statement q = db.prepare("SELECT Fasce.* FROM Fasce ORDER BY rowid;");
    const auto empty = emptyEntries(language);
    SlotBoxes boxes;
    for (int i = 0; i < 3; ++i) boxes.profilo[static_cast<std::size_t>(i)] = empty[static_cast<std::size_t>(i)];
    boxes.fallback = empty[3];
    if (!q.valid()) return std::nullopt;
    if (!q.step()) {
        if (q.failed()) return std::nullopt;
        return boxes;
    }
    if (q.columnCount() < 10) return std::nullopt;
    const auto nameOf = [&](const core::Value& id, const std::string& emptyEntry) -> std::optional<std::string> {
        if (id.isNull() || id.toInteger() == 0) return emptyEntry;
        const core::Value name =
            core::ReadField(db, "Profili", "Profilo", core::Condition{"IDProfilo = ?", {core::Value(id.toInteger())}});
        if (name.isEmpty() || name.isNull()) return emptyEntry;
        return name.toText();
    };
    for (std::size_t i = 0; i < 3; ++i) {
        const int at = static_cast<int>(i) * 3;
        for (int k = 0; k < 2; ++k) {
            const core::Value v = q.column(at + k);
            const auto time = storedTimeOfDay(v);
            if (!time) return std::nullopt;
            (k == 0 ? boxes.dalle : boxes.alle)[i] = v.isNull() || trimBlanks(v.toText()).empty() ? "" : boxText(*time, sep);
        }
        boxes.profilo[i] = *nameOf(q.column(at + 2), empty[i]);
    }
    boxes.fallback = *nameOf(q.column(9), empty[3]);
    return boxes;
}

bool SalvaFasce(core::Database& db, const SlotBoxes& b, char sep, Language& language) {
    const auto empty = emptyEntries(language);
    std::vector<core::Value> values;
    for (std::size_t i = 0; i < 3; ++i) {
        values.push_back(storedTime(b.dalle[i], sep));
        values.push_back(storedTime(b.alle[i], sep));
        values.push_back(profileIdOf(db, b.profilo[i], empty[i]));
    }
    values.push_back(profileIdOf(db, b.fallback, empty[3]));

    core::Transaction t(db);
    if (!t.active()) return false;
    const core::Value row = db.scalar("SELECT rowid FROM Fasce ORDER BY rowid LIMIT 1;");
    bool written = false;
    if (row.isEmpty()) {
        written = db.run("INSERT INTO Fasce (Fascia1Dalle, Fascia1Alle, Fascia1Profilo, Fascia2Dalle, Fascia2Alle, "
                         "Fascia2Profilo, Fascia3Dalle, Fascia3Alle, Fascia3Profilo, ProfiloFasceNonDefinite) "
                         "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?);",
                         values);
    } else {
        values.push_back(row);
        written = db.run("UPDATE Fasce SET Fascia1Dalle = ?, Fascia1Alle = ?, Fascia1Profilo = ?, Fascia2Dalle = ?, "
                         "Fascia2Alle = ?, Fascia2Profilo = ?, Fascia3Dalle = ?, Fascia3Alle = ?, Fascia3Profilo = ?, "
                         "ProfiloFasceNonDefinite = ? WHERE rowid = ?;",
                         values);
    }
    return written && t.commit();
}

bool slotOneHasTimes(const SlotBoxes& boxes) { return given(boxes.dalle[0]) || given(boxes.alle[0]); }

bool readScheduleSwitch(core::Database& db) {
    return core::ValoreNonNullo(core::ReadField(db, "Opzioni", "FasceOrarie", core::kOptionsRow),
                                core::Value::boolean(false))
        .toBool();
}

bool writeScheduleSwitch(core::Database& db, bool on) {
    return core::UpdateField(db, "Opzioni", "FasceOrarie", core::Value::boolean(on), core::kOptionsRow);
}

}  // namespace ombrix::schedule

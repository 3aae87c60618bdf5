#include "schedule/slot_editor.h"

#include <cstdio>

#include "core/store.h"
#include "platform/text.h"
#include "schedule/daily_slots.h"
#include "support/language.h"
#include "support/messages.h"

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

struct Slot {
    const std::string& from;
    const std::string& to;
};

// The checks a slot with a start or an end goes through; `previousEnd` is
// the end of the slot before (none for slot 1), which passed its checks.
std::optional<SlotRefusal> checkTimes(int slot, Slot s, const std::string* previousEnd, char sep,
                                      std::array<MessageId, 3> badStart, MessageId beforePrevious,
                                      std::array<MessageId, 3> badEnd, MessageId notBefore) {
    const std::optional<int> from = timeOfDay(s.from, sep);
    if (!from) return SlotRefusal{{badStart.begin(), badStart.end()}, fromBox(slot)};
    // A start equal to the previous end is accepted: slots may touch.
    if (previousEnd && *from < timeOfDay(*previousEnd, sep).value_or(0)) {
        return SlotRefusal{{beforePrevious}, fromBox(slot)};
    }
    const std::optional<int> to = timeOfDay(s.to, sep);
    if (!to) return SlotRefusal{{badEnd.begin(), badEnd.end()}, toBox(slot)};
    if (*from >= *to) return SlotRefusal{{notBefore}, fromBox(slot)};
    return std::nullopt;
}

core::Value storedTime(const std::string& box, char sep) {
    if (!given(box)) return core::Value::null();
    return core::Value(storedTimeText(secondsOf(trimmed(box), sep)));
}

// The identifier to store for a combo: Null for its empty entry or a profile that is gone.
core::Value storedProfile(core::Database& db, long long id) {
    if (id == 0) return core::Value::null();
    const core::Value found = core::ReadField(db, "Profili", "IDProfilo",
                                              core::Condition{"IDProfilo = ?", {core::Value(std::int64_t{id})}});
    return found.isEmpty() ? core::Value::null() : found;
}

}  // namespace

bool isValidTime(const std::string& text, char sep) {
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

std::optional<int> timeOfDay(const std::string& text, char sep) {
    if (!isValidTime(text, sep)) return std::nullopt;
    return secondsOf(text, sep);
}

SlotBox fromBox(int slot) { return static_cast<SlotBox>(slot * 3); }
SlotBox toBox(int slot) { return static_cast<SlotBox>(slot * 3 + 1); }
SlotBox profileBox(int slot) { return static_cast<SlotBox>(slot * 3 + 2); }

std::array<std::string, 4> emptyEntries(Language& language) {
    return {language.messageText(msg::NoProfileFirstSlot), language.messageText(msg::NoProfileSecondSlot),
            language.messageText(msg::NoProfileThirdSlot), language.messageText(msg::NoProfileFallback)};
}

std::optional<SlotRefusal> validateSlots(const SlotBoxes& b, char sep, bool scheduleOn) {
    if (given(b.from[0]) || given(b.to[0])) {
        if (auto r = checkTimes(0, {b.from[0], b.to[0]}, nullptr, sep,
                                {msg::FirstSlotStartInvalid, msg::FirstSlotStartHowToWrite, msg::FirstSlotStartRanges},
                                {}, {msg::FirstSlotEndInvalid, msg::FirstSlotEndHowToWrite, msg::FirstSlotEndRanges},
                                msg::FirstSlotStartNotBeforeEnd)) {
            return r;
        }
    } else {
        if (b.profile[0] != 0) return SlotRefusal{{msg::FirstSlotProfileWithoutTimes}, SlotBox::Profile1};
        if (given(b.from[1]) || given(b.to[1]) || given(b.from[2]) || given(b.to[2]) || b.profile[1] != 0 ||
            b.profile[2] != 0) {
            return SlotRefusal{{msg::FillFirstSlotFirst}, SlotBox::From1};
        }
        // Switched on, the slots must have a first one.
        if (scheduleOn) return SlotRefusal{{msg::ScheduleNeedsFirstSlot}, SlotBox::From1};
    }
    if (given(b.from[1]) || given(b.to[1])) {
        if (auto r = checkTimes(1, {b.from[1], b.to[1]}, &b.to[0], sep,
                                {msg::SecondSlotStartInvalid, msg::SecondSlotStartHowToWrite,
                                 msg::SecondSlotStartRanges},
                                msg::SecondSlotStartsBeforeFirstEnds,
                                {msg::SecondSlotEndInvalid, msg::SecondSlotEndHowToWrite, msg::SecondSlotEndRanges},
                                msg::SecondSlotStartNotBeforeEnd)) {
            return r;
        }
    } else {
        if (b.profile[1] != 0) return SlotRefusal{{msg::SecondSlotProfileWithoutTimes}, SlotBox::Profile2};
        if (given(b.from[2]) || given(b.to[2]) || b.profile[2] != 0) {
            return SlotRefusal{{msg::FillSecondSlotBeforeThird}, SlotBox::From2};
        }
    }
    if (given(b.from[2]) || given(b.to[2])) {
        if (auto r = checkTimes(2, {b.from[2], b.to[2]}, &b.to[1], sep,
                                {msg::ThirdSlotStartInvalid, msg::ThirdSlotStartHowToWrite, msg::ThirdSlotStartRanges},
                                msg::ThirdSlotStartsBeforeSecondEnds,
                                {msg::ThirdSlotEndInvalid, msg::ThirdSlotEndHowToWrite, msg::ThirdSlotEndRanges},
                                msg::ThirdSlotStartNotBeforeEnd)) {
            return r;
        }
    } else if (b.profile[2] != 0) {
        return SlotRefusal{{msg::ThirdSlotProfileWithoutTimes}, SlotBox::Profile3};
    }
    return std::nullopt;
}

std::string refusalText(const SlotRefusal& refusal, Language& language) {
    std::string text;
    for (const MessageId id : refusal.messages) {
        if (!text.empty()) text += "\n";
        text += language.messageText(id);
    }
    return text;
}

std::vector<SlotProfile> profileChoices(core::Database& db) {
    std::vector<SlotProfile> profiles;
    core::Statement q = db.prepare("SELECT Profili.IDProfilo, Profili.Profilo FROM Profili ORDER BY rowid;");
    while (q.step()) profiles.push_back({q.column(0).toInteger(), core::valueOrDefault(q.column(1)).toText()});
    return profiles;
}

std::optional<SlotBoxes> readSlotBoxes(core::Database& db, char sep) {
    core::Statement q = db.prepare("SELECT Fasce.* FROM Fasce ORDER BY rowid;");
    SlotBoxes boxes;
    if (!q.valid()) return std::nullopt;
    if (!q.step()) {
        if (q.failed()) return std::nullopt;
        return boxes;
    }
    if (q.columnCount() < 10) return std::nullopt;
    const auto idOf = [&](const core::Value& id) -> long long {
        if (id.isNull()) return 0;
        return storedProfile(db, id.toInteger()).isNull() ? 0 : id.toInteger();
    };
    for (std::size_t i = 0; i < 3; ++i) {
        const int at = static_cast<int>(i) * 3;
        for (int k = 0; k < 2; ++k) {
            const core::Value v = q.column(at + k);
            const auto time = storedTimeOfDay(v);
            if (!time) return std::nullopt;
            (k == 0 ? boxes.from : boxes.to)[i] = v.isNull() || trimBlanks(v.toText()).empty() ? "" : boxText(*time, sep);
        }
        boxes.profile[i] = idOf(q.column(at + 2));
    }
    boxes.fallback = idOf(q.column(9));
    return boxes;
}

bool saveSlots(core::Database& db, const SlotBoxes& b, char sep) {
    std::vector<core::Value> values;
    for (std::size_t i = 0; i < 3; ++i) {
        values.push_back(storedTime(b.from[i], sep));
        values.push_back(storedTime(b.to[i], sep));
        values.push_back(storedProfile(db, b.profile[i]));
    }
    values.push_back(storedProfile(db, b.fallback));

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

bool slotOneHasTimes(const SlotBoxes& boxes) { return given(boxes.from[0]) || given(boxes.to[0]); }

bool readScheduleSwitch(core::Database& db) {
    return core::valueOrDefault(core::ReadField(db, "Opzioni", "FasceOrarie", core::kOptionsRow),
                                core::Value::boolean(false))
        .toBool();
}

bool writeScheduleSwitch(core::Database& db, bool on) {
    return core::UpdateField(db, "Opzioni", "FasceOrarie", core::Value::boolean(on), core::kOptionsRow);
}

}  // namespace ombrix::schedule

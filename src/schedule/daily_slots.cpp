#include "schedule/daily_slots.h"

#include <cstdio>
#include <string_view>

#include "core/clock_time.h"
#include "platform/failures.h"
#include "platform/text.h"

namespace ombrix::schedule {

std::optional<int> storedTimeOfDay(const core::Value& value) {
    if (value.isNull() || value.isEmpty()) return 0;
    if (!value.isText()) return std::nullopt;
    const std::string text = value.toText();
    std::string_view t = trimBlanks(text);
    if (t.empty()) return 0;
    // A date in front ("YYYY-MM-DD HH:MM:SS") counts for nothing.
    if (t.size() > 10 && t[4] == '-' && t[7] == '-' && (t[10] == ' ' || t[10] == 'T')) t = t.substr(11);
    return core::clockTimeOfDay(t);
}

std::string storedTimeText(int secondsOfDay) {
    char buf[16];
    std::snprintf(buf, sizeof buf, "%02d:%02d:%02d", secondsOfDay / 3600 % 24, secondsOfDay / 60 % 60,
                  secondsOfDay % 60);
    return buf;
}

bool DailySlots::load(core::Database& db) {
    core::Statement q = db.prepare("SELECT Fasce.* FROM Fasce ORDER BY rowid;");
    if (!q.valid()) return false;
    if (!q.step()) return !q.failed();  // no record: the values stay
    if (q.columnCount() < 10) return false;
    std::array<Slot, 3> read{};
    for (int i = 0; i < 3; ++i) {
        const auto from = storedTimeOfDay(q.column(i * 3));
        const auto to = storedTimeOfDay(q.column(i * 3 + 1));
        if (!from || !to) return false;
        read[static_cast<std::size_t>(i)] = {*from, *to,
                                             static_cast<std::int32_t>(q.column(i * 3 + 2).toInteger())};
    }
    slots_ = read;
    fallback_ = static_cast<std::int32_t>(q.column(9).toInteger());
    return true;
}

void DailySlots::applyPolicy(const core::policy::MachinePolicy& policy) {
    for (std::size_t i = 0; i < slots_.size(); ++i) {
        const core::policy::Slot& set = policy.slots[i];
        slots_[i].from = set.from.value_or(slots_[i].from);
        slots_[i].to = set.to.value_or(slots_[i].to);
        if (set.profile) slots_[i].profile = static_cast<std::int32_t>(*set.profile);
    }
    if (policy.fallbackProfile) fallback_ = static_cast<std::int32_t>(*policy.fallbackProfile);
}

long long DailySlots::profileAt(int secondsOfDay) const {
    long long chosen = 0;
    for (const Slot& f : slots_) {
        // A slot whose start equals its end is undefined; no early stop.
        if (f.from != f.to && f.from <= secondsOfDay && secondsOfDay <= f.to) chosen = f.profile;
    }
    return chosen == 0 ? fallback_ : chosen;
}

bool StoredSchedule::load() {
    if (slots_.load(db_)) {
        if (policy_) slots_.applyPolicy(*policy_);
        return true;
    }
    platform::recordFailure("the time slots (Fasce) were not read", db_.lastError());
    return false;
}

long long StoredSchedule::profileForNow() {
    const platform::LocalTime now = clock_.now();
    return slots_.profileAt(now.hour * 3600 + now.minute * 60 + now.second);
}

}  // namespace ombrix::schedule

#pragma once
// DailySlots: one copy of the Fasce record (three daily slots and the
// profile for the hours no slot covers), and the choice of the profile for a
// time of day. Times are seconds since midnight; the date never counts.

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "core/controller.h"
#include "core/database.h"
#include "core/machine_policy.h"
#include "core/value.h"
#include "platform/clock.h"

namespace ombrix::schedule {

inline constexpr int kSecondsPerDay = 24 * 60 * 60;

// A stored time: "HH:MM:SS" (as the program writes it), "HH:MM", or a date
// and time "YYYY-MM-DD HH:MM:SS" whose date is ignored. Null and empty read
// as midnight; nullopt for anything else, which no slot may be built from.
[[nodiscard]] std::optional<int> storedTimeOfDay(const core::Value& value);
// The stored form of a time of day: "HH:MM:SS".
[[nodiscard]] std::string storedTimeText(int secondsOfDay);

class DailySlots {
public:
    struct Slot {
        int from = 0;  // start, inclusive
        int to = 0;    // end, inclusive
        std::int32_t profile = 0;
    };

    // Reads "SELECT Fasce.* FROM Fasce;". No row keeps the values as they
    // are (true); a row with a value that is no time, or a failed read,
    // keeps them too and answers false.
    [[nodiscard]] bool load(core::Database& db);

    // What the machine's policy sets replaces the value read, one by one.
    void applyPolicy(const core::policy::MachinePolicy& policy);

    // The profile for `secondsOfDay`: slots 1 to 3 all tried, the highest
    // matching one wins; the fallback when none matches.
    [[nodiscard]] long long profileAt(int secondsOfDay) const;

    [[nodiscard]] int slot1From() const { return slots_[0].from; }
    void setSlot1From(int v) { slots_[0].from = v; }
    [[nodiscard]] int slot1To() const { return slots_[0].to; }
    void setSlot1To(int v) { slots_[0].to = v; }
    [[nodiscard]] std::int32_t slot1Profile() const { return slots_[0].profile; }
    void setSlot1Profile(std::int32_t v) { slots_[0].profile = v; }
    [[nodiscard]] int slot2From() const { return slots_[1].from; }
    void setSlot2From(int v) { slots_[1].from = v; }
    [[nodiscard]] int slot2To() const { return slots_[1].to; }
    void setSlot2To(int v) { slots_[1].to = v; }
    [[nodiscard]] std::int32_t slot2Profile() const { return slots_[1].profile; }
    void setSlot2Profile(std::int32_t v) { slots_[1].profile = v; }
    [[nodiscard]] int slot3From() const { return slots_[2].from; }
    void setSlot3From(int v) { slots_[2].from = v; }
    [[nodiscard]] int slot3To() const { return slots_[2].to; }
    void setSlot3To(int v) { slots_[2].to = v; }
    [[nodiscard]] std::int32_t slot3Profile() const { return slots_[2].profile; }
    void setSlot3Profile(std::int32_t v) { slots_[2].profile = v; }
    [[nodiscard]] std::int32_t fallbackProfile() const { return fallback_; }
    void setFallbackProfile(std::int32_t v) { fallback_ = v; }

    [[nodiscard]] const std::array<Slot, 3>& slots() const { return slots_; }

private:
    std::array<Slot, 3> slots_{};
    std::int32_t fallback_ = 0;
};

// The schedule as the controller holds it: a DailySlots over the shared
// connection and the machine's policy, asked with the clock's time of day.
class StoredSchedule final : public core::TimeSlotSchedule {
public:
    StoredSchedule(core::Database& db, platform::Clock& clock) : db_(db), clock_(clock) {}
    // The policy whose slots win over the store's, kept up to date by its owner.
    void setPolicy(const core::policy::MachinePolicy* policy) { policy_ = policy; }
    [[nodiscard]] bool load() override;
    [[nodiscard]] long long profileForNow() override;
    [[nodiscard]] const DailySlots& dailySlots() const { return slots_; }

private:
    core::Database& db_;
    platform::Clock& clock_;
    const core::policy::MachinePolicy* policy_ = nullptr;
    DailySlots slots_;
};

}  // namespace ombrix::schedule

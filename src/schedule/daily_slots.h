#pragma once
// clsPeriodo: one copy of the Fasce record (three daily slots and the
// profile for the hours no slot covers), and the choice of the profile for a
// time of day. Times are seconds since midnight; the date never counts.

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "core/controller.h"
#include "core/database.h"
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

class clsPeriodo {
public:
    struct Fascia {
        int dalle = 0;  // start, inclusive
        int alle = 0;   // end, inclusive
        std::int32_t profilo = 0;
    };

    // Reads "SELECT Fasce.* FROM Fasce;". No row keeps the values as they
    // are (true); a row with a value that is no time, or a failed read,
    // keeps them too and answers false.
    [[nodiscard]] bool CaricaProfilo(core::Database& db);

    // The profile for `secondsOfDay`: slots 1 to 3 all tried, the highest
    // matching one wins; the fallback when none matches.
    [[nodiscard]] long long profiloPerOra(int secondsOfDay) const;

    [[nodiscard]] int Fascia1Dalle() const { return fasce_[0].dalle; }
    void setFascia1Dalle(int v) { fasce_[0].dalle = v; }
    [[nodiscard]] int Fascia1Alle() const { return fasce_[0].alle; }
    void setFascia1Alle(int v) { fasce_[0].alle = v; }
    [[nodiscard]] std::int32_t Fascia1Profilo() const { return fasce_[0].profilo; }
    void setFascia1Profilo(std::int32_t v) { fasce_[0].profilo = v; }
    [[nodiscard]] int Fascia2Dalle() const { return fasce_[1].dalle; }
    void setFascia2Dalle(int v) { fasce_[1].dalle = v; }
    [[nodiscard]] int Fascia2Alle() const { return fasce_[1].alle; }
    void setFascia2Alle(int v) { fasce_[1].alle = v; }
    [[nodiscard]] std::int32_t Fascia2Profilo() const { return fasce_[1].profilo; }
    void setFascia2Profilo(std::int32_t v) { fasce_[1].profilo = v; }
    [[nodiscard]] int Fascia3Dalle() const { return fasce_[2].dalle; }
    void setFascia3Dalle(int v) { fasce_[2].dalle = v; }
    [[nodiscard]] int Fascia3Alle() const { return fasce_[2].alle; }
    void setFascia3Alle(int v) { fasce_[2].alle = v; }
    [[nodiscard]] std::int32_t Fascia3Profilo() const { return fasce_[2].profilo; }
    void setFascia3Profilo(std::int32_t v) { fasce_[2].profilo = v; }
    [[nodiscard]] std::int32_t ProfiloFasceNonDefinite() const { return fallback_; }
    void setProfiloFasceNonDefinite(std::int32_t v) { fallback_ = v; }

    [[nodiscard]] const std::array<Fascia, 3>& fasce() const { return fasce_; }

private:
    std::array<Fascia, 3> fasce_{};
    std::int32_t fallback_ = 0;
};

// The schedule as the controller holds it: a clsPeriodo over the shared
// connection, asked with the clock's time of day.
class StoredSchedule final : public core::TimeSlotSchedule {
public:
    StoredSchedule(core::Database& db, platform::Clock& clock) : db_(db), clock_(clock) {}
    [[nodiscard]] bool CaricaProfilo() override;
    [[nodiscard]] long long profileForNow() override;
    [[nodiscard]] const clsPeriodo& periodo() const { return periodo_; }

private:
    core::Database& db_;
    platform::Clock& clock_;
    clsPeriodo periodo_;
};

}  // namespace ombrix::schedule

#pragma once
// What the time-slot editor (frmPeriodi) and `ombrixctl slots` share: the
// time format check, the validation before saving with its messages and the
// box that takes the focus, reading and writing the Fasce record with
// profile names, and the switch. The form shows the boxes; these decide.

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "core/database.h"
#include "support/messages.h"

namespace ombrix {
class Language;
}

namespace ombrix::schedule {

// A time as typed, with the locale's time separator: H:MM, HH:MM, H:MM:SS or
// HH:MM:SS, hours up to 23, minutes and seconds up to 59.
[[nodiscard]] bool isValidTime(const std::string& text, char separator);
// Seconds since midnight of a text isValidTime accepts.
[[nodiscard]] int secondsOf(const std::string& text, char separator);
// Seconds since midnight of a time as typed; nullopt when isValidTime
// refuses it. Times are compared only so, never as texts ("9:00" is before
// "12:00").
[[nodiscard]] std::optional<int> timeOfDay(const std::string& text, char separator);
// A stored time as the boxes show it: HH<sep>MM, with <sep>SS when the
// seconds are not zero.
[[nodiscard]] std::string boxText(int secondsOfDay, char separator);

// The boxes of the form, by their controls' names: the start and end texts
// of each slot as typed, and the profile each combo shows by its identifier
// (0 for the combo's empty entry, whatever a profile is called).
struct SlotBoxes {
    std::array<std::string, 3> from;     // txtFascia1Dalle ..
    std::array<std::string, 3> to;       // txtFascia1Alle ..
    std::array<long long, 3> profile{};  // cmbProfiloPeriodo1 ..
    long long fallback = 0;              // cmbProfilo
};

// A profile as the combos offer it.
struct SlotProfile {
    long long id = 0;
    std::string name;
};

// The box a refusal puts the focus on.
enum class SlotBox { From1, To1, Profile1, From2, To2, Profile2, From3, To3, Profile3 };
[[nodiscard]] SlotBox fromBox(int slot);  // slot 0..2
[[nodiscard]] SlotBox toBox(int slot);
[[nodiscard]] SlotBox profileBox(int slot);

struct SlotRefusal {
    std::vector<MessageId> messages;  // shown joined by line breaks
    SlotBox focus;
};

// The empty entry each combo starts with, by combo: the three slots, then
// the fallback.
[[nodiscard]] std::array<std::string, 4> emptyEntries(Language& language);

// The checks before saving, in their fixed order; the first failure.
// `scheduleOn`: the switch is on, which needs slot 1's times.
[[nodiscard]] std::optional<SlotRefusal> validateSlots(const SlotBoxes& boxes, char separator, bool scheduleOn);
// The refusal's texts, joined by line breaks.
[[nodiscard]] std::string refusalText(const SlotRefusal& refusal, Language& language);

// The profiles in store order, for the combos.
[[nodiscard]] std::vector<SlotProfile> profileChoices(core::Database& db);

// The stored record as the form shows it: times in boxText form (empty for
// a Null time), each profile by its identifier (0 for a Null, a 0 or a
// profile that is gone). nullopt when it cannot be read.
[[nodiscard]] std::optional<SlotBoxes> readSlotBoxes(core::Database& db, char separator);

// Writes boxes that passed validateSlots into the Fasce record, in one
// transaction: each time as "HH:MM:SS" (Null when empty), each profile as
// its identifier (Null for the empty entry or a profile that is gone). False,
// and nothing changed, when the write fails.
[[nodiscard]] bool saveSlots(core::Database& db, const SlotBoxes& boxes, char separator);

// Switching the schedule on needs slot 1's start or end in the boxes;
// without, msg::ScheduleNeedsFirstSlot and the switch stays off.
[[nodiscard]] bool slotOneHasTimes(const SlotBoxes& boxes);
// Opzioni.FasceOrarie; false when it cannot be read.
[[nodiscard]] bool readScheduleSwitch(core::Database& db);
[[nodiscard]] bool writeScheduleSwitch(core::Database& db, bool on);

}  // namespace ombrix::schedule

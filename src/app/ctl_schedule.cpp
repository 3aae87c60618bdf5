// ombrixctl commands on the daily time slots: the same checks and the same
// record as the time-slot editor, with times written HH:MM or HH:MM:SS.
#include <ostream>

#include "app/ctl_session.h"
#include "core/policy_locks.h"
#include "core/store.h"
#include "platform/text.h"
#include "schedule/slot_editor.h"
#include "support/messages.h"

namespace ombrix::app {
namespace {

constexpr char kSeparator = ':';
// The command line's word for a combo left on its empty entry.
constexpr const char* kNoProfile = "-";

// 1, 2 or 3; 0 for anything else.
int slotNumber(const std::string& arg) { return arg == "1" ? 1 : arg == "2" ? 2 : arg == "3" ? 3 : 0; }

std::optional<schedule::SlotBoxes> currentBoxes(Session& s) {
    auto boxes = schedule::readSlotBoxes(s.db(), kSeparator);
    if (!boxes) s.err() << "ombrixctl: cannot read the time slots: " << s.db().lastError() << "\n";
    return boxes;
}

// The profile named on the command line, by its identifier; 0 (the combo's
// empty entry) for "-". nullopt when no profile has that name.
std::optional<long long> profileNamed(Session& s, const std::string& name) {
    if (name == kNoProfile) return 0;
    return resolveProfile(s, name);
}

// Switched on with no profile for the hours outside the slots: say what that means.
void tellEmptyFallback(Session& s, const schedule::SlotBoxes& boxes) {
    if (boxes.fallback == 0 && schedule::readScheduleSwitch(s.db())) {
        s.err() << msg::NoFallbackBlocksEverySite << ": " << messageText(s.language(), msg::NoFallbackBlocksEverySite)
                << "\n";
    }
}

// Validates as the editor does, then stores; nothing is written on a refusal.
int validateAndSave(Session& s, const schedule::SlotBoxes& boxes) {
    if (const auto refusal = schedule::validateSlots(boxes, kSeparator, schedule::readScheduleSwitch(s.db()))) {
        for (const MessageId id : refusal->messages) s.refuse(id);
        return kRefused;
    }
    if (!schedule::saveSlots(s.db(), boxes, kSeparator)) {
        s.err() << "ombrixctl: cannot write the time slots: " << s.db().lastError() << "\n";
        return kRefused;
    }
    tellEmptyFallback(s, boxes);
    return kOk;
}

int show(Session& s, const schedule::SlotBoxes& boxes) {
    const auto profiles = schedule::profileChoices(s.db());
    const auto name = [&](long long id) {
        for (const auto& p : profiles) {
            if (id != 0 && p.id == id) return printable(p.name);
        }
        return std::string(kNoProfile);
    };
    const auto time = [](const std::string& text) { return text.empty() ? std::string(kNoProfile) : text; };
    s.out() << "FasceOrarie\t" << (schedule::readScheduleSwitch(s.db()) ? "on" : "off") << "\n";
    for (std::size_t i = 0; i < 3; ++i) {
        s.out() << i + 1 << "\t" << time(boxes.from[i]) << "\t" << time(boxes.to[i]) << "\t"
                << name(boxes.profile[i]) << "\n";
    }
    s.out() << "ProfiloFasceNonDefinite\t" << name(boxes.fallback) << "\n";
    return kOk;
}

int cmdSlots(Session& s, const std::vector<std::string>& args) {
    if (args.empty()) return s.usage("slots needs show, set, clear, fallback, on or off");
    const std::string& verb = args[0];
    const std::size_t n = args.size();
    const bool shapeOk = (verb == "show" && n == 1) || (verb == "set" && n == 5) || (verb == "clear" && n == 2) ||
                         (verb == "fallback" && n == 2) || ((verb == "on" || verb == "off") && n == 1);
    if (!shapeOk) return s.usage("slots " + verb + ": wrong arguments");
    const int slot = verb == "set" || verb == "clear" ? slotNumber(args[1]) : 0;
    if ((verb == "set" || verb == "clear") && slot == 0) return s.usage("the slot is 1, 2 or 3");
    // What the policy sets stays as it is, in the store too.
    const core::policy::Locks locks = core::policy::readLocks(s.env().registry);
    const std::string_view lock = verb == "on" || verb == "off" ? locks.timeSlots
                                  : verb == "fallback"          ? locks.fallbackProfile
                                  : slot != 0                   ? locks.slots[static_cast<std::size_t>(slot - 1)]
                                                                : std::string_view();
    if (!lock.empty()) return s.refuse(msg::SetByPolicy, std::string(lock));
    if (!s.open()) return kRefused;
    auto boxes = currentBoxes(s);
    if (!boxes) return kRefused;

    if (verb == "show") return show(s, *boxes);
    if (verb == "on" || verb == "off") {
        const bool on = verb == "on";
        if (on && !schedule::slotOneHasTimes(*boxes)) return s.refuse(msg::ScheduleNeedsFirstSlot);
        if (!schedule::writeScheduleSwitch(s.db(), on)) {
            s.err() << "ombrixctl: cannot write the switch: " << s.db().lastError() << "\n";
            return kRefused;
        }
        tellEmptyFallback(s, *boxes);
        return kOk;
    }
    if (verb == "fallback") {
        const auto id = profileNamed(s, args[1]);
        if (!id) return kRefused;
        boxes->fallback = *id;
        return validateAndSave(s, *boxes);
    }
    const auto i = static_cast<std::size_t>(slot - 1);
    if (verb == "clear") {
        boxes->from[i].clear();
        boxes->to[i].clear();
        boxes->profile[i] = 0;
        return validateAndSave(s, *boxes);
    }
    const auto id = profileNamed(s, args[4]);
    if (!id) return kRefused;
    boxes->from[i] = args[2];
    boxes->to[i] = args[3];
    boxes->profile[i] = *id;
    return validateAndSave(s, *boxes);
}

Elevation slotsElevation(const std::vector<std::string>& args) {
    if (args.empty()) return Elevation::None;
    for (const char* verb : {"set", "clear", "fallback", "on", "off"}) {
        if (args[0] == verb) return Elevation::Relay;
    }
    return Elevation::None;
}

}  // namespace

const std::vector<CtlCommand>& scheduleCommands() {
    static const std::vector<CtlCommand> commands = {
        {"slots",
         "slots show | set N FROM TO PROFILE | clear N | fallback PROFILE | on | off\n"
         "                the daily time slots 1 to 3 (times HH:MM or HH:MM:SS, \"-\" for no profile;\n"
         "                with no fallback profile, every page is blocked outside the slots)",
         &cmdSlots, &slotsElevation},
    };
    return commands;
}

}  // namespace ombrix::app

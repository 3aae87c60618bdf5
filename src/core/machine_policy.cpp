#include "core/machine_policy.h"

#include <utility>

#include "core/clock_time.h"
#include "core/password.h"
#include "core/policy_names.h"
#include "platform/failures.h"
#include "platform/text.h"

namespace ombrix::core::policy {
namespace {

// The one place the key is read.
std::optional<std::string> keyValue(platform::Registry& registry, std::string_view name) {
    return registry.readValue(platform::RegRoot::LocalMachine, kPolicyKey, name);
}

class Reader {
public:
    Reader(platform::Registry& registry, Database& store, MachinePolicy& out)
        : registry_(registry), store_(store), out_(out) {}

    std::optional<std::string> text(std::string_view name) { return keyValue(registry_, name); }

    void refuse(std::string_view name, const std::string& value, std::string reason) {
        // Whatever stands for a password stays out of the trace, which every user may read.
        const std::string shown = name == kAdminPasswordHash ? std::string("...") : printable(value);
        platform::recordFailure("a policy value was refused", std::string(name) + "=" + shown + ": " + reason);
        out_.refusals.push_back({name, value, std::move(reason)});
    }

    // Group Policy writes a switch as the double word 0 or 1.
    std::optional<bool> onOff(std::string_view name) {
        const auto value = text(name);
        if (!value) return std::nullopt;
        if (*value == "0" || *value == "1") return *value == "1";
        refuse(name, *value, "a switch is 0 or 1");
        return std::nullopt;
    }

    // An empty name is no profile. One the store does not hold, or holds
    // twice, or a store that cannot answer, is unusable.
    std::optional<long long> profile(std::string_view name, bool emptyIsNone) {
        const auto value = text(name);
        if (!value) return std::nullopt;
        if (value->empty() && emptyIsNone) return 0;
        Statement q = store_.prepare("SELECT IDProfilo FROM Profili WHERE Profilo" OMBRIX_TEXT_EQUALS
                                     " ORDER BY rowid LIMIT 2;");
        std::vector<long long> found;
        if (q.valid() && q.bind(1, Value(*value))) {
            while (q.step()) found.push_back(q.column(0).toInteger());
        }
        if (!q.valid() || q.failed()) {
            refuse(name, *value, "the profiles could not be read: " + (q.valid() ? q.error() : store_.lastError()));
        } else if (found.empty()) {
            refuse(name, *value, "no profile has this name");
        } else if (found.size() > 1) {
            refuse(name, *value, "two profiles have this name");
        } else {
            return found.front();
        }
        return kUnusableProfile;
    }

    // Empty: the slot is not used (as an empty box in the slots' editor).
    std::optional<int> time(std::string_view name) {
        const auto value = text(name);
        if (!value) return std::nullopt;
        if (value->empty()) return 0;
        if (const auto seconds = clockTimeOfDay(*value)) return seconds;
        refuse(name, *value, "a time is HH:MM or HH:MM:SS on a 24-hour clock");
        return std::nullopt;
    }

private:
    platform::Registry& registry_;
    Database& store_;
    MachinePolicy& out_;
};

// Why a hash cannot stand for the password; empty when it can.
std::string_view hashProblem(std::string_view hash) {
    if (!isPasswordHash(hash)) return "not a password hash (pbkdf2-sha256$...): make one with ombrixctl password hash";
    if (passwordNeedsRehash(hash)) return "made with less work than today's: make one with ombrixctl password hash";
    return {};
}

}  // namespace

MachinePolicy readMachinePolicy(platform::Registry& registry, Database& store) {
    MachinePolicy p;
    Reader r(registry, store, p);
    if (const auto hash = r.text(kAdminPasswordHash)) {
        p.passwordManaged = true;
        if (const std::string_view problem = hashProblem(*hash); !problem.empty()) {
            r.refuse(kAdminPasswordHash, *hash, std::string(problem));
        } else {
            p.passwordHash = *hash;
        }
    }
    if (const auto id = r.profile(kProfileInUse, false)) {
        p.profileInUseUnusable = *id == kUnusableProfile;
        if (!p.profileInUseUnusable) p.profileInUse = id;
    }
    p.timeSlots = r.onOff(kTimeSlots);
    const auto& slotNames = kSlotValueNames;
    for (std::size_t i = 0; i < slotNames.size(); ++i) {
        p.slots[i] = {r.time(slotNames[i][0]), r.time(slotNames[i][1]), r.profile(slotNames[i][2], true)};
    }
    // The slots' editor's rules, on each slot whose two times the policy
    // sets: a used slot starts before it ends, follows a used slot, and
    // starts no earlier than that one ends. A slot that breaks them is
    // refused whole: the store's times stay for it, and the hours they
    // cover block every page, as an unusable profile's do.
    std::optional<int> previousEnd;  // of the slot before, when the policy sets it usable; 0 when unused
    for (std::size_t i = 0; i < slotNames.size(); ++i) {
        Slot& slot = p.slots[i];
        const bool known = previousEnd.has_value();
        const std::optional<int> before = std::exchange(previousEnd, std::nullopt);
        if (!slot.from || !slot.to) continue;
        const std::string from = r.text(slotNames[i][0]).value_or("");
        const std::string to = r.text(slotNames[i][1]).value_or("");
        if (from.empty() && to.empty()) {
            previousEnd = 0;
            continue;
        }
        std::string reason;
        if (*slot.from >= *slot.to) {
            reason = "a slot starts before it ends";
        } else if (known && *before == 0) {
            reason = "a slot follows a slot that is used";
        } else if (known && *slot.from < *before) {
            reason = "a slot starts no earlier than the slot before it ends";
        } else {
            previousEnd = slot.to;
            continue;
        }
        r.refuse(slotNames[i][0], from + "-" + to, std::move(reason));
        slot = {std::nullopt, std::nullopt, kUnusableProfile};
    }
    p.fallbackProfile = r.profile(kFallbackProfile, true);
    p.autostart = r.onOff(kAutostart);
    p.onScreenKeyboard = r.onOff(kOnScreenKeyboard);
    p.visitedSitesLog = r.onOff(kVisitedSitesLog);
    p.managedProfiles = readManagedSource(registry);
    const std::string& pin = p.managedProfiles.pinnedSha256;
    if (!trimBlanks(pin).empty() && !sha256Pin(pin)) {
        r.refuse(kManagedProfilesSha256, pin, "a SHA-256 is 64 hexadecimal digits");
    }
    return p;
}

ManagedSource readManagedSource(platform::Registry& registry) {
    return {keyValue(registry, kManagedProfilesPath).value_or(""), keyValue(registry, kManagedProfilesSha256).value_or("")};
}

bool passwordManaged(platform::Registry& registry) { return keyValue(registry, kAdminPasswordHash).has_value(); }

std::optional<std::string> passwordHashInForce(platform::Registry& registry) {
    auto hash = keyValue(registry, kAdminPasswordHash);
    if (hash && !hashProblem(*hash).empty()) return std::nullopt;
    return hash;
}

std::optional<std::string> sha256Pin(std::string_view text) {
    std::string lowered = lowerText(trimBlanks(text));
    if (lowered.size() != 64 || lowered.find_first_not_of("0123456789abcdef") != std::string::npos) {
        return std::nullopt;
    }
    return lowered;
}

}  // namespace ombrix::core::policy

#pragma once
// What the machine's policy key sets, read and checked once per change of
// the key. A setting the policy leaves alone (its value missing) is the
// store's; one the policy sets wins over the store. A value the program
// cannot use is kept as a refusal, with its reason, and never lifts a
// restriction: per setting, either the store's value stays or the setting
// blocks (see docs/design.md, "The policy key").

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/database.h"
#include "platform/registry.h"

namespace ombrix::core::policy {

// A profile the policy named but the store does not hold: put in use, it
// blocks every page (no profile has this identifier).
inline constexpr long long kUnusableProfile = -1;

struct Refusal {
    std::string_view value;  // the value's name under the key
    std::string text;        // what the key holds
    std::string reason;

    bool operator==(const Refusal&) const = default;
};

struct Slot {
    std::optional<int> from;  // seconds since midnight
    std::optional<int> to;
    std::optional<long long> profile;  // 0: none (the fallback's hours)

    bool operator==(const Slot&) const = default;
};

// The managed profiles' two values as written: the path of a file or a
// folder ("" for none) and the pinned SHA-256 ("" for none).
struct ManagedSource {
    std::string path;
    std::string pinnedSha256;
    bool operator==(const ManagedSource&) const = default;
};

struct MachinePolicy {
    std::optional<std::string> passwordHash;  // usable: a hash of ours, at today's work
    // Set, even when unusable: the password cannot be changed on the PC.
    bool passwordManaged = false;
    std::optional<long long> profileInUse;
    // The policy named a profile the store does not hold: the store's
    // profile stays in use and every page is blocked.
    bool profileInUseUnusable = false;
    std::optional<bool> timeSlots;
    std::array<Slot, 3> slots;
    std::optional<long long> fallbackProfile;
    std::optional<bool> autostart;
    std::optional<bool> onScreenKeyboard;
    std::optional<bool> visitedSitesLog;
    // Shown only: the managed profiles read them with readManagedSource.
    ManagedSource managedProfiles;
    std::vector<Refusal> refusals;

    bool operator==(const MachinePolicy&) const = default;
};

// Reads the key under the local machine's root; profile names are looked up
// in `store` (letter case ignored, as the store compares names). Every
// refusal is also traced.
[[nodiscard]] MachinePolicy readMachinePolicy(platform::Registry& registry, Database& store);

// The managed profiles' values, as readMachinePolicy reads them; no store needed.
[[nodiscard]] ManagedSource readManagedSource(platform::Registry& registry);

// Whether the key sets the administrator password, usable or not, and the
// hash when it is usable: reading them needs no store.
[[nodiscard]] bool passwordManaged(platform::Registry& registry);

// A pin of the managed file as the policy writes it: 64 hexadecimal digits,
// either case, blanks around allowed; lowered. nullopt for anything else.
[[nodiscard]] std::optional<std::string> sha256Pin(std::string_view text);
[[nodiscard]] std::optional<std::string> passwordHashInForce(platform::Registry& registry);

// The setting as it is in force, and whether the policy gave it.
template <typename T>
struct Effective {
    T value;
    bool fromPolicy;
};

template <typename T>
[[nodiscard]] Effective<T> effective(const std::optional<T>& policy, T store) {
    return policy ? Effective<T>{*policy, true} : Effective<T>{std::move(store), false};
}

}  // namespace ombrix::core::policy

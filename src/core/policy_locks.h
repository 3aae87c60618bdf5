#pragma once
// The settings an administrator could change on the PC that the policy key
// decides instead. The forms show their controls disabled and ombrixctl
// refuses to change them (msg::SetByPolicy, with the value's name), so that
// nobody writes a store value that would not be in force.
//
// Read from the key alone: a switch locks while it is usable (one that is
// not leaves the store's switch in force); a profile name, usable or not,
// locks (an unusable one blocks); a slot locks when the key holds any of
// its three values.

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "platform/registry.h"

namespace ombrix {
class Language;
}

namespace ombrix::core::policy {

// Each is the name of the value in force, empty when the store's setting is.
struct Locks {
    std::string_view profileInUse;
    std::string_view autostart;
    std::string_view onScreenKeyboard;
    std::string_view timeSlots;
    std::array<std::string_view, 3> slots;
    std::string_view fallbackProfile;
};

[[nodiscard]] Locks readLocks(platform::Registry& registry);

// msg::SetByPolicy followed by the names; empty for none.
[[nodiscard]] std::string lockedText(const Language& language, const std::vector<std::string_view>& names);

}  // namespace ombrix::core::policy

#include "core/policy_locks.h"

#include "core/policy_names.h"
#include "support/language.h"
#include "support/messages.h"

namespace ombrix::core::policy {
namespace {

class Key {
public:
    explicit Key(platform::Registry& registry) : registry_(registry) {}

    std::string_view present(std::string_view name) const {
        return registry_.readValue(platform::RegRoot::LocalMachine, kPolicyKey, name) ? name : std::string_view();
    }
    std::string_view usableSwitch(std::string_view name) const {
        const auto value = registry_.readValue(platform::RegRoot::LocalMachine, kPolicyKey, name);
        return value && (*value == "0" || *value == "1") ? name : std::string_view();
    }

private:
    platform::Registry& registry_;
};

}  // namespace

Locks readLocks(platform::Registry& registry) {
    const Key key(registry);
    Locks locks;
    locks.profileInUse = key.present(kProfileInUse);
    locks.autostart = key.usableSwitch(kAutostart);
    locks.onScreenKeyboard = key.usableSwitch(kOnScreenKeyboard);
    locks.timeSlots = key.usableSwitch(kTimeSlots);
    for (std::size_t i = 0; i < kSlotValueNames.size(); ++i) {
        for (const std::string_view name : kSlotValueNames[i]) {
            if (locks.slots[i].empty()) locks.slots[i] = key.present(name);
        }
    }
    locks.fallbackProfile = key.present(kFallbackProfile);
    return locks;
}

std::string lockedText(const Language& language, const std::vector<std::string_view>& names) {
    if (names.empty()) return {};
    std::string text = language.messageText(msg::SetByPolicy);
    for (std::size_t i = 0; i < names.size(); ++i) text += (i == 0 ? " " : ", ") + std::string(names[i]);
    return text;
}

}  // namespace ombrix::core::policy

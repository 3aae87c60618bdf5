#pragma once
// The internal browser's two switches, no pop-ups and no printing: columns
// of the options row, where only an administrator writes. Read each time
// they are needed: the options form may change them while a browser window
// is open.

#include <string_view>

#include "core/database.h"
#include "core/schema.h"
#include "platform/registry.h"

namespace ombrix::core {

inline constexpr std::string_view kNoPopup = "NoPopup";
inline constexpr std::string_view kNoPrint = "NoStampa";

// On when the store says so, and when it cannot be read: a switch that
// cannot be read never lifts a restriction. Null (never set) is off.
[[nodiscard]] bool browserSwitchOn(Database& store, std::string_view column);
// False when the store would not keep it.
[[nodiscard]] bool setBrowserSwitch(Database& store, std::string_view column, bool on);

// For the upgrade that adds the two columns: what the user's own settings
// held before ("True" is on, any other text off; nothing where there was
// none). Read then and never again: a user can write their own settings.
[[nodiscard]] CarriedValue browserSwitchesFromUserSettings(platform::Registry& registry);

}  // namespace ombrix::core

#pragma once
// The program's registry settings. A value is written under the local
// machine's "SOFTWARE\<application>\<section>" and mirrored in the per-user
// program-settings store, from which it is read back when the machine-wide
// value is missing.

#include <string>
#include <string_view>

#include "platform/registry.h"

namespace ombrix::core {

// The title under which the program keeps its settings.
inline constexpr std::string_view kProgramTitle = "Ombrix";

// Where the per-user program-settings store keeps (application, section).
[[nodiscard]] std::string programSettingsKey(std::string_view application, std::string_view section);
// "SOFTWARE\<application>\<section>", or just the section when the
// application name is empty.
[[nodiscard]] std::string settingsKey(std::string_view application, std::string_view section);

// With an application name, the value goes to the per-user store first; then
// it is written as text under the local machine. False when the machine-wide
// write failed.
bool SaveSettingReg(platform::Registry& registry, std::string_view application, std::string_view section,
                    std::string_view key, std::string_view value);

// The local machine's value when it is not empty (also copied to the
// per-user store); otherwise the per-user store's value; "" when neither.
[[nodiscard]] std::string GetSettingReg(platform::Registry& registry, std::string_view application,
                                        std::string_view section, std::string_view key);

// The same path under the current user's root.
[[nodiscard]] std::string GetSettingRegCurrentUser(platform::Registry& registry, std::string_view application,
                                                   std::string_view section, std::string_view key);

// The same path under the root named by `root` (1: local machine, anything
// else: current user); double-word values come back in decimal.
[[nodiscard]] std::string GetSettingRegRoot(platform::Registry& registry, int root, std::string_view application,
                                            std::string_view section, std::string_view key);

}  // namespace ombrix::core

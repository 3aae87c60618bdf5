#pragma once
// A time of day as people write it on a 24-hour clock.

#include <optional>
#include <string_view>

namespace ombrix::core {

// "HH:MM" or "HH:MM:SS", two digits each, as seconds since midnight;
// nullopt for anything else (no blanks, no date, no "24:00").
[[nodiscard]] std::optional<int> clockTimeOfDay(std::string_view text);

}  // namespace ombrix::core

#pragma once
// The internal browser's two switches, kept per user outside the store, in
// the program's settings under "Settings" as the texts "True" and "False".
// Read each time they are needed: the options form may change them while a
// browser window is open.

#include <string_view>

#include "platform/registry.h"

namespace ombrix::browser {

inline constexpr std::string_view kNoPopup = "NoPopup";
inline constexpr std::string_view kNoPrint = "NoStampa";

class BrowserSettings {
public:
    explicit BrowserSettings(platform::Registry& registry) : registry_(registry) {}

    // A missing key, or any text but "True", is off.
    [[nodiscard]] bool on(std::string_view key) const;
    // False when the value could not be written.
    bool set(std::string_view key, bool on);

private:
    platform::Registry& registry_;
};

}  // namespace ombrix::browser

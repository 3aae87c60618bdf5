#pragma once
// What the application bar shown while the desktop is locked offers: its
// browser button opens the internal browser or the external one at the
// profile's home page, and its label names which.

#include <string>
#include <string_view>

#include "support/messages.h"

namespace ombrix::browser {

enum class BrowserButton { ExternalAtHomePage, Internal };

struct BarChoices {
    MessageId label;        // the message naming the browser the button opens
    BrowserButton browser;  // what the button opens
};

[[nodiscard]] constexpr BarChoices barChoices(bool internalBrowser) {
    return internalBrowser ? BarChoices{msg::BarInternalBrowser, BrowserButton::Internal}
                           : BarChoices{msg::BarDefaultBrowser, BrowserButton::ExternalAtHomePage};
}

// The profile's own start page when it is set, otherwise the default one.
[[nodiscard]] std::string homePage(std::string_view profilePage, std::string_view defaultPage);

}  // namespace ombrix::browser

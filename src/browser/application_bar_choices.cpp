#include "browser/application_bar_choices.h"

#include "platform/text.h"

namespace ombrix::browser {

std::string homePage(std::string_view profilePage, std::string_view defaultPage) {
    return std::string(trimBlanks(profilePage).empty() ? defaultPage : profilePage);
}

}  // namespace ombrix::browser

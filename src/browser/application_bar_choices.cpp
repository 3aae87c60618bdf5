#include "browser/application_bar.h"

#include "platform/text.h"

namespace ombrix::browser {

std::string homePage(std::string_view profilePage, std::string_view defaultPage) {
    return std::string(trimBlanks(profilePage).empty() ? defaultPage : profilePage);
}

}  // namespace ombrix::browser

#include "browser/browser_settings.h"

#include "core/settings_reg.h"

namespace ombrix::browser {
namespace {

std::string settingsPath() { return core::programSettingsKey(core::kProgramTitle, "Settings"); }

}  // namespace

bool BrowserSettings::on(std::string_view key) const {
    return registry_.readValue(platform::RegRoot::CurrentUser, settingsPath(), key) == "True";
}

bool BrowserSettings::set(std::string_view key, bool on) {
    return registry_.writeString(platform::RegRoot::CurrentUser, settingsPath(), key, on ? "True" : "False");
}

}  // namespace ombrix::browser

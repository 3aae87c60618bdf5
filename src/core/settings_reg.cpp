#include "core/settings_reg.h"

namespace ombrix::core {

using platform::RegRoot;

std::string programSettingsKey(std::string_view application, std::string_view section) {
    return "Software\\Ombrix\\Program Settings\\" + std::string(application) + "\\" + std::string(section);
}

std::string settingsKey(std::string_view application, std::string_view section) {
    if (application.empty()) return std::string(section);
    return "SOFTWARE\\" + std::string(application) + "\\" + std::string(section);
}

bool SaveSettingReg(platform::Registry& registry, std::string_view application, std::string_view section,
                    std::string_view key, std::string_view value) {
    if (!application.empty()) {
        registry.writeString(RegRoot::CurrentUser, programSettingsKey(application, section), key, value);
    }
    return registry.writeString(RegRoot::LocalMachine, settingsKey(application, section), key, value);
}

std::string GetSettingReg(platform::Registry& registry, std::string_view application, std::string_view section,
                          std::string_view key) {
    const std::string machine =
        registry.readValue(RegRoot::LocalMachine, settingsKey(application, section), key).value_or("");
    if (!machine.empty()) {
        if (!application.empty()) {
            registry.writeString(RegRoot::CurrentUser, programSettingsKey(application, section), key, machine);
        }
        return machine;
    }
    if (application.empty()) return {};
    return registry.readValue(RegRoot::CurrentUser, programSettingsKey(application, section), key).value_or("");
}

std::string GetSettingRegCurrentUser(platform::Registry& registry, std::string_view application,
                                     std::string_view section, std::string_view key) {
    return registry.readValue(RegRoot::CurrentUser, settingsKey(application, section), key).value_or("");
}

std::string GetSettingRegRoot(platform::Registry& registry, int root, std::string_view application,
                              std::string_view section, std::string_view key) {
    const RegRoot r = root == 1 ? RegRoot::LocalMachine : RegRoot::CurrentUser;
    return registry.readValue(r, settingsKey(application, section), key).value_or("");
}

}  // namespace ombrix::core

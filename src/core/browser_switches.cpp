#include "core/browser_switches.h"

#include "core/settings_reg.h"
#include "core/store.h"

namespace ombrix::core {

bool browserSwitchOn(Database& store, std::string_view column) {
    const Value stored = ReadField(store, "Opzioni", column, kOptionsRow);
    if (stored.isEmpty()) return true;
    return valueOrDefault(stored, Value::boolean(false)).toBool();
}

bool setBrowserSwitch(Database& store, std::string_view column, bool on) {
    return UpdateField(store, "Opzioni", column, Value::boolean(on), kOptionsRow);
}

CarriedValue browserSwitchesFromUserSettings(platform::Registry& registry) {
    return [&registry](std::string_view table, std::string_view column) -> std::optional<Value> {
        if (table != "Opzioni" || (column != kNoPopup && column != kNoPrint)) return std::nullopt;
        const auto kept = registry.readValue(platform::RegRoot::CurrentUser,
                                             programSettingsKey(kProgramTitle, "Settings"), column);
        if (!kept) return std::nullopt;
        return Value::boolean(*kept == "True");
    };
}

}  // namespace ombrix::core

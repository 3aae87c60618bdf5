// ombrixctl option and autostart: the main form's two boxes and the
// internal browser's switches, for an administrator's script and for the
// running program, which saves them here through the consent prompt when it
// has no administrator rights.
#include <array>
#include <ostream>

#include "app/ctl_session.h"
#include "core/browser_switches.h"
#include "core/controller.h"
#include "core/guard_service.h"
#include "core/policy_locks.h"
#include "core/settings_reg.h"
#include "core/store.h"
#include "platform/text.h"
#include "support/messages.h"

namespace ombrix::app {
namespace {

struct Option {
    std::string_view name;
    std::string_view column;  // of Opzioni
    // The policy's value that decides it instead, when one may.
    std::string_view core::policy::Locks::*lock;
};
constexpr std::array<Option, 3> kOptions{{
    {"keyboard", "TastieraVirtuale", &core::policy::Locks::onScreenKeyboard},
    {"nopopup", core::kNoPopup, nullptr},
    {"noprint", core::kNoPrint, nullptr},
}};

// A change the policy's value would override is refused: the store stays.
int refuseLocked(Session& s, std::string_view core::policy::Locks::*lock) {
    if (lock == nullptr) return kOk;
    const std::string_view name = core::policy::readLocks(s.env().registry).*lock;
    return name.empty() ? kOk : s.refuse(msg::SetByPolicy, std::string(name));
}

// "on" or "off"; nullopt for anything else.
std::optional<bool> switchWord(std::string_view word) {
    if (word == "on") return true;
    if (word == "off") return false;
    return std::nullopt;
}

int showOption(Session& s, const Option& o) {
    const core::Value stored = core::ReadField(s.db(), "Opzioni", o.column, core::kOptionsRow);
    if (stored.isEmpty()) {
        return s.refuse(msg::StoreUnreadable, "Opzioni." + std::string(o.column) + ": " + s.db().lastError());
    }
    s.out() << o.name << (core::valueOrDefault(stored, core::Value::boolean(false)).toBool() ? " on" : " off") << "\n";
    return kOk;
}

int cmdOption(Session& s, const std::vector<std::string>& args) {
    if (args.size() > 2) return s.usage("option takes a NAME and on or off");
    const Option* chosen = nullptr;
    for (const Option& o : kOptions) {
        if (!args.empty() && args[0] == o.name) chosen = &o;
    }
    if (!args.empty() && !chosen) return s.usage("unknown option " + args[0]);
    const std::optional<bool> on = args.size() == 2 ? switchWord(args[1]) : std::nullopt;
    if (args.size() == 2 && !on) return s.usage("option " + args[0] + " takes on or off");
    if (!s.open()) return kRefused;
    if (!on) {
        for (const Option& o : kOptions) {
            if (chosen && chosen != &o) continue;
            if (const int status = showOption(s, o); status != kOk) return status;
        }
        return kOk;
    }
    if (const int status = refuseLocked(s, chosen->lock); status != kOk) return status;
    if (!core::UpdateField(s.db(), "Opzioni", chosen->column, core::Value::boolean(*on), core::kOptionsRow)) {
        return s.refuse(msg::StoreWriteFailed, s.db().lastError());
    }
    return kOk;
}

int cmdAutostart(Session& s, const std::vector<std::string>& args) {
    if (args.size() > 1) return s.usage("autostart takes on or off");
    const std::optional<bool> on = args.empty() ? std::nullopt : switchWord(args[0]);
    if (!args.empty() && !on) return s.usage("autostart takes on or off");
    platform::Registry& registry = s.env().registry;
    // The program beside this one.
    const std::string program =
        core::joinPath(s.env().system.programFolder(), std::string(core::kProgramExeName) + ".exe",
                       platform::pathSeparator());
    const std::string where = std::string("HKLM\\") + core::kRunKey + "\\" + std::string(core::kProgramTitle);
    if (core::guardServiceInstalled(registry)) {
        if (on) return s.refuse(msg::AutostartByGuardService);
        s.out() << "autostart service\n";
        return kOk;
    }
    if (!on) {
        const auto entry = registry.readValue(platform::RegRoot::LocalMachine, core::kRunKey, core::kProgramTitle);
        s.out() << "autostart " << (entry && equalsNoCase(*entry, program) ? "on" : "off") << "\n";
        return kOk;
    }
    if (const int status = refuseLocked(s, &core::policy::Locks::autostart); status != kOk) return status;
    if (*on) {
        if (!s.env().files.fileExists(program)) {
            s.err() << "ombrixctl: " << printable(program) << " was not found; nothing was written\n";
            return kRefused;
        }
        if (!registry.writeString(platform::RegRoot::LocalMachine, core::kRunKey, core::kProgramTitle, program)) {
            s.err() << "ombrixctl: cannot write " << where << "\n";
            return kRefused;
        }
        return kOk;
    }
    (void)registry.deleteValue(platform::RegRoot::LocalMachine, core::kRunKey, core::kProgramTitle);
    if (registry.readValue(platform::RegRoot::LocalMachine, core::kRunKey, core::kProgramTitle)) {
        s.err() << "ombrixctl: cannot remove " << where << "\n";
        return kRefused;
    }
    return kOk;
}

// Shown, they only read; set, they write.
Elevation writesWithValue(const std::vector<std::string>& args) {
    return args.size() >= 2 ? Elevation::Relay : Elevation::None;
}
Elevation writesWithWord(const std::vector<std::string>& args) {
    return args.empty() ? Elevation::None : Elevation::Relay;
}

}  // namespace

const std::vector<CtlCommand>& optionCommands() {
    static const std::vector<CtlCommand> commands = {
        {"option",
         "option [keyboard|nopopup|noprint [on|off]]\n"
         "                show or set an option: the on-screen keyboard, and the internal browser's\n"
         "                \"no pop-up windows\" and \"no printing\"",
         &cmdOption, &writesWithValue},
        {"autostart",
         "autostart [on|off]\n"
         "                show or set the start of Ombrix with Windows (the machine's Run entry for\n"
         "                ombrix.exe in this program's folder); \"service\" where the guard service\n"
         "                starts Ombrix instead",
         &cmdAutostart, &writesWithWord},
    };
    return commands;
}

}  // namespace ombrix::app

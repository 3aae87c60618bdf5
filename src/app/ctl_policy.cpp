// ombrixctl policy show: every setting the policy key may set, as it is in
// force on this PC, and whether the policy or the store gave it. A value of
// the key that cannot be used is listed on standard error with its reason,
// and the exit status says so, so a script run after a Group Policy change
// learns of it.
#include <ostream>

#include "app/ctl_session.h"
#include "core/controller.h"
#include "core/guard_service.h"
#include "core/machine_policy.h"
#include "core/policy_names.h"
#include "core/settings_reg.h"
#include "core/store.h"
#include "platform/text.h"
#include "schedule/daily_slots.h"
#include "support/messages.h"

namespace ombrix::app {
namespace {

using core::policy::effective;

class Lister {
public:
    explicit Lister(Session& s) : s_(s) {}

    template <typename T, typename Show>
    void row(std::string_view name, const core::policy::Effective<T>& setting, Show show) {
        s_.out() << name << "\t" << (setting.fromPolicy ? "policy" : "store") << "\t" << show(setting.value) << "\n";
    }

    void onOff(std::string_view name, const std::optional<bool>& policy, const char* column) {
        const bool stored =
            core::valueOrDefault(core::ReadField(s_.db(), "Opzioni", column, core::kOptionsRow), core::Value::boolean(false))
                .toBool();
        row(name, effective(policy, stored), onOffText);
    }

    void profile(std::string_view name, const std::optional<long long>& policy, long long stored) {
        row(name, effective(policy, stored), [this](long long id) { return profileText(id); });
    }

    void time(std::string_view name, const std::optional<int>& policy, int stored) {
        row(name, effective(policy, stored), schedule::storedTimeText);
    }

    static std::string onOffText(bool on) { return on ? "on" : "off"; }

private:
    std::string profileText(long long id) {
        if (id == core::policy::kUnusableProfile) return "(none: every page is blocked)";
        if (id == 0) return "(none)";
        const core::Value name = core::ReadField(s_.db(), "Profili", "Profilo",
                                                 core::Condition{"IDProfilo = ?", {core::Value(static_cast<std::int64_t>(id))}});
        return (name.isText() ? printable(name.toText()) + " " : std::string()) + "#" + std::to_string(id);
    }

    Session& s_;
};

int policyShow(Session& s) {
    if (!s.open(core::Database::Mode::ReadOnly)) return kRefused;
    schedule::DailySlots slots;
    if (!slots.load(s.db())) return s.refuse(msg::StoreUnreadable, "Fasce: " + s.db().lastError());
    const core::policy::MachinePolicy p = core::policy::readMachinePolicy(s.env().registry, s.db());
    namespace names = core::policy;
    Lister list(s);
    const bool storePassword =
        !core::valueOrDefault(core::ReadField(s.db(), "Opzioni", "PasswordAdmin", core::kOptionsRow)).toText().empty();
    // The hash itself is shown nowhere: it stands for the password.
    list.row(names::kAdminPasswordHash, core::policy::Effective<bool>{p.passwordHash.has_value() || storePassword,
                                                                      p.passwordHash.has_value()},
             [](bool set) { return std::string(set ? "set" : "not set"); });
    const long long storeProfile =
        core::valueOrDefault(core::ReadField(s.db(), "Opzioni", "IDProfiloInUso", core::kOptionsRow), core::Value(0))
            .toInteger();
    list.profile(names::kProfileInUse,
                 p.profileInUseUnusable ? std::optional<long long>(core::policy::kUnusableProfile) : p.profileInUse,
                 storeProfile);
    list.onOff(names::kTimeSlots, p.timeSlots, "FasceOrarie");
    const auto& slotNames = names::kSlotValueNames;
    for (std::size_t i = 0; i < slotNames.size(); ++i) {
        const schedule::DailySlots::Slot& stored = slots.slots()[i];
        list.time(slotNames[i][0], p.slots[i].from, stored.from);
        list.time(slotNames[i][1], p.slots[i].to, stored.to);
        list.profile(slotNames[i][2], p.slots[i].profile, stored.profile);
    }
    list.profile(names::kFallbackProfile, p.fallbackProfile, slots.fallbackProfile());
    if (core::guardServiceInstalled(s.env().registry)) {
        // The guard service starts the program in every session, whatever the policy says.
        s.out() << names::kAutostart << "\tservice\ton\n";
    } else {
        // The machine's Run entry for the program beside this one, as "autostart" shows it.
        const std::string program = core::joinPath(
            s.env().system.programFolder(), std::string(core::kProgramExeName) + ".exe", platform::pathSeparator());
        const auto entry =
            s.env().registry.readValue(platform::RegRoot::LocalMachine, core::kRunKey, core::kProgramTitle);
        list.row(names::kAutostart, effective(p.autostart, entry && equalsNoCase(*entry, program)), Lister::onOffText);
    }
    list.onOff(names::kOnScreenKeyboard, p.onScreenKeyboard, "TastieraVirtuale");
    list.onOff(names::kVisitedSitesLog, p.visitedSitesLog, "LogSiti");
    // Only the policy gives managed profiles.
    for (const auto& [name, value] : {std::pair{names::kManagedProfilesPath, p.managedProfiles.path},
                                      std::pair{names::kManagedProfilesSha256, p.managedProfiles.pinnedSha256}}) {
        list.row(name, core::policy::Effective<std::string>{value, !value.empty()},
                 [](const std::string& text) { return text.empty() ? std::string("(none)") : printable(text); });
    }
    for (const core::policy::Refusal& refused : p.refusals) {
        const std::string shown = refused.value == names::kAdminPasswordHash ? "..." : printable(refused.text);
        s.err() << "ombrixctl: the policy's " << refused.value << " (\"" << shown << "\") is not used: " << refused.reason
                << "\n";
    }
    return p.refusals.empty() ? kOk : kRefused;
}

int cmdPolicy(Session& s, const std::vector<std::string>& args) {
    if (args.size() != 1 || args[0] != "show") return s.usage("policy takes show");
    return policyShow(s);
}

}  // namespace

const std::vector<CtlCommand>& policyCommands() {
    static const std::vector<CtlCommand> commands = {
        {"policy",
         "policy show     every setting the machine's policy key (HKLM\\SOFTWARE\\Policies\\Ombrix) may set, as\n"
         "                it is in force, with its source (policy or store); a value of the key that cannot\n"
         "                be used is listed on standard error with its reason, and the exit status is 1",
         &cmdPolicy, &readsOnly},
    };
    return commands;
}

}  // namespace ombrix::app

// ombrixctl restore: the machine settings the program changed, given back
// from the journal beside the store without starting the program (after a
// crash, for a support person).
#include <ostream>

#include "app/ctl_session.h"
#include "machine/machine_profile.h"
#include "platform/durable.h"
#include "platform/files.h"

namespace ombrix::app {
namespace {

// The machine has no printers here: a printer in the journal stays in it.
class NoPrinters final : public platform::Printers {
public:
    std::string profileString(std::string_view, std::string_view) override { return {}; }
    bool writeDefaultDevice(std::string_view) override { return false; }
    bool rewriteSettings(std::string_view) override { return false; }
    std::vector<std::string> installed() override { return {}; }
};

// Nobody is there to pick a folder: the one the program uses, or none.
class NoDialogs final : public platform::Dialogs {
public:
    platform::MessageAnswer messageBox(const platform::MessageBoxRequest&) override {
        return platform::MessageAnswer::No;
    }
    std::optional<std::string> browseForFolder(const std::string&) override { return std::nullopt; }
};

int cmdRestore(Session& s, const std::vector<std::string>& args) {
    if (!args.empty()) return s.usage("restore takes no arguments");
    NoDialogs dialogs;
    core::StoreEnvironment env{s.env().registry, s.env().files, s.env().system, dialogs, s.language()};
    std::string folder =
        s.dbFile() ? pathToUtf8(pathFromUtf8(*s.dbFile()).parent_path()) : core::chooseDatabaseFolder(env);
    if (folder.empty()) folder = ".";
    core::MachineJournal journal(platform::systemDurableWriter(), s.env().files);
    journal.setPath(core::journalLocation(env, folder));
    NoPrinters none;
    // A shell left locked by a forced end is freed by the same lock that
    // locked it; where there is no shell, there is nothing to free.
    core::UnlockedDesktop noShell;
    const core::Recovery recovery = core::giveBackJournal(
        journal, {s.env().registry, s.env().printers ? *s.env().printers : none,
                  s.env().desktop ? *s.env().desktop : noShell});
    if (recovery.state == core::MachineJournal::State::Damaged) {
        s.err() << "ombrixctl: the journal " << journal.path()
                << " is damaged and was not applied; it is kept as " << journal.path() << ".damaged\n";
        return kRefused;
    }
    if (recovery.settings.empty()) {
        s.out() << "nothing to restore\n";
        return kOk;
    }
    int status = kOk;
    for (const auto& given : recovery.settings) {
        if (given.done) {
            s.out() << "restored " << given.setting.describe(given.leftInPlace) << "\n";
        } else {
            s.err() << "ombrixctl: not restored, kept in the journal: " << given.setting.describe() << "\n";
            status = kRefused;
        }
    }
    return status;
}

}  // namespace

const std::vector<CtlCommand>& restoreCommands() {
    static const std::vector<CtlCommand> commands = {
        {"restore", "restore       give the machine back the settings the program changed (after a crash)",
         &cmdRestore, &readsOnly},
    };
    return commands;
}

}  // namespace ombrix::app

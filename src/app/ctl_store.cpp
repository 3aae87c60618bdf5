// ombrixctl commands on the store itself: init, upgrade, profiles, protect.
#include <ostream>

#include "app/ctl_session.h"
#include "core/browser_switches.h"
#include "core/schema.h"
#include "core/store_access.h"
#include "support/messages.h"

namespace ombrix::app {
namespace {

int cmdInit(Session& s, const std::vector<std::string>& args) {
    if (args.size() != 1 || args[0].empty()) return s.usage("init takes one FILE");
    if (s.env().files.fileExists(args[0])) {
        s.err() << "ombrixctl: " << args[0] << " exists already; it is left as it is\n";
        return kRefused;
    }
    std::string error;
    if (!core::createDeliveredDatabase(args[0], &error)) {
        s.err() << "ombrixctl: cannot write " << args[0] << ": " << error << "\n";
        return kRefused;
    }
    return kOk;
}

int cmdUpgrade(Session& s, const std::vector<std::string>& args) {
    if (!args.empty()) return s.usage("upgrade takes no arguments");
    if (!s.open()) return kRefused;
    const core::UpgradeResult r =
        core::upgradeToCurrentStructure(s.db(), core::browserSwitchesFromUserSettings(s.env().registry));
    using Outcome = core::UpgradeResult::Outcome;
    switch (r.outcome) {
        case Outcome::UpToDate: s.out() << "up to date\n"; return kOk;
        case Outcome::Upgraded: s.out() << "upgraded\n"; return kOk;
        case Outcome::NotOurStore: return s.refuse(msg::NotOurStore, s.db().path() + " (" + r.error + ")");
        case Outcome::Failed: break;
    }
    return s.refuse(msg::StoreUpgradeFailed, r.step + ": " + r.error);
}

int cmdProfiles(Session& s, const std::vector<std::string>& args) {
    if (!args.empty()) return s.usage("profiles takes no arguments");
    if (!s.open()) return kRefused;
    core::Statement q = s.db().prepare("SELECT Profili.IDProfilo, Profili.Profilo FROM Profili ORDER BY rowid;");
    while (q.step()) s.out() << printable(q.column(0).toText()) << "\t" << printable(q.column(1).toText()) << "\n";
    if (!q.valid() || q.failed()) {
        s.err() << "ombrixctl: cannot read the profiles: " << s.db().lastError() << "\n";
        return kRefused;
    }
    return kOk;
}

// The folder of the store: the one --db names, else the program's; nothing
// when there is no store there.
std::optional<std::string> existingStoreFolder(Session& s) {
    if (!s.dbFile()) {
        if (!s.open()) return std::nullopt;
    } else if (!s.env().files.fileExists(*s.dbFile())) {
        s.refuse(msg::StoreNotFound, *s.dbFile());
        return std::nullopt;
    }
    return s.storeFolder();
}

int cmdProtect(Session& s, const std::vector<std::string>& args) {
    if (!args.empty()) return s.usage("protect takes no arguments");
    if (!s.env().folderAccess) {
        s.err() << "ombrixctl: access lists cannot be set on this machine\n";
        return kRefused;
    }
    const std::optional<std::string> folder = existingStoreFolder(s);
    if (!folder) return kRefused;
    const auto failure =
        core::protectStoreFolders(*s.env().folderAccess, s.env().files, *folder, platform::pathSeparator());
    if (!failure) {
        s.out() << "read-only for users\t" << *folder << "\n"
                << "writable for users\t" << core::joinPath(*folder, core::kLogFolderName, platform::pathSeparator())
                << "\n";
        return kOk;
    }
    if (failure->step == core::StoreAccessFailure::Step::MakeLogFolder) {
        return s.refuse(msg::LogFolderNotCreated, failure->folder);
    }
    return s.refuse(msg::FolderAccessNotSet, failure->folder + ": " + failure->error);
}

}  // namespace

const std::vector<CtlCommand>& storeCommands() {
    static const std::vector<CtlCommand> commands = {
        {"init", "init FILE     write the empty database to FILE (never overwrites)", &cmdInit, &readsOnly},
        {"upgrade", "upgrade       bring the database up to the current structure", &cmdUpgrade},
        {"profiles", "profiles      list the profiles: identifier, a tab, the name", &cmdProfiles, &readsOnly},
        {"protect",
         "protect       let only administrators change the database's folder, and users\n"
         "                write its log folder",
         &cmdProtect},
    };
    return commands;
}

}  // namespace ombrix::app

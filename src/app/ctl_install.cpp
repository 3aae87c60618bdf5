// ombrixctl install: what a Windows Installer package cannot do by itself,
// run by the package with administrator rights once the files are in place.
// The store is no part of the package, so neither an upgrade nor an
// uninstall of the package ever touches it.
#include <optional>
#include <ostream>

#include "app/ctl_session.h"
#include "core/browser_switches.h"
#include "core/password.h"
#include "core/schema.h"
#include "core/settings_reg.h"
#include "core/store.h"
#include "core/store_access.h"
#include "support/messages.h"

namespace ombrix::app {
namespace {

// The folder an installer prepares: the one the machine's key names when a
// store is there, else the per-machine folder on the home drive (the system
// drive for an installer running without a profile). Empty when there is no
// drive to name.
std::string machineStoreFolder(Session& s, const std::string& machineKey) {
    const char sep = platform::pathSeparator();
    const auto named = s.env().registry.readValue(platform::RegRoot::LocalMachine, machineKey, core::kStoreKey);
    if (named && !named->empty() && s.env().files.fileExists(core::joinPath(*named, core::kDatabaseFileName, sep))) {
        return *named;
    }
    std::string drive = s.env().system.environment("HOMEDRIVE");
    if (drive.empty()) drive = s.env().system.environment("SYSTEMDRIVE");
    if (drive.empty()) return {};
    return core::joinPath(core::joinPath(drive, core::kProductFolder, sep), core::kDatabaseFolderName, sep);
}

// A new store, already upgraded by construction; or the existing one
// brought to this version's shape, untouched when that is refused.
int makeOrUpgrade(Session& s, const std::string& folder, const std::string& file, bool fresh) {
    if (fresh) {
        const std::string root = folder.substr(0, folder.find_last_of(platform::pathSeparator()));
        std::string error;
        if (!s.env().files.createDirectory(root) || !s.env().files.createDirectory(folder) ||
            !core::createDeliveredDatabase(file, &error)) {
            s.err() << "ombrixctl: cannot write " << file << (error.empty() ? "" : ": " + error) << "\n";
            return kRefused;
        }
    }
    if (!s.open()) return kRefused;
    if (fresh) return kOk;
    const core::UpgradeResult r =
        core::upgradeToCurrentStructure(s.db(), core::browserSwitchesFromUserSettings(s.env().registry));
    using Outcome = core::UpgradeResult::Outcome;
    if (r.outcome == Outcome::NotOurStore) return s.refuse(msg::NotOurStore, s.db().path() + " (" + r.error + ")");
    if (r.outcome == Outcome::Failed) return s.refuse(msg::StoreUpgradeFailed, r.step + ": " + r.error);
    return kOk;
}

int cmdInstall(Session& s, const std::vector<std::string>& args) {
    // An empty hash is none: the package passes its property as it stands.
    if (!args.empty() && (args.size() != 2 || args[0] != "--password-hash")) {
        return s.usage("install takes --password-hash HASH, or nothing");
    }
    const std::string hash = args.empty() ? std::string() : args[1];
    // Checked before anything changes: a typing slip must not leave a PC
    // that no password opens.
    if (!hash.empty() && !core::isPasswordHash(hash)) return s.refuse(msg::PasswordHashInvalid);
    if (!s.env().folderAccess) {
        s.err() << "ombrixctl: access lists cannot be set on this machine\n";
        return kRefused;
    }
    const std::string machineKey = core::settingsKey(core::kProgramTitle, core::kStoreSection);
    const std::string folder = s.dbFile() ? s.storeFolder() : machineStoreFolder(s, machineKey);
    if (folder.empty()) {
        s.err() << "ombrixctl: neither HOMEDRIVE nor SYSTEMDRIVE names a drive for the database\n";
        return kRefused;
    }
    const std::string file = core::joinPath(folder, core::kDatabaseFileName, platform::pathSeparator());
    const bool fresh = !s.env().files.fileExists(file);
    // On the machine's key only this names the store; the session opens it there.
    if (!s.dbFile() && !s.env().registry.writeString(platform::RegRoot::LocalMachine, machineKey, core::kStoreKey,
                                                     folder)) {
        s.err() << "ombrixctl: cannot write HKEY_LOCAL_MACHINE\\" << machineKey << "; run as administrator\n";
        return kRefused;
    }
    if (const int status = makeOrUpgrade(s, folder, file, fresh); status != kOk) return status;

    if (!hash.empty()) {
        if (!core::UpdateField(s.db(), "Opzioni", "PasswordAdmin", core::Value(hash), core::kOptionsRow)) {
            s.err() << "ombrixctl: the password could not be stored: " << s.db().lastError() << "\n";
            return kRefused;
        }
        // Chosen: a later store without it is a replaced one, not a first start.
        if (!s.env().registry.writeString(platform::RegRoot::LocalMachine, machineKey, core::kPasswordChosenValue,
                                          "1")) {
            s.err() << "ombrixctl: cannot mark HKEY_LOCAL_MACHINE\\" << machineKey << "\n";
            return kRefused;
        }
    }
    const auto failure =
        core::protectStoreFolders(*s.env().folderAccess, s.env().files, folder, platform::pathSeparator());
    if (failure && failure->step == core::StoreAccessFailure::Step::MakeLogFolder) {
        return s.refuse(msg::LogFolderNotCreated, failure->folder);
    }
    if (failure) return s.refuse(msg::FolderAccessNotSet, failure->folder + ": " + failure->error);
    s.keepStoreCopy();
    s.out() << (fresh ? "made\t" : "kept\t") << file << "\n";
    return kOk;
}

}  // namespace

const std::vector<CtlCommand>& installCommands() {
    static const std::vector<CtlCommand> commands = {
        {"install",
         "install [--password-hash HASH]   an installer's last step: make the database in the machine's\n"
         "                folder (or upgrade the one there), set the password's hash, protect its folders",
         &cmdInstall},
    };
    return commands;
}

}  // namespace ombrix::app

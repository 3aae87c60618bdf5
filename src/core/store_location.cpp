#include "core/store_location.h"

#include "core/settings_reg.h"
#include "platform/trace_file.h"
#include "support/language.h"
#include "support/messages.h"

namespace ombrix::core {
namespace {

std::string perMachineRoot(StoreEnvironment& env) {
    return joinPath(env.system.environment("HOMEDRIVE"), kProductFolder, env.separator);
}

std::string perMachineFolder(StoreEnvironment& env) {
    return joinPath(perMachineRoot(env), kDatabaseFolderName, env.separator);
}

std::string programDatabaseFolder(StoreEnvironment& env) {
    return joinPath(env.system.programFolder(), kDatabaseFolderName, env.separator);
}

}  // namespace

std::string joinPath(std::string_view folder, std::string_view name, char separator) {
    std::string path(folder);
    if (path.empty() || path.back() != separator) path += separator;
    path += name;
    return path;
}

void traceInLogFolder(std::string_view storeFolder, char separator, std::string_view program) {
    platform::setTraceFolder(joinPath(storeFolder, kLogFolderName, separator), program);
}

bool machineMarked(platform::Registry& registry) {
    return GetSettingRegRoot(registry, 1, kProgramTitle, kStoreSection, kPasswordChosenValue) == "1";
}

std::string chooseDatabaseFolder(StoreEnvironment& env) {
    if (machineMarked(env.registry)) {
        // A pupil may write their own settings: they must not name the store.
        std::string folder = GetSettingRegRoot(env.registry, 1, kProgramTitle, kStoreSection, kStoreKey);
        if (!folder.empty()) return folder;
        return env.system.windowsMajorVersion() > 5 ? perMachineFolder(env) : programDatabaseFolder(env);
    }
    std::string folder = GetSettingReg(env.registry, kProgramTitle, kStoreSection, kStoreKey);
    if (!folder.empty()) return folder;
    folder = programDatabaseFolder(env);
    if (env.system.windowsMajorVersion() > 5) {
        if (env.files.fileExists(joinPath(perMachineFolder(env), kDatabaseFileName, env.separator))) {
            return perMachineFolder(env);
        }
        if (moveDatabase(env)) return perMachineFolder(env);
    }
    return folder;
}

bool moveDatabase(StoreEnvironment& env) {
    // Without a home drive the per-machine folder would land on whatever
    // drive is current; stay in the program folder instead.
    if (env.system.environment("HOMEDRIVE").empty()) return false;
    if (!env.files.createDirectory(perMachineRoot(env))) return false;
    if (!env.files.createDirectory(perMachineFolder(env))) return false;
    const std::string from = joinPath(programDatabaseFolder(env), kDatabaseFileName, env.separator);
    const std::string to = joinPath(perMachineFolder(env), kDatabaseFileName, env.separator);
    if (!env.files.copyFile(from, to)) return false;
    env.files.removeFile(from);  // a copy left behind does no harm
    return true;
}

bool connectStore(StoreEnvironment& env, std::string& folder, std::string_view fileName, Database& db,
                     std::string_view section, std::string_view key, DialogOwner owner) {
    if (!env.files.fileExists(joinPath(folder, fileName, env.separator))) {
        if (machineMarked(env.registry)) return false;
        env.dialogs.messageBox({msg::StoreNotFound, env.language.messageText(msg::StoreNotFound),
                                env.language.messageText(msg::StoreNotFoundTitle),
                                platform::MessageIcon::Exclamation, platform::MessageButtons::Ok});
        const MessageId prompt =
            owner == DialogOwner::MainForm ? msg::ChooseStoreFolderFromMainForm : msg::ChooseStoreFolderFromOtherForm;
        if (auto chosen = env.dialogs.browseForFolder(env.language.messageText(prompt))) folder = *chosen;
    }
    if (!db.open(joinPath(folder, fileName, env.separator))) return false;
    SaveSettingReg(env.registry, kProgramTitle, section, key, folder);
    return true;
}

bool openDatabase(StoreEnvironment& env, Store& store) {
    if (store.connection.isOpen()) return true;
    return connectStore(env, store.folder, kDatabaseFileName, store.connection, kStoreSection, kStoreKey,
                           DialogOwner::MainForm);
}

}  // namespace ombrix::core

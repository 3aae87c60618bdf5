#pragma once
// Where the store lives and how the shared connection is opened. The
// delivered database sits in "DataBase" below the program folder; on
// Windows 6 and later it is moved once to a per-machine folder on the home
// drive, which ordinary users may write. The chosen folder is remembered in
// the program's registry settings.

#include <string>
#include <string_view>

#include "core/database.h"
#include "platform/dialogs.h"
#include "platform/filesystem.h"
#include "platform/registry.h"
#include "platform/system.h"

namespace ombrix {
class Language;
}

namespace ombrix::core {

inline constexpr std::string_view kDatabaseFileName = "DataBase.db";
inline constexpr std::string_view kDatabaseFolderName = "DataBase";
// Inside the store's folder: what the program writes from a pupil's session
// (the visited-sites log). The store's folder is read-only to ordinary users;
// this one is theirs to write.
inline constexpr std::string_view kLogFolderName = "Registro";
inline constexpr std::string_view kLogFileName = "LogSiti.db";
inline constexpr std::string_view kProductFolder = "Ombrix";
inline constexpr std::string_view kStoreSection = "Opzioni";
inline constexpr std::string_view kStoreKey = "DataBase";
// Set in the machine's key (beside kStoreKey) when an administrator chooses
// the password: by the installer, or by the program or ombrixctl running
// elevated. A pupil's account can neither write nor remove it.
inline constexpr std::string_view kPasswordChosenValue = "PasswordScelta";

// What the store needs of the machine.
struct StoreEnvironment {
    platform::Registry& registry;
    platform::FileSystem& files;
    platform::System& system;
    platform::Dialogs& dialogs;
    Language& language;
    char separator = platform::pathSeparator();
};

// The process-wide store: its folder (no trailing separator) and the one
// shared connection, opened once and kept.
struct Store {
    std::string folder;
    Database connection;
};

// Whether an administrator chose the password on this machine (the mark
// above). On such a machine the store's place is the administrator's: the
// per-machine folder or the machine's own setting, never a user's setting
// or a folder picked at the prompt, and a missing store is no first start.
[[nodiscard]] bool machineMarked(platform::Registry& registry);

// The folder for the store, chosen at start-up before the first open.
[[nodiscard]] std::string chooseDatabaseFolder(StoreEnvironment& env);

// Moves the delivered database from the program folder to the per-machine
// folder; existing folders are fine. False when the copy could not be made.
bool moveDatabase(StoreEnvironment& env);

// Whose window owns the folder browser: the main form or another form.
enum class DialogOwner { MainForm, OtherForm };

// Opens `db` on folder + fileName. A missing file is reported and the user
// may pick another folder, which replaces `folder`; on a marked machine a
// missing file is only a failure. On success the folder is remembered under
// (section, key).
bool connectStore(StoreEnvironment& env, std::string& folder, std::string_view fileName, Database& db,
                     std::string_view section, std::string_view key, DialogOwner owner);

// Opens the shared connection unless it is open already.
bool openDatabase(StoreEnvironment& env, Store& store);

// folder, one separator (none added when the folder ends with one), name.
[[nodiscard]] std::string joinPath(std::string_view folder, std::string_view name, char separator);

// From now on the trace file (platform/trace_file.h) is written in the log
// folder of `storeFolder`, each line naming `program`. Called once the
// store's folder is known: by the program's start-up, its administration
// forms and ombrixctl's session.
void traceInLogFolder(std::string_view storeFolder, char separator, std::string_view program);

}  // namespace ombrix::core

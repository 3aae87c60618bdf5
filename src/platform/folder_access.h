#pragma once
// Who may change a folder. The store's folder is the administrators' (a
// pupil's account must not empty the lists or delete the store); the log
// folder inside it is written from the pupil's session. Both lists replace
// what the folder inherited from its parent, and the files made in the
// folder inherit them.

#include <optional>
#include <string>
#include <string_view>

namespace ombrix::platform {

enum class FolderAccessKind {
    ReadOnlyForUsers,  // the system and administrators change it; users read
    WritableForUsers,  // users may also make, change and delete files in it
};

class FolderAccess {
public:
    virtual ~FolderAccess() = default;
    // Replaces the folder's access list. Nothing when done, else the
    // system's message (access is denied to a process that is not elevated).
    [[nodiscard]] virtual std::optional<std::string> setAccess(std::string_view folder, FolderAccessKind kind) = 0;
};

// This machine's: the folder's access list on Windows, the nearest mode
// bits natively.
FolderAccess& realFolderAccess();

}  // namespace ombrix::platform

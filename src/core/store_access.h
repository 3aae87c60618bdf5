#pragma once
// The access lists of the store's folder and of its log folder: set by the
// installer (through ombrixctl protect) and by the program whenever it runs
// elevated, so that a list reset by hand is set again.

#include <optional>
#include <string>
#include <string_view>

#include "platform/filesystem.h"
#include "platform/folder_access.h"

namespace ombrix::core {

struct StoreAccessFailure {
    enum class Step { StoreFolder, MakeLogFolder, LogFolder } step;
    std::string folder;
    std::string error;  // the system's message; empty for MakeLogFolder
};

// Makes `storeFolder` read-only to ordinary users, then makes its log folder
// when missing and lets them write it. Stops at the first step that fails.
[[nodiscard]] std::optional<StoreAccessFailure> protectStoreFolders(platform::FolderAccess& access,
                                                                    platform::FileSystem& files,
                                                                    std::string_view storeFolder, char separator);

}  // namespace ombrix::core

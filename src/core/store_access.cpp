#include "core/store_access.h"

#include "core/store_location.h"

namespace ombrix::core {

std::optional<StoreAccessFailure> protectStoreFolders(platform::FolderAccess& access, platform::FileSystem& files,
                                                      std::string_view storeFolder, char separator) {
    using Step = StoreAccessFailure::Step;
    using platform::FolderAccessKind;
    if (auto error = access.setAccess(storeFolder, FolderAccessKind::ReadOnlyForUsers)) {
        return StoreAccessFailure{Step::StoreFolder, std::string(storeFolder), *error};
    }
    const std::string logFolder = joinPath(storeFolder, kLogFolderName, separator);
    if (!files.createDirectory(logFolder)) return StoreAccessFailure{Step::MakeLogFolder, logFolder, {}};
    if (auto error = access.setAccess(logFolder, FolderAccessKind::WritableForUsers)) {
        return StoreAccessFailure{Step::LogFolder, logFolder, *error};
    }
    return std::nullopt;
}

}  // namespace ombrix::core

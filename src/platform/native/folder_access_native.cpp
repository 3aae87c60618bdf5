// Natively the folder's mode bits stand in for its access list: the owner
// (the administrator who ran the command) keeps everything, and others read,
// or also write. Only the tests and ombrixctl run here.
#include <filesystem>
#include <system_error>

#include "platform/files.h"
#include "platform/folder_access.h"

namespace ombrix::platform {
namespace {

class ModeBitsAccess final : public FolderAccess {
public:
    std::optional<std::string> setAccess(std::string_view folder, FolderAccessKind kind) override {
        using std::filesystem::perms;
        const perms mode = kind == FolderAccessKind::ReadOnlyForUsers
                               ? perms::owner_all | perms::group_read | perms::group_exec | perms::others_read |
                                     perms::others_exec
                               : perms::all;
        std::error_code ec;
        std::filesystem::permissions(pathFromUtf8(folder), mode, std::filesystem::perm_options::replace, ec);
        if (ec) return ec.message();
        return std::nullopt;
    }
};

}  // namespace

FolderAccess& realFolderAccess() {
    static ModeBitsAccess instance;
    return instance;
}

}  // namespace ombrix::platform

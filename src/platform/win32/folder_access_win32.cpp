#include "platform/win32/folder_access_win32.h"

#include <aclapi.h>
#include <sddl.h>

#include <string>

#include "platform/win32/wide.h"

namespace ombrix::win32 {
namespace {

// Protected (P): the parent's entries stop here. The system and the
// administrators have full control. Users (every signed-in account,
// Authenticated Users and Interactive included) read and list, 0x1200a9,
// or modify, 0x1301bf: read, write, append, delete, but never the list
// itself (WRITE_DAC) nor the owner (WRITE_OWNER). Owner Rights (OW) gets
// the same as Users, which takes away an owner's implicit right to rewrite
// the list: a folder or store file a pupil's session once created stays
// out of that pupil's hands. Everyone gets nothing. All entries are
// inherited by subfolders and files (OICI).
constexpr const wchar_t* kReadOnlyForUsers =
    L"D:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;0x1200a9;;;BU)(A;OICI;0x1200a9;;;OW)";
constexpr const wchar_t* kWritableForUsers =
    L"D:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;0x1301bf;;;BU)(A;OICI;0x1301bf;;;OW)";

class Win32FolderAccess final : public platform::FolderAccess {
public:
    std::optional<std::string> setAccess(std::string_view folder, platform::FolderAccessKind kind) override {
        const UniqueLocal descriptor = folderSecurityDescriptor(kind);
        if (!descriptor) return systemMessage(GetLastError());
        BOOL present = FALSE;
        BOOL defaulted = FALSE;
        PACL dacl = nullptr;
        if (!GetSecurityDescriptorDacl(descriptor.get(), &present, &dacl, &defaulted)) {
            return systemMessage(GetLastError());
        }
        if (!present || !dacl) return "the access list is empty";
        std::wstring path = toWide(folder);
        const DWORD status =
            SetNamedSecurityInfoW(path.data(), SE_FILE_OBJECT,
                                  DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION, nullptr,
                                  nullptr, dacl, nullptr);
        if (status != ERROR_SUCCESS) return systemMessage(status);
        return std::nullopt;
    }
};

}  // namespace

const wchar_t* folderAccessSddl(platform::FolderAccessKind kind) {
    return kind == platform::FolderAccessKind::ReadOnlyForUsers ? kReadOnlyForUsers : kWritableForUsers;
}

UniqueLocal folderSecurityDescriptor(platform::FolderAccessKind kind) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(folderAccessSddl(kind), SDDL_REVISION_1, &descriptor,
                                                              nullptr)) {
        return {};
    }
    return UniqueLocal(descriptor);
}

}  // namespace ombrix::win32

namespace ombrix::platform {

FolderAccess& realFolderAccess() {
    static win32::Win32FolderAccess instance;
    return instance;
}

}  // namespace ombrix::platform

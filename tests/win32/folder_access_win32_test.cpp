#include <windows.h>

#include <aclapi.h>

#include <gtest/gtest.h>

#include <string>

#include "fakes/fixtures.h"
#include "platform/files.h"
#include "platform/win32/folder_access_win32.h"

namespace ombrix::win32 {
namespace {

using platform::FolderAccessKind;

// What a descriptor's list allows the account, on the folder and everything in it.
ACCESS_MASK granted(PSECURITY_DESCRIPTOR descriptor, WELL_KNOWN_SID_TYPE account) {
    BOOL present = FALSE, defaulted = FALSE;
    PACL dacl = nullptr;
    if (!GetSecurityDescriptorDacl(descriptor, &present, &dacl, &defaulted) || !present || !dacl) return 0;
    ACCESS_MASK mask = 0;
    for (DWORD i = 0; i < dacl->AceCount; ++i) {
        ACCESS_ALLOWED_ACE* ace = nullptr;
        if (!GetAce(dacl, i, reinterpret_cast<void**>(&ace)) || ace->Header.AceType != ACCESS_ALLOWED_ACE_TYPE) continue;
        const BYTE inherit = ace->Header.AceFlags & (OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE | INHERIT_ONLY_ACE);
        if (IsWellKnownSid(&ace->SidStart, account) && inherit == (OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE)) {
            mask |= ace->Mask;
        }
    }
    return mask;
}

TEST(FolderAccessWin32, EachKindGrantsWhatItMustAndIsSetOnAFolder) {
    constexpr ACCESS_MASK kWrite = FILE_WRITE_DATA | FILE_APPEND_DATA | DELETE;
    constexpr ACCESS_MASK kNever = WRITE_DAC | WRITE_OWNER | FILE_DELETE_CHILD | GENERIC_WRITE | GENERIC_ALL;
    for (const auto kind : {FolderAccessKind::ReadOnlyForUsers, FolderAccessKind::WritableForUsers}) {
        const auto descriptor = folderSecurityDescriptor(kind);
        ASSERT_TRUE(descriptor) << GetLastError();
        SECURITY_DESCRIPTOR_CONTROL control = 0;
        DWORD revision = 0;
        ASSERT_TRUE(GetSecurityDescriptorControl(descriptor.get(), &control, &revision));
        EXPECT_TRUE(control & SE_DACL_PROTECTED) << "the parent's entries would apply";
        for (const auto account : {WinLocalSystemSid, WinBuiltinAdministratorsSid}) {
            EXPECT_EQ(granted(descriptor.get(), account) & FILE_ALL_ACCESS, FILE_ALL_ACCESS) << account;
        }
        const ACCESS_MASK users = granted(descriptor.get(), WinBuiltinUsersSid);
        EXPECT_EQ(users & FILE_GENERIC_READ, FILE_GENERIC_READ);
        EXPECT_EQ(users & kWrite, kind == FolderAccessKind::WritableForUsers ? kWrite : 0);
        EXPECT_EQ(users & kNever, 0u);
        // Wine reads back a list made from the Unix mode bits: the set is checked, not the list read back.
        test::TempDir dir;
        EXPECT_EQ(platform::realFolderAccess().setAccess(pathToUtf8(dir.path()), kind), std::nullopt);
    }
    const auto error = platform::realFolderAccess().setAccess("C:\\ombrix-assente", FolderAccessKind::ReadOnlyForUsers);
    EXPECT_TRUE(error && !error->empty()) << "a missing folder gives the system's message";
}

}  // namespace
}  // namespace ombrix::win32

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

bool is(PSID sid, WELL_KNOWN_SID_TYPE type) { return IsWellKnownSid(sid, type) != FALSE; }

// What is wrong with a descriptor's list for `kind`, as the system reads it
// entry by entry; empty when nothing is.
std::string problems(PSECURITY_DESCRIPTOR descriptor, FolderAccessKind kind) {
    constexpr ACCESS_MASK kUsersMayWrite = FILE_WRITE_DATA | FILE_APPEND_DATA | DELETE;
    constexpr ACCESS_MASK kNeverForUsers = WRITE_DAC | WRITE_OWNER | FILE_DELETE_CHILD | GENERIC_WRITE | GENERIC_ALL;
    const bool writable = kind == FolderAccessKind::WritableForUsers;
    const ACCESS_MASK tooMuch = writable ? kNeverForUsers
                                         : kUsersMayWrite | kNeverForUsers | FILE_WRITE_EA | FILE_WRITE_ATTRIBUTES;
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    BOOL present = FALSE, defaulted = FALSE;
    PACL dacl = nullptr;
    if (!GetSecurityDescriptorControl(descriptor, &control, &revision) ||
        !GetSecurityDescriptorDacl(descriptor, &present, &dacl, &defaulted) || !present || !dacl) {
        return "no access list";
    }
    std::string found = control & SE_DACL_PROTECTED ? "" : "the parent's entries apply; ";
    bool systemFull = false, administratorsFull = false, users = false;
    for (DWORD i = 0; i < dacl->AceCount; ++i) {
        ACCESS_ALLOWED_ACE* ace = nullptr;
        if (!GetAce(dacl, i, reinterpret_cast<void**>(&ace))) return "entry unreadable";
        if (ace->Header.AceType == ACCESS_DENIED_ACE_TYPE) continue;  // only takes away
        if (ace->Header.AceType != ACCESS_ALLOWED_ACE_TYPE) found += "an entry of another type; ";
        PSID sid = &ace->SidStart;
        const bool everywhere = (ace->Header.AceFlags & (OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE | INHERIT_ONLY_ACE)) ==
                                (OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE);
        const bool full = (ace->Mask & FILE_ALL_ACCESS) == FILE_ALL_ACCESS && everywhere;
        if (is(sid, WinLocalSystemSid)) systemFull |= full;
        else if (is(sid, WinBuiltinAdministratorsSid)) administratorsFull |= full;
        else if (ace->Mask & tooMuch) found += "entry " + std::to_string(i) + " grants too much; ";
        if (is(sid, WinBuiltinUsersSid)) {
            users = (ace->Mask & FILE_GENERIC_READ) == FILE_GENERIC_READ && everywhere &&
                    (!writable || (ace->Mask & kUsersMayWrite) == kUsersMayWrite);
        }
    }
    if (!systemFull || !administratorsFull) found += "the system or Administrators lack full control; ";
    if (!users) found += writable ? "Users cannot write; " : "Users cannot read; ";
    return found;
}

TEST(FolderAccessWin32, EachKindGrantsWhatItMustAndIsSetOnAFolder) {
    const auto readOnly = folderSecurityDescriptor(FolderAccessKind::ReadOnlyForUsers);
    const auto writable = folderSecurityDescriptor(FolderAccessKind::WritableForUsers);
    ASSERT_TRUE(readOnly && writable) << GetLastError();
    EXPECT_EQ(problems(readOnly.get(), FolderAccessKind::ReadOnlyForUsers), "");
    EXPECT_EQ(problems(writable.get(), FolderAccessKind::WritableForUsers), "");
    // Each is wrong for the other: the check tells them apart.
    EXPECT_EQ(problems(readOnly.get(), FolderAccessKind::WritableForUsers), "Users cannot write; ");
    EXPECT_NE(problems(writable.get(), FolderAccessKind::ReadOnlyForUsers).find("entry 2 grants too much"),
              std::string::npos);

    // Wine reads back a list made from the Unix mode bits: the set is checked, not the list read back.
    test::TempDir dir;
    for (const auto kind : {FolderAccessKind::ReadOnlyForUsers, FolderAccessKind::WritableForUsers}) {
        EXPECT_EQ(platform::realFolderAccess().setAccess(pathToUtf8(dir.path()), kind), std::nullopt);
    }
    const auto error = platform::realFolderAccess().setAccess(dir.file("assente"), FolderAccessKind::ReadOnlyForUsers);
    EXPECT_TRUE(error && !error->empty()) << "a missing folder gives the system's message";
}

}  // namespace
}  // namespace ombrix::win32

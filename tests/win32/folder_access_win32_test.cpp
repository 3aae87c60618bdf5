#include <windows.h>

#include <aclapi.h>
#include <sddl.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "fakes/fixtures.h"
#include "platform/files.h"
#include "platform/win32/folder_access_win32.h"
#include "platform/win32/wide.h"

namespace ombrix::win32 {
namespace {

using platform::FolderAccessKind;

constexpr ACCESS_MASK kUsersMayWrite = FILE_WRITE_DATA | FILE_APPEND_DATA | DELETE;
constexpr ACCESS_MASK kNeverForUsers = WRITE_DAC | WRITE_OWNER | FILE_DELETE_CHILD | GENERIC_WRITE | GENERIC_ALL;
constexpr ACCESS_MASK kAnyWrite = kUsersMayWrite | kNeverForUsers | FILE_WRITE_EA | FILE_WRITE_ATTRIBUTES;

bool isWellKnown(PSID sid, WELL_KNOWN_SID_TYPE type) { return IsWellKnownSid(sid, type) != FALSE; }

// What a descriptor's list grants, entry by entry, as the system reads it:
// empty when the list is the one `kind` must be, else what is wrong.
std::vector<std::string> problems(PSECURITY_DESCRIPTOR descriptor, FolderAccessKind kind) {
    std::vector<std::string> found;
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    PACL dacl = nullptr;
    if (!GetSecurityDescriptorControl(descriptor, &control, &revision) ||
        !GetSecurityDescriptorDacl(descriptor, &present, &dacl, &defaulted) || !present || !dacl) {
        return {"no access list"};
    }
    if (!(control & SE_DACL_PROTECTED)) found.push_back("the parent's entries still apply");
    const bool writable = kind == FolderAccessKind::WritableForUsers;
    bool systemFull = false, administratorsFull = false, users = false;
    for (DWORD i = 0; i < dacl->AceCount; ++i) {
        void* entry = nullptr;
        if (!GetAce(dacl, i, &entry)) return {"entry " + std::to_string(i) + " unreadable"};
        const auto* header = static_cast<ACE_HEADER*>(entry);
        if (header->AceType == ACCESS_DENIED_ACE_TYPE) continue;  // only takes away
        if (header->AceType != ACCESS_ALLOWED_ACE_TYPE) {
            found.push_back("entry " + std::to_string(i) + " of type " + std::to_string(header->AceType));
            continue;
        }
        const auto* ace = static_cast<ACCESS_ALLOWED_ACE*>(entry);
        PSID sid = const_cast<DWORD*>(&ace->SidStart);
        const bool inherited = (ace->Header.AceFlags & (OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE)) ==
                                   (OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE) &&
                               !(ace->Header.AceFlags & INHERIT_ONLY_ACE);
        const ACCESS_MASK mask = ace->Mask;
        if (isWellKnown(sid, WinLocalSystemSid) || isWellKnown(sid, WinBuiltinAdministratorsSid)) {
            const bool full = (mask & FILE_ALL_ACCESS) == FILE_ALL_ACCESS && inherited;
            (isWellKnown(sid, WinLocalSystemSid) ? systemFull : administratorsFull) |= full;
            continue;
        }
        const bool isUsers = isWellKnown(sid, WinBuiltinUsersSid);
        if (isUsers) users = (mask & FILE_GENERIC_READ) == FILE_GENERIC_READ && inherited &&
                             (!writable || (mask & kUsersMayWrite) == kUsersMayWrite);
        if (mask & (writable ? kNeverForUsers : kAnyWrite)) {
            char text[64];
            std::snprintf(text, sizeof text, "entry %lu grants too much: 0x%lx", static_cast<unsigned long>(i),
                          static_cast<unsigned long>(mask));
            found.emplace_back(text);
        }
    }
    if (!systemFull) found.push_back("SYSTEM lacks full control of the folder and its files");
    if (!administratorsFull) found.push_back("Administrators lack full control of the folder and its files");
    if (!users) found.push_back(writable ? "Users cannot write the folder and its files" : "Users cannot read them");
    return found;
}

std::string joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const auto& line : lines) text += line + "\n";
    return text;
}

bool underWine() { return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr; }

TEST(FolderAccessWin32, EachKindIsSetOnAFolderAndGrantsWhatItMust) {
    for (const auto kind : {FolderAccessKind::ReadOnlyForUsers, FolderAccessKind::WritableForUsers}) {
        SCOPED_TRACE(testing::Message() << "writable " << (kind == FolderAccessKind::WritableForUsers));
        const UniqueLocal built = folderSecurityDescriptor(kind);
        ASSERT_TRUE(built) << GetLastError();
        EXPECT_EQ(joined(problems(built.get(), kind)), "");

        test::TempDir dir;
        EXPECT_EQ(platform::realFolderAccess().setAccess(pathToUtf8(dir.path()), kind), std::nullopt);
        // Wine reads back a list made from the Unix mode bits; Windows keeps the one set.
        if (underWine()) continue;
        PSECURITY_DESCRIPTOR back = nullptr;
        ASSERT_EQ(GetNamedSecurityInfoW(dir.path().c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                                        nullptr, nullptr, nullptr, &back),
                  static_cast<DWORD>(ERROR_SUCCESS));
        const UniqueLocal owner(back);
        EXPECT_EQ(joined(problems(back, kind)), "");
    }
}

TEST(FolderAccessWin32, TheCheckerCatchesAListThatGivesTooMuch) {
    const struct {
        const wchar_t* sddl;
        FolderAccessKind kind;
        const char* problem;
    } cases[] = {
        {L"D:(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;0x1200a9;;;BU)", FolderAccessKind::ReadOnlyForUsers,
         "the parent's entries still apply"},
        {L"D:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;0x1200a9;;;BU)(A;OICI;FW;;;WD)",
         FolderAccessKind::ReadOnlyForUsers, "entry 3 grants too much"},
        {L"D:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;0x1301bf;;;BU)(A;;WD;;;BU)", FolderAccessKind::WritableForUsers,
         "entry 3 grants too much"},
        {L"D:P(A;OICI;FA;;;SY)(A;CI;FA;;;BA)(A;OICI;0x1301bf;;;BU)", FolderAccessKind::WritableForUsers,
         "Administrators lack full control"},
        {L"D:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;0x1200a9;;;BU)", FolderAccessKind::WritableForUsers,
         "Users cannot write"},
    };
    for (const auto& c : cases) {
        PSECURITY_DESCRIPTOR descriptor = nullptr;
        ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(c.sddl, SDDL_REVISION_1, &descriptor, nullptr));
        const UniqueLocal owner(descriptor);
        EXPECT_NE(joined(problems(descriptor, c.kind)).find(c.problem), std::string::npos) << fromWide(c.sddl);
    }
}

TEST(FolderAccessWin32, AMissingFolderGivesTheSystemsMessage) {
    test::TempDir dir;
    const auto error = platform::realFolderAccess().setAccess(dir.file("assente"), FolderAccessKind::ReadOnlyForUsers);
    ASSERT_TRUE(error);
    EXPECT_FALSE(error->empty());
}

}  // namespace
}  // namespace ombrix::win32

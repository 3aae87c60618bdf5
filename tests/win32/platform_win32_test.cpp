// The system under the portable seams: INI reader, registry, folder access,
// locked files, printers, and the owners of its handles.
#include <windows.h>

#include <aclapi.h>
#include <gtest/gtest.h>

#include "fakes/fixtures.h"
#include "machine/machine_profile.h"
#include "platform/durable.h"
#include "platform/file_registry.h"
#include "platform/files.h"
#include "platform/filesystem.h"
#include "platform/ini.h"
#include "platform/ini_cases.h"
#include "platform/win32/folder_access_win32.h"
#include "platform/win32/handles.h"
#include "platform/win32/machine.h"
#include "platform/win32/wide.h"

namespace ombrix::win32 {
namespace {

using platform::FolderAccessKind;
using platform::RegRoot;

TEST(SystemProfileReader, ReadsTheSharedCasesAsThePortableRulesDo) {
    test::TempDir dir;
    for (int n = 0; const auto& c : test::profileCases()) {
        const std::string path = dir.file("case" + std::to_string(n++) + ".ini");
        test::writeFile(path, c.file);
        const std::string system = ini::systemProfileReader()(path, c.section, c.key);
        EXPECT_EQ(system, c.expected) << c.name;
    }
}

// Values as other programs read them; only a key with nothing in it is deleted.
TEST(Win32Registry, ValuesRoundTripAndOnlyAnEmptyKeyIsDeleted) {
    platform::Registry& reg = platform::systemRegistry();
    const std::string parent = "Software\\OmbrixTest\\", key = parent + "Held";
    constexpr auto kUser = RegRoot::CurrentUser;
    EXPECT_TRUE(reg.writeString(kUser, key, "Testo", "Città – €"));
    EXPECT_EQ(reg.readValue(kUser, "software\\ombrixtest\\HELD", "testo"), "Città – €") << "case ignored";
    EXPECT_TRUE(reg.writeDword(kUser, key, "1803", 3));
    EXPECT_EQ(reg.readValue(kUser, key, "1803"), "3");
    EXPECT_TRUE(reg.deleteValue(kUser, key, "Testo"));
    EXPECT_TRUE(reg.deleteValue(kUser, key, "Testo")) << "already gone";
    EXPECT_EQ(reg.readValue(kUser, key, "Testo"), std::nullopt);
    HKEY sub = nullptr;
    ASSERT_EQ(RegCreateKeyW(HKEY_CURRENT_USER, L"Software\\OmbrixTest\\Deep\\Sub", &sub), ERROR_SUCCESS);
    RegCloseKey(sub);
    // Kept for a value or an empty subkey; then case ignored, and empty now.
    const std::pair<const char*, bool> cases[] = {
        {"Held", false}, {"Deep", false}, {"deep\\SUB", true}, {"Deep", true}, {"Missing", true}};
    for (const auto& [name, gone] : cases) {
        EXPECT_EQ(reg.deleteEmptyKey(kUser, parent + name), gone) << name;
        EXPECT_EQ(reg.keyExists(kUser, parent + name), !gone) << name;
    }
    EXPECT_TRUE(reg.deleteValue(kUser, key, "1803"));
    EXPECT_TRUE(reg.deleteEmptyKey(kUser, parent + "HELD"));
    RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\OmbrixTest");
}

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

TEST(FolderAccessWin32, EachKindGrantsWhatItMustAndAMissingFolderIsTold) {
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
        for (const auto account : {WinBuiltinUsersSid, WinCreatorOwnerRightsSid}) {  // owners as any user
            const ACCESS_MASK users = granted(descriptor.get(), account);
            EXPECT_EQ(users & FILE_GENERIC_READ, FILE_GENERIC_READ) << account;
            EXPECT_EQ(users & kWrite, kind == FolderAccessKind::WritableForUsers ? kWrite : 0) << account;
            EXPECT_EQ(users & kNever, 0u) << account;
        }
    }
    const auto error = platform::realFolderAccess().setAccess("C:\\ombrix-assente", FolderAccessKind::ReadOnlyForUsers);
    EXPECT_TRUE(error && !error->empty()) << "a missing folder gives the system's message";
}

TEST(Win32MachineProfile, ALockedJournalIsLeftAsItWas) {
    test::TempDir dir;
    const std::string journal = dir.file(core::kJournalFileName);
    ASSERT_TRUE(platform::systemDurableWriter().replace(journal, "old"));
    {
        // Another program holding it, sharing nothing.
        const auto held = adoptInvalidOnFailure(
            CreateFileW(toWide(journal).c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
        ASSERT_TRUE(held);
        EXPECT_FALSE(platform::systemDurableWriter().replace(journal, "new"));
    }
    EXPECT_EQ(readWholeFile(journal), "old") << "the old journal stays whole";
    EXPECT_FALSE(platform::realFileSystem().fileExists(journal + ".new"));
}

TEST(Win32MachineProfile, TheDefaultDeviceIsWrittenAndGivenBack) {
    platform::Printers& printers = machine().printers();
    const std::string before = printers.profileString("windows", "Device");
    ASSERT_TRUE(printers.writeDefaultDevice("Stand-in,winspool,FILE:"));
    EXPECT_EQ(core::defaultPrinterName(printers), "Stand-in");
    EXPECT_FALSE(printers.rewriteSettings("No printer of this name"));
    ASSERT_TRUE(printers.writeDefaultDevice(before));
    EXPECT_EQ(printers.profileString("windows", "Device"), before);
}

const UniqueWindow* g_owner = nullptr;
int g_destroyed = 0;
bool g_ownedWhileDestroyed = false;

TEST(Owners, AMoveLeavesEmptyAndTheOwnerLetsGoBeforeClosing) {
    // The window being destroyed (which may call back into its form) is no longer owned.
    WNDCLASSW wc{};
    wc.lpfnWndProc = [](HWND w, UINT msg, WPARAM wp, LPARAM lp) {
        if (msg == WM_DESTROY) ++g_destroyed, g_ownedWhileDestroyed = g_owner->get() == w;
        return DefWindowProcW(w, msg, wp, lp);
    };
    wc.lpszClassName = L"OmbrixTestDestroyProbe";
    RegisterClassW(&wc);
    UniqueWindow first(CreateWindowExW(0, wc.lpszClassName, L"", WS_POPUP, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr));
    ASSERT_TRUE(first);
    UniqueWindow second(std::move(first));
    g_owner = &second;
    EXPECT_TRUE(!first && g_destroyed == 0) << "a move destroyed the window";
    second.reset();
    EXPECT_EQ(g_destroyed, 1);
    EXPECT_FALSE(g_ownedWhileDestroyed);
}

}  // namespace
}  // namespace ombrix::win32

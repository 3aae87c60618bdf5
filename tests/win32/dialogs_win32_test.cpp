#include <windows.h>
// shlobj.h needs the types of windows.h first.
#include <shlobj.h>

#include <gtest/gtest.h>

#include <set>
#include <thread>
#include <vector>

#include "platform/win32/machine.h"
#include "support/text.h"
#include "helpers.h"

namespace ombrix::win32 {
namespace {

using platform::MessageAnswer;
using platform::MessageButtons;
using platform::MessageIcon;

// What a dialog of the test thread showed, read from another thread while it
// was up, before that thread pressed one of its buttons.
struct SeenDialog {
    bool found = false;
    std::wstring title;
    std::vector<std::wstring> texts;  // of the visible children
    std::set<int> visibleButtons;
    HWND owner = nullptr;
    HICON icon = nullptr;
    bool hasTree = false;
};

HWND findDialogOf(DWORD thread) {
    HWND found = nullptr;
    EnumThreadWindows(
        thread,
        [](HWND hwnd, LPARAM param) -> BOOL {
            wchar_t cls[16] = {};
            GetClassNameW(hwnd, cls, 16);
            if (std::wstring(cls) != L"#32770" || !IsWindowVisible(hwnd)) return TRUE;
            *reinterpret_cast<HWND*>(param) = hwnd;
            return FALSE;
        },
        reinterpret_cast<LPARAM>(&found));
    return found;
}

std::wstring textOf(HWND hwnd) {
    wchar_t buffer[1024] = {};
    GetWindowTextW(hwnd, buffer, 1024);
    return buffer;
}

SeenDialog look(HWND dialog) {
    SeenDialog seen;
    seen.found = true;
    seen.title = textOf(dialog);
    seen.owner = GetWindow(dialog, GW_OWNER);
    EnumChildWindows(
        dialog,
        [](HWND child, LPARAM param) -> BOOL {
            auto& s = *reinterpret_cast<SeenDialog*>(param);
            if (!IsWindowVisible(child)) return TRUE;
            wchar_t cls[64] = {};
            GetClassNameW(child, cls, 64);
            const std::wstring kind = cls;
            const LONG style = GetWindowLongW(child, GWL_STYLE);
            if (kind == L"Static" && (style & SS_TYPEMASK) == SS_ICON) {
                s.icon = reinterpret_cast<HICON>(SendMessageW(child, STM_GETICON, 0, 0));
            } else if (kind == L"Button") {
                s.visibleButtons.insert(GetDlgCtrlID(child));
            } else if (kind == L"SysTreeView32") {
                s.hasTree = true;
            }
            s.texts.push_back(textOf(child));
            return TRUE;
        },
        reinterpret_cast<LPARAM>(&seen));
    return seen;
}

// Watches for the dialog the calling thread is about to show, notes it,
// then presses `button`.
class DialogPresser {
public:
    explicit DialogPresser(int button) : thread_(GetCurrentThreadId()) {
        worker_ = std::thread([this, button] {
            HWND dialog = nullptr;
            if (!test::waitFor([&] { return (dialog = findDialogOf(thread_)) != nullptr; })) return;
            seen_ = look(dialog);
            PostMessageW(dialog, WM_COMMAND, MAKEWPARAM(button, BN_CLICKED),
                         reinterpret_cast<LPARAM>(GetDlgItem(dialog, button)));
        });
    }
    ~DialogPresser() {
        if (worker_.joinable()) worker_.join();
    }
    DialogPresser(const DialogPresser&) = delete;
    DialogPresser& operator=(const DialogPresser&) = delete;
    // Once the dialog has been answered.
    const SeenDialog& seen() {
        if (worker_.joinable()) worker_.join();
        return seen_;
    }

private:
    DWORD thread_;
    SeenDialog seen_;
    std::thread worker_;
};

bool contains(const std::vector<std::wstring>& texts, const std::wstring& text) {
    return std::find(texts.begin(), texts.end(), text) != texts.end();
}

class Win32DialogsTest : public ::testing::Test {
protected:
    void TearDown() override { dialogs.setOwner(nullptr); }
    Win32Dialogs& dialogs = machine().dialogs();
};

TEST_F(Win32DialogsTest, MessageBoxShowsIconButtonsAndTextsAndReportsTheAnswer) {
    struct Case {
        MessageIcon icon;
        MessageButtons buttons;
        int press;
        MessageAnswer expected;
        const wchar_t* systemIcon;
    };
    const Case cases[] = {
        {MessageIcon::Exclamation, MessageButtons::Ok, IDOK, MessageAnswer::Ok, IDI_WARNING},
        {MessageIcon::Information, MessageButtons::Ok, IDOK, MessageAnswer::Ok, IDI_INFORMATION},
        {MessageIcon::Critical, MessageButtons::Ok, IDOK, MessageAnswer::Ok, IDI_ERROR},
        {MessageIcon::Exclamation, MessageButtons::YesNo, IDYES, MessageAnswer::Yes, IDI_WARNING},
        {MessageIcon::Exclamation, MessageButtons::YesNo, IDNO, MessageAnswer::No, IDI_WARNING},
    };
    const std::string text = "Il file non è stato trovato.\r\nScegliere la cartella «DataBase».";
    for (const auto& c : cases) {
        SCOPED_TRACE(static_cast<int>(c.icon) * 10 + c.press);
        DialogPresser presser(c.press);
        const MessageAnswer answer = dialogs.messageBox({"0090", text, "Attenzione – Ombrix", c.icon, c.buttons});
        const SeenDialog& seen = presser.seen();
        ASSERT_TRUE(seen.found);
        EXPECT_EQ(answer, c.expected);
        EXPECT_EQ(seen.title, L"Attenzione – Ombrix");
        EXPECT_TRUE(contains(seen.texts, toWide(text)));
        EXPECT_EQ(seen.icon, LoadIconW(nullptr, c.systemIcon));
        const std::set<int> buttons =
            c.buttons == MessageButtons::YesNo ? std::set<int>{IDYES, IDNO} : std::set<int>{IDOK};
        EXPECT_EQ(seen.visibleButtons, buttons);
    }
}

TEST_F(Win32DialogsTest, TheOwnerIsTheWindowSetAndAWindowThatWentIsNone) {
    {
        const test::OwnWindow owner(L"Ombrix proprietario");
        dialogs.setOwner(owner.get());
        DialogPresser presser(IDOK);
        dialogs.messageBox({"0151", "Aggiornato.", "Ombrix", MessageIcon::Information, MessageButtons::Ok});
        EXPECT_EQ(presser.seen().owner, owner.get());
    }
    // The owner is destroyed but still set.
    DialogPresser presser(IDOK);
    dialogs.messageBox({"0151", "Aggiornato.", "Ombrix", MessageIcon::Information, MessageButtons::Ok});
    ASSERT_TRUE(presser.seen().found);
    EXPECT_EQ(presser.seen().owner, nullptr);
}

TEST_F(Win32DialogsTest, FolderBrowserShowsThePromptAndCancelGivesNothing) {
    const test::OwnWindow owner(L"Ombrix proprietario");
    dialogs.setOwner(owner.get());
    DialogPresser presser(IDCANCEL);
    const auto folder = dialogs.browseForFolder("Selezionare la cartella che contiene il file «DataBase»");
    const SeenDialog& seen = presser.seen();
    ASSERT_TRUE(seen.found);
    EXPECT_EQ(folder, std::nullopt);
    EXPECT_TRUE(contains(seen.texts, L"Selezionare la cartella che contiene il file «DataBase»"));
    EXPECT_TRUE(seen.hasTree);
    EXPECT_EQ(seen.owner, owner.get());
}

TEST_F(Win32DialogsTest, FolderBrowserGivesTheChosenFolderAsAPath) {
    DialogPresser presser(IDOK);
    const auto folder = dialogs.browseForFolder("Scegliere");
    ASSERT_TRUE(presser.seen().found);
    ASSERT_TRUE(folder);
    // Nothing else picked, the browser's root is chosen: the desktop, whose
    // folder on disk is what comes back.
    wchar_t desktop[MAX_PATH] = {};
    ASSERT_EQ(SHGetFolderPathW(nullptr, CSIDL_DESKTOPDIRECTORY, nullptr, 0, desktop), S_OK);
    EXPECT_TRUE(equalsNoCase(*folder, fromWide(desktop))) << *folder;
    EXPECT_TRUE(std::filesystem::is_directory(pathFromUtf8(*folder))) << *folder;
}

}  // namespace
}  // namespace ombrix::win32

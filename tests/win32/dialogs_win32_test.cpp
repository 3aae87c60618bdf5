#include <windows.h>
// shlobj.h needs the types of windows.h first.
#include <shlobj.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <thread>
#include <vector>

#include "helpers.h"
#include "platform/win32/machine.h"
#include "platform/text.h"

namespace ombrix::win32 {
namespace {

using platform::MessageAnswer;
using platform::MessageButtons;
using platform::MessageIcon;

// What a dialog of the test thread showed, noted from another thread while
// it was up, before that thread pressed one of its buttons.
struct SeenDialog {
    bool found = false;
    std::wstring title;
    std::vector<std::wstring> texts;  // of the visible children
    std::set<int> buttons;            // visible ones
    HWND owner = nullptr;
    HICON icon = nullptr;
    bool hasTree = false;

    bool shows(const std::wstring& text) const { return std::find(texts.begin(), texts.end(), text) != texts.end(); }
};

std::wstring textOf(HWND hwnd) {
    wchar_t buffer[1024] = {};
    GetWindowTextW(hwnd, buffer, 1024);
    return buffer;
}

std::wstring classOf(HWND hwnd) {
    wchar_t cls[64] = {};
    GetClassNameW(hwnd, cls, 64);
    return cls;
}

// Watches for the dialog the calling thread is about to show, notes it,
// then presses `button`. seen() waits until it has.
class DialogPresser {
public:
    explicit DialogPresser(int button) : thread_(GetCurrentThreadId()) {
        worker_ = std::thread([this, button] {
            HWND dialog = nullptr;
            test::waitFor([&] {
                EnumThreadWindows(
                    thread_,
                    [](HWND w, LPARAM p) -> BOOL {
                        if (classOf(w) != L"#32770" || !IsWindowVisible(w)) return TRUE;
                        *reinterpret_cast<HWND*>(p) = w;
                        return FALSE;
                    },
                    reinterpret_cast<LPARAM>(&dialog));
                return dialog != nullptr;
            });
            if (dialog == nullptr) return;
            seen_ = {true, textOf(dialog), {}, {}, GetWindow(dialog, GW_OWNER), nullptr, false};
            EnumChildWindows(
                dialog,
                [](HWND child, LPARAM p) -> BOOL {
                    auto& s = *reinterpret_cast<SeenDialog*>(p);
                    if (!IsWindowVisible(child)) return TRUE;
                    const std::wstring kind = classOf(child);
                    if (kind == L"Static" && (GetWindowLongW(child, GWL_STYLE) & SS_TYPEMASK) == SS_ICON) {
                        s.icon = reinterpret_cast<HICON>(SendMessageW(child, STM_GETICON, 0, 0));
                    }
                    if (kind == L"Button") s.buttons.insert(GetDlgCtrlID(child));
                    s.hasTree = s.hasTree || kind == L"SysTreeView32";
                    s.texts.push_back(textOf(child));
                    return TRUE;
                },
                reinterpret_cast<LPARAM>(&seen_));
            PostMessageW(dialog, WM_COMMAND, MAKEWPARAM(button, BN_CLICKED),
                         reinterpret_cast<LPARAM>(GetDlgItem(dialog, button)));
        });
    }
    ~DialogPresser() { seen(); }
    DialogPresser(const DialogPresser&) = delete;
    DialogPresser& operator=(const DialogPresser&) = delete;
    const SeenDialog& seen() {
        if (worker_.joinable()) worker_.join();
        return seen_;
    }

private:
    DWORD thread_;
    SeenDialog seen_;
    std::thread worker_;
};

class Win32DialogsTest : public ::testing::Test {
protected:
    void TearDown() override { dialogs.setOwner(nullptr); }
    Win32Dialogs& dialogs = machine().dialogs();
};

TEST_F(Win32DialogsTest, MessageBoxShowsIconButtonsAndTextsAndReportsTheAnswer) {
    const struct {
        MessageIcon icon;
        MessageButtons buttons;
        int press;
        MessageAnswer expected;
        const wchar_t* systemIcon;
    } cases[] = {
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
        EXPECT_EQ(dialogs.messageBox({"0090", text, "Attenzione – Ombrix", c.icon, c.buttons}), c.expected);
        const SeenDialog& seen = presser.seen();
        ASSERT_TRUE(seen.found);
        EXPECT_EQ(seen.title, L"Attenzione – Ombrix");
        EXPECT_TRUE(seen.shows(toWide(text)));
        EXPECT_EQ(seen.icon, LoadIconW(nullptr, c.systemIcon));
        EXPECT_EQ(seen.buttons, (c.buttons == MessageButtons::YesNo ? std::set<int>{IDYES, IDNO} : std::set<int>{IDOK}));
    }
}

TEST_F(Win32DialogsTest, TheOwnerIsTheWindowSetAndAWindowThatWentIsNone) {
    const platform::MessageBoxRequest request{"0151", "Aggiornato.", "Ombrix", MessageIcon::Information,
                                              MessageButtons::Ok};
    {
        const test::OwnWindow owner(L"Ombrix proprietario");
        dialogs.setOwner(owner.get());
        DialogPresser presser(IDOK);
        dialogs.messageBox(request);
        EXPECT_EQ(presser.seen().owner, owner.get());
    }
    DialogPresser presser(IDOK);  // the owner is destroyed but still set
    dialogs.messageBox(request);
    ASSERT_TRUE(presser.seen().found);
    EXPECT_EQ(presser.seen().owner, nullptr);
}

TEST_F(Win32DialogsTest, FolderBrowserShowsThePromptAndCancelGivesNothing) {
    const test::OwnWindow owner(L"Ombrix proprietario");
    dialogs.setOwner(owner.get());
    DialogPresser presser(IDCANCEL);
    EXPECT_EQ(dialogs.browseForFolder("Selezionare la cartella «DataBase»"), std::nullopt);
    const SeenDialog& seen = presser.seen();
    ASSERT_TRUE(seen.found);
    EXPECT_TRUE(seen.shows(L"Selezionare la cartella «DataBase»"));
    EXPECT_TRUE(seen.hasTree);
    EXPECT_EQ(seen.owner, owner.get());
}

// Nothing picked, the browser's root is chosen: the desktop, whose folder on
// disk is what comes back.
TEST_F(Win32DialogsTest, FolderBrowserGivesTheChosenFolderAsAPath) {
    DialogPresser presser(IDOK);
    const auto folder = dialogs.browseForFolder("Scegliere");
    ASSERT_TRUE(presser.seen().found);
    ASSERT_TRUE(folder);
    wchar_t desktop[MAX_PATH] = {};
    ASSERT_EQ(SHGetFolderPathW(nullptr, CSIDL_DESKTOPDIRECTORY, nullptr, 0, desktop), S_OK);
    EXPECT_TRUE(equalsNoCase(*folder, fromWide(desktop))) << *folder;
}

}  // namespace
}  // namespace ombrix::win32

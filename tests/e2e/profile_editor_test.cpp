// The profile editor in the running program, worked as an administrator
// works it: a new profile with a site, a program and a window title, a
// refused entry, a copy made with Ctrl held, the profile put in use from
// the main form, then deleted.
#include <windows.h>

#include <commctrl.h>
#include <gtest/gtest.h>

#include <string>

#include "app/win32/forms/resource.h"
#include "e2e/driver.h"
#include "profiles/win32/profile_form_ids.h"

namespace ombrix::e2e {
namespace {

using namespace std::chrono_literals;

std::wstring comboItem(HWND combo, int i) {
    wchar_t buffer[256] = {};
    DWORD_PTR copied = 0;
    SendMessageTimeoutW(combo, CB_GETLBTEXT, static_cast<WPARAM>(i), reinterpret_cast<LPARAM>(buffer),
                        SMTO_ABORTIFHUNG, 2000, &copied);
    return buffer;
}

int comboIndexOf(HWND combo, const std::wstring& name) {
    const int n = static_cast<int>(SendMessageW(combo, CB_GETCOUNT, 0, 0));
    for (int i = 0; i < n; ++i) {
        if (comboItem(combo, i) == name) return i;
    }
    return -1;
}

// On a busy machine Wine paints a form over seconds, control by control:
// the picture waits for a whole paint.
void painted(HWND form) {
    RedrawWindow(form, nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_FRAME | RDW_ALLCHILDREN | RDW_UPDATENOW);
    pause(1000ms);
}

// A key held down or let go, as the program's thread reads it.
void keyState(WORD vk, bool down) {
    INPUT in{};
    in.type = INPUT_KEYBOARD;
    in.ki.wVk = vk;
    in.ki.dwFlags = down ? 0 : KEYEVENTF_KEYUP;
    SendInput(1, &in, sizeof in);
    pause(300ms);
}

int rows(HWND list) { return static_cast<int>(SendMessageW(list, LVM_GETITEMCOUNT, 0, 0)); }

class ProfileEditorTest : public InstalledProgram {
protected:
    HWND openEditor(HWND main) {
        HWND editor = nullptr;
        const bool opened = clickUntil(GetDlgItem(main, IDC_CMDPROFILI), [&] {
            return (editor = formWith(*program, IDC_LSTVSITI)) != nullptr;
        });
        return opened ? editor : nullptr;
    }
    // A button of the navigation bar, until `done` holds. Its command is
    // posted as the bar posts it: a pointer click on Wine's tool bar leaves,
    // now and then, Wine's desktop in front, and the keys typed next are lost.
    bool bar(HWND editor, int command, const std::function<bool()>& done) {
        for (int attempt = 0; attempt < 3; ++attempt) {
            PostMessageW(editor, WM_COMMAND, MAKEWPARAM(command, BN_CLICKED),
                         reinterpret_cast<LPARAM>(GetDlgItem(editor, IDC_BNRPROFILI)));
            if (waitFor(done, 3s)) return true;
        }
        return false;
    }
    // Waits for a message box with `button`; its text, after pressing that button.
    std::wstring answer(int button) {
        HWND box = nullptr;
        if (!waitFor([&] { return (box = messageBox(*program, button)) != nullptr; })) return L"<no message>";
        const std::wstring said = text(GetDlgItem(box, 0xFFFF));
        if (!clickUntil(GetDlgItem(box, button), [&] { return !IsWindow(box); })) {
            PostMessageW(box, WM_COMMAND, static_cast<WPARAM>(button), 0);
        }
        return said;
    }
    // Types an entry and asks for it to be added.
    void add(HWND editor, int box, int button, const std::wstring& entry) {
        fill(GetDlgItem(editor, box), entry);
        click(GetDlgItem(editor, button));
    }
};

TEST_F(ProfileEditorTest, ANewProfileGetsItsListsIsPutInUseAndIsDeleted) {
    HWND main = start();
    ASSERT_TRUE(main);
    login(main, L"Segreta1");
    ASSERT_TRUE(waitFor([&] { return visible(GetDlgItem(main, IDC_CMDPROFILI)); }));
    HWND editor = openEditor(main);
    ASSERT_TRUE(editor) << "the profile editor did not open";
    const auto item = [&](int id) { return GetDlgItem(editor, id); };
    painted(editor);
    screenshot("frmProfili-first");

    // New: a default name and "Nuovo" until it is saved.
    ASSERT_TRUE(bar(editor, IDC_BNR_NEW, [&] { return boxText(item(IDC_TXTSTATO)) == L"Nuovo"; }));
    EXPECT_EQ(boxText(item(IDC_TXTPROFILO)), L"Nuovo profilo");
    fill(item(IDC_TXTPROFILO), L"Laboratorio");
    ASSERT_TRUE(bar(editor, IDC_BNR_SAVE, [&] { return boxText(item(IDC_TXTSTATO)).empty(); }));
    const std::string id = install.scalar("SELECT IDProfilo FROM Profili WHERE Profilo = 'Laboratorio';");
    ASSERT_FALSE(id.empty()) << "not saved";

    // A site, after the question; stored with the prefix its rule gives.
    add(editor, IDC_TXTSITO, IDC_CMDAGGIUNGISITO, L"www.esempio.it");
    EXPECT_NE(answer(IDYES).find(L"http://www.esempio.it"), std::wstring::npos);
    EXPECT_TRUE(waitFor([&] { return rows(item(IDC_LSTVSITI)) == 1; }));
    EXPECT_EQ(install.scalar("SELECT group_concat(Sito) FROM SitiVietatiConsentiti WHERE IDProfilo = " + id + ";"),
              "http://www.esempio.it");

    // A program named with its path is refused and nothing is stored.
    add(editor, IDC_TXTPROCESSO, IDC_CMDAGGIUNGIPROCESSO, L"C:\\giochi\\gioco.exe");
    EXPECT_EQ(answer(IDOK).rfind(L"Indicare solo il nome del file", 0), 0u) << "not the refusal of a path";
    EXPECT_EQ(boxText(item(IDC_TXTPROCESSO)), L"") << "the box is cleared";
    EXPECT_EQ(install.scalar("SELECT count(*) FROM ProcessiVietati WHERE IDProfilo = " + id + ";"), "0");
    add(editor, IDC_TXTPROCESSO, IDC_CMDAGGIUNGIPROCESSO, L"gioco.exe");
    EXPECT_NE(answer(IDYES).find(L"gioco.exe"), std::wstring::npos);
    EXPECT_TRUE(waitFor([&] { return rows(item(IDC_LSTVPROCESSIVIETATI)) == 1; }));

    add(editor, IDC_TXTFINESTRA, IDC_CMDAGGIUNGIFINESTRA, L"Pannello di controllo");
    EXPECT_NE(answer(IDYES).find(L"Pannello di controllo"), std::wstring::npos);
    EXPECT_TRUE(waitFor([&] { return rows(item(IDC_LSTVFINESTREVIETATE)) == 1; }));
    EXPECT_EQ(install.scalar("SELECT group_concat(Processo) || '|' || (SELECT group_concat(NomeFinestra) FROM "
                             "NomiFinestreVietate WHERE IDProfilo = " + id + ") FROM ProcessiVietati WHERE IDProfilo = " +
                             id + ";"),
              "gioco.exe|Pannello di controllo");
    bringToFront(editor);
    painted(editor);
    screenshot("frmProfili-lists");

    // New with Ctrl held copies the profile shown, its lists with it.
    keyState(VK_CONTROL, true);
    const bool copying = bar(editor, IDC_BNR_NEW, [&] { return boxText(item(IDC_TXTSTATO)) == L"Nuovo"; });
    keyState(VK_CONTROL, false);
    ASSERT_TRUE(copying);
    fill(item(IDC_TXTPROFILO), L"Copia");
    ASSERT_TRUE(bar(editor, IDC_BNR_SAVE, [&] { return boxText(item(IDC_TXTSTATO)).empty(); }));
    EXPECT_EQ(rows(item(IDC_LSTVSITI)) + rows(item(IDC_LSTVPROCESSIVIETATI)) + rows(item(IDC_LSTVFINESTREVIETATE)), 3);
    ASSERT_TRUE(bar(editor, IDC_BNR_DELETE, [&] { return boxText(item(IDC_TXTPROFILO)) != L"Copia"; }));
    EXPECT_EQ(install.scalar("SELECT count(*) FROM Profili WHERE Profilo = 'Copia';"), "0");

    // Closed, the main form offers the new profile; chosen, it is in use.
    ASSERT_TRUE(clickUntil(item(IDC_PRO_CMDESCI), [&] { return !IsWindow(editor); }));
    HWND combo = GetDlgItem(main, IDC_CMBPROFILI);
    int at = -1;
    ASSERT_TRUE(waitFor([&] { return (at = comboIndexOf(combo, L"Laboratorio")) >= 0; }));
    const int current = static_cast<int>(SendMessageW(combo, CB_GETCURSEL, 0, 0));
    bringToFront(main);
    click(combo);
    for (int i = current; i < at; ++i) pressKey(VK_DOWN);
    pressKey(VK_RETURN);
    EXPECT_TRUE(waitFor([&] { return install.scalar("SELECT IDProfiloInUso FROM Opzioni;") == id; }));

    // Reopened on the first profile; the last is the new one, and it goes with its lists.
    editor = openEditor(main);
    ASSERT_TRUE(editor);
    ASSERT_TRUE(bar(editor, IDC_BNR_LAST, [&] { return boxText(item(IDC_TXTPROFILO)) == L"Laboratorio"; }));
    EXPECT_EQ(rows(item(IDC_LSTVSITI)), 1);
    ASSERT_TRUE(bar(editor, IDC_BNR_DELETE, [&] { return boxText(item(IDC_TXTPROFILO)) != L"Laboratorio"; }));
    EXPECT_EQ(install.scalar("SELECT count(*) FROM Profili WHERE IDProfilo = " + id + ";"), "0");
    std::string left;
    for (const char* table : {"SitiVietatiConsentiti", "ProcessiVietati", "NomiFinestreVietate"}) {
        left += install.scalar(std::string("SELECT count(*) FROM ") + table + " WHERE IDProfilo = " + id + ";");
    }
    EXPECT_EQ(left, "000") << "the lists go with the profile";
    ASSERT_TRUE(clickUntil(item(IDC_PRO_CMDESCI), [&] { return !IsWindow(editor); }));
    EXPECT_TRUE(waitFor([&] { return comboIndexOf(combo, L"Laboratorio") < 0; }));
    EXPECT_TRUE(program->running());
}

}  // namespace
}  // namespace ombrix::e2e

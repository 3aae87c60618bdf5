// The profile editor as an administrator works it, the exchange file through
// the file dialogs, and the editor in an elevated copy for a pupil's program.
#include <windows.h>

#include <commctrl.h>

#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "app/win32/forms/resource.h"
#include "e2e/driver.h"
#include "platform/files.h"
#include "profiles/win32/profile_form_ids.h"
#include "schedule/win32/slot_form_ids.h"

namespace ombrix::e2e {
namespace {

using ProfileEditorTest = InstalledProgram;

int rows(HWND list) { return static_cast<int>(SendMessageW(list, LVM_GETITEMCOUNT, 0, 0)); }

// A key held down or let go, as the program's thread reads it.
void keyState(WORD vk, bool down) {
    INPUT in{};
    in.type = INPUT_KEYBOARD;
    in.ki.wVk = vk;
    in.ki.dwFlags = down ? 0 : KEYEVENTF_KEYUP;
    SendInput(1, &in, sizeof in);
    pause(300ms);
}

TEST_F(ProfileEditorTest, ANewProfileGetsItsListsIsCopiedAndPutInUse) {
    HWND main = start();
    ASSERT_TRUE(main && admin(main));
    HWND editor = open(main, IDC_CMDPROFILI, IDC_LSTVSITI);
    ASSERT_TRUE(editor) << "the profile editor did not open";
    const auto item = [&](int id) { return GetDlgItem(editor, id); };
    const auto stateIs = [&](const wchar_t* state) { return [=] { return boxText(item(IDC_TXTSTATO)) == state; }; };
    picture(editor, "frmProfili-first");

    ASSERT_TRUE(barCommand(editor, IDC_BNR_NEW, stateIs(L"Nuovo")));
    EXPECT_EQ(boxText(item(IDC_TXTPROFILO)), L"Nuovo profilo");
    fill(item(IDC_TXTPROFILO), L"Laboratorio");
    ASSERT_TRUE(barCommand(editor, IDC_BNR_SAVE, stateIs(L"")));
    const std::string id = install.scalar("SELECT IDProfilo FROM Profili WHERE Profilo = 'Laboratorio';");
    ASSERT_FALSE(id.empty()) << "not saved";
    const auto add = [&](int box, int button, const std::wstring& entry) {
        fill(item(box), entry);
        click(item(button));
    };

    // A site, after the question; stored with the prefix its rule gives.
    add(IDC_TXTSITO, IDC_CMDAGGIUNGISITO, L"www.esempio.it");
    EXPECT_NE(answer(*program, IDYES).find(L"http://www.esempio.it"), std::wstring::npos);
    // A program named with its path is refused, the box cleared, nothing stored.
    add(IDC_TXTPROCESSO, IDC_CMDAGGIUNGIPROCESSO, L"C:\\giochi\\gioco.exe");
    EXPECT_EQ(answer(*program, IDOK).rfind(L"Indicare solo il nome del file", 0), 0u) << "not the refusal of a path";
    EXPECT_EQ(boxText(item(IDC_TXTPROCESSO)), L"");
    EXPECT_EQ(install.scalar("SELECT count(*) FROM ProcessiVietati WHERE IDProfilo = " + id + ";"), "0");
    add(IDC_TXTPROCESSO, IDC_CMDAGGIUNGIPROCESSO, L"gioco.exe");
    EXPECT_NE(answer(*program, IDYES).find(L"gioco.exe"), std::wstring::npos);
    add(IDC_TXTFINESTRA, IDC_CMDAGGIUNGIFINESTRA, L"Pannello di controllo");
    EXPECT_NE(answer(*program, IDYES).find(L"Pannello di controllo"), std::wstring::npos);
    const auto listed = [&] {
        return std::to_string(rows(item(IDC_LSTVSITI))) + std::to_string(rows(item(IDC_LSTVPROCESSIVIETATI))) +
               std::to_string(rows(item(IDC_LSTVFINESTREVIETATE)));
    };
    EXPECT_TRUE(waitFor([&] { return listed() == "111"; })) << listed();
    EXPECT_EQ(install.scalar("SELECT (SELECT group_concat(Sito) FROM SitiVietatiConsentiti WHERE IDProfilo = " + id +
                             ") || '|' || (SELECT group_concat(Processo) FROM ProcessiVietati WHERE IDProfilo = " + id +
                             ") || '|' || (SELECT group_concat(NomeFinestra) FROM NomiFinestreVietate WHERE IDProfilo = " +
                             id + ");"),
              "http://www.esempio.it|gioco.exe|Pannello di controllo");
    picture(editor, "frmProfili-lists");

    // New with Ctrl held copies the profile shown, its lists with it; deleted, they go with it.
    keyState(VK_CONTROL, true);
    const bool copying = barCommand(editor, IDC_BNR_NEW, stateIs(L"Nuovo"));
    keyState(VK_CONTROL, false);
    ASSERT_TRUE(copying);
    fill(item(IDC_TXTPROFILO), L"Copia");
    ASSERT_TRUE(barCommand(editor, IDC_BNR_SAVE, stateIs(L"")));
    EXPECT_EQ(listed(), "111");
    const std::string copy = install.scalar("SELECT IDProfilo FROM Profili WHERE Profilo = 'Copia';");
    ASSERT_TRUE(barCommand(editor, IDC_BNR_DELETE, [&] { return boxText(item(IDC_TXTPROFILO)) != L"Copia"; }));
    EXPECT_EQ(install.scalar("SELECT (SELECT count(*) FROM Profili WHERE IDProfilo = " + copy +
                             ") + (SELECT count(*) FROM SitiVietatiConsentiti WHERE IDProfilo = " + copy +
                             ") + (SELECT count(*) FROM ProcessiVietati WHERE IDProfilo = " + copy +
                             ") + (SELECT count(*) FROM NomiFinestreVietate WHERE IDProfilo = " + copy + ");"),
              "0")
        << "the lists go with the profile";

    // Closed, the main form offers the new profile; chosen, it is in use.
    ASSERT_TRUE(clickUntil(item(IDC_PRO_CMDESCI), [&] { return !IsWindow(editor); }));
    HWND combo = GetDlgItem(main, IDC_CMBPROFILI);
    ASSERT_TRUE(waitFor([&] { return comboIndexOf(combo, L"Laboratorio") >= 0 && comboIndexOf(combo, L"Copia") < 0; }));
    ASSERT_TRUE(choose(combo, L"Laboratorio"));
    EXPECT_TRUE(waitFor([&] { return install.inUse() == id; }));
}

constexpr int kFileNameCombo = 0x47c;  // cmb13
constexpr int kFileNameEdit = 0x480;   // edt1

class ExchangeTest : public InstalledProgram {
protected:
    // The common file dialog on screen, if any.
    HWND fileDialog() const {
        for (HWND w : program->windows()) {
            wchar_t cls[16] = {};
            GetClassNameW(w, cls, 16);
            if (IsWindowVisible(w) && std::wstring(cls) == L"#32770" && GetDlgItem(w, IDOK) &&
                (GetDlgItem(w, kFileNameCombo) || GetDlgItem(w, kFileNameEdit))) {
                return w;
            }
        }
        return nullptr;
    }
    // Waits for the dialog and types the name as a person does: the name box
    // has the focus with the proposed name selected, so typing replaces it;
    // then Enter.
    bool pickFile(const std::wstring& path, std::wstring* proposed = nullptr, const std::string& shot = {}) {
        HWND dialog = nullptr;
        if (!waitFor([&] { return (dialog = fileDialog()) != nullptr; })) return false;
        HWND box = GetDlgItem(dialog, kFileNameCombo);
        if (!box || !IsWindowVisible(box)) box = GetDlgItem(dialog, kFileNameEdit);
        bringToFront(dialog);
        (void)waitFor([&] {
            wchar_t cls[16] = {};
            GetClassNameW(focusOf(dialog), cls, 16);
            return std::wstring(cls) == L"Edit";
        }, 5s);
        if (proposed) *proposed = boxText(box);
        if (!shot.empty()) picture(dialog, shot);
        // Keys sent while the dialog was still taking the focus are lost: type again over what is there.
        for (int attempt = 0; attempt < 3 && boxText(box) != path; ++attempt) {
            if (attempt > 0) {
                bringToFront(dialog);
                SendMessageW(dialog, WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(box), TRUE);
                // The name box is a combo box or an edit box: each takes its own message, ignores the other.
                SendMessageW(box, CB_SETEDITSEL, 0, MAKELPARAM(0, -1));
                SendMessageW(box, EM_SETSEL, 0, -1);
            }
            typeText(path);
            (void)waitFor([&] { return boxText(box) == path; }, 3s);
        }
        EXPECT_EQ(boxText(box), path);
        pressKey(VK_RETURN);
        return waitFor([&] { return !IsWindow(dialog) || !IsWindowVisible(dialog); });
    }
};

TEST_F(ExchangeTest, ExportedThroughTheSaveDialogAndImportedUnderAnotherName) {
    install.sql(
        "INSERT INTO Profili (IDProfilo, Profilo, StampantePredefinita, PaginaPredefinita, BloccaDownload, SitiProibiti, "
        "Kiosk, TastoStartDisabilitato, UtilizzaBrowserInterno, NascondiMessaggiNotifica, ProtezioneMassima, "
        "ApriPaginaInizialeATuttoSchermo) VALUES (2, 'Aula 1/B', '', 'http://scuola.it', -1, 0, 0, -1, 0, 0, 0, 0);"
        "INSERT INTO SitiVietatiConsentiti (Sito, IDProfilo) VALUES ('http://scuola.it', 2), ('.wikipedia.org', 2);"
        "INSERT INTO ProcessiVietati (Processo, IDProfilo) VALUES ('gioco.exe', 2);");
    HWND main = start();
    ASSERT_TRUE(main);
    ASSERT_TRUE(admin(main));
    HWND editor = open(main, IDC_CMDPROFILI, IDC_CMDESPORTA);
    ASSERT_TRUE(editor);
    const auto item = [&](int id) { return GetDlgItem(editor, id); };
    ASSERT_TRUE(barCommand(editor, IDC_BNR_LAST, [&] { return boxText(item(IDC_TXTPROFILO)) == L"Aula 1/B"; }));
    EXPECT_TRUE(IsWindowEnabled(item(IDC_CMDESPORTA)) && IsWindowEnabled(item(IDC_CMDIMPORTA)));

    const std::filesystem::path file = install.folder() / L"aula.OX";
    std::wstring proposed;
    ASSERT_TRUE(clickUntil(item(IDC_CMDESPORTA), [&] { return fileDialog() != nullptr; }));
    ASSERT_TRUE(pickFile(file.wstring(), &proposed, "exchange-save-dialog"));
    EXPECT_EQ(proposed, L"Aula 1-B");
    EXPECT_NE(answer(*program, IDOK).find(L"esportato"), std::wstring::npos);
    const std::string written = readWholeFile(pathToUtf8(file)).value_or("");
    EXPECT_EQ(written.rfind("<NOME>\r\nAula 1/B\r\n</NOME>\r\n<MODO>\r\nNOSTART\r\n", 0), 0u) << written;

    // The file is there now: No to the question shows the dialog again.
    ASSERT_TRUE(clickUntil(item(IDC_CMDESPORTA), [&] { return fileDialog() != nullptr; }));
    ASSERT_TRUE(pickFile(file.wstring()));
    EXPECT_NE(answer(*program, IDNO).find(L"esiste"), std::wstring::npos);
    ASSERT_TRUE(waitFor([&] { return fileDialog() != nullptr; })) << "No did not show the dialog again";
    pressKey(VK_ESCAPE);
    EXPECT_TRUE(waitFor([&] { return fileDialog() == nullptr; }));

    // Its own name is taken; under another it comes in as a new profile.
    ASSERT_TRUE(clickUntil(item(IDC_CMDIMPORTA), [&] { return fileDialog() != nullptr; }));
    ASSERT_TRUE(pickFile(file.wstring(), nullptr, "exchange-open-dialog"));
    EXPECT_NE(answer(*program, IDOK).find(L"Aula 1/B."), std::wstring::npos);
    EXPECT_EQ(install.scalar("SELECT count(*) FROM Profili;"), "2");
    {
        std::string moved = written;
        moved.replace(moved.find("Aula 1/B"), 8, "Aula 2");
        std::ofstream(file, std::ios::binary | std::ios::trunc) << moved;
    }
    ASSERT_TRUE(clickUntil(item(IDC_CMDIMPORTA), [&] { return fileDialog() != nullptr; }));
    ASSERT_TRUE(pickFile(file.wstring()));
    ASSERT_TRUE(waitFor([&] { return boxText(item(IDC_TXTPROFILO)) == L"Aula 2"; })) << "the editor shows the import";
    EXPECT_EQ(install.scalar("SELECT group_concat(Sito, ' ') FROM (SELECT Sito FROM SitiVietatiConsentiti "
                             "WHERE IDProfilo = 3 ORDER BY rowid);"),
              "http://scuola.it .wikipedia.org");
    EXPECT_EQ(install.scalar("SELECT Processo FROM ProcessiVietati WHERE IDProfilo = 3;"), "gioco.exe");
    EXPECT_EQ(install.scalar("SELECT TastoStartDisabilitato || BloccaDownload || SitiProibiti || PaginaPredefinita "
                             "FROM Profili WHERE IDProfilo = 3;"),
              "-1-10http://scuola.it");
    picture(editor, "frmProfili-imported");
    EXPECT_TRUE(command(editor, IDC_PRO_CMDESCI, [&] { return !IsWindow(editor); }));
    EXPECT_TRUE(program->running());
}

class ElevatedFormsTest : public InstalledProgram {
protected:
    AsStandardUser pupil;
};

// A visible top-level window holding the control `id`, of any process.
HWND anyFormWith(int id, DWORD* pid) {
    for (HWND w = GetTopWindow(nullptr); w != nullptr; w = GetWindow(w, GW_HWNDNEXT)) {
        if (IsWindowVisible(w) && GetDlgItem(w, id)) {
            GetWindowThreadProcessId(w, pid);
            return w;
        }
    }
    return nullptr;
}

TEST_F(ElevatedFormsTest, TheProfileEditorRunsInAnElevatedCopyAndTheProgramTakesTheNewProfile) {
    HWND main = start();
    ASSERT_TRUE(main && admin(main));
    HWND editor = nullptr;
    DWORD editorPid = 0;
    ASSERT_TRUE(clickUntil(GetDlgItem(main, IDC_CMDPROFILI), [&] { return (editor = anyFormWith(IDC_LSTVSITI, &editorPid)) != nullptr; }));
    EXPECT_NE(editorPid, program->id()) << "the editor belongs to the running program";
    EXPECT_FALSE(IsWindowEnabled(main)) << "the main form stays usable behind the editor";
    SetWindowPos(main, nullptr, 600, 400, 0, 0, SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
    picture(editor, "elevated-profile-editor");

    const auto item = [&](int id) { return GetDlgItem(editor, id); };
    ASSERT_TRUE(barCommand(editor, IDC_BNR_NEW, [&] { return boxText(item(IDC_TXTSTATO)) == L"Nuovo"; }));
    fill(item(IDC_TXTPROFILO), L"Laboratorio");
    ASSERT_TRUE(barCommand(editor, IDC_BNR_SAVE, [&] { return boxText(item(IDC_TXTSTATO)).empty(); }));
    EXPECT_FALSE(install.scalar("SELECT IDProfilo FROM Profili WHERE Profilo = 'Laboratorio';").empty());
    HWND combo = GetDlgItem(main, IDC_CMBPROFILI);
    EXPECT_LT(comboIndexOf(combo, L"Laboratorio"), 0) << "taken before the editor closed";
    ASSERT_TRUE(clickUntil(item(IDC_PRO_CMDESCI), [&] { return !IsWindow(editor); }));
    EXPECT_TRUE(waitFor([&] { return IsWindowEnabled(main) != FALSE; })) << "the main form stays disabled";
    EXPECT_TRUE(waitFor([&] { return comboIndexOf(combo, L"Laboratorio") >= 0; })) << "the new profile was not taken";
    EXPECT_TRUE(program->running());
}

TEST_F(ElevatedFormsTest, TheProfileChosenAndTheKeyboardBoxAreSavedByAnElevatedOmbrixctl) {
    test::copyProgram("ombrixctl.exe", install.file("ombrixctl.exe"));
    install.sql("INSERT INTO Profili (IDProfilo, Profilo) VALUES (7, 'Laboratorio');");
    HWND main = start();
    ASSERT_TRUE(main && admin(main));
    ASSERT_TRUE(choose(GetDlgItem(main, IDC_CMBPROFILI), L"Laboratorio"));
    EXPECT_TRUE(waitFor([&] { return install.inUse() == "7"; }));
    EXPECT_FALSE(waitFor([&] { return messageBox(*program, IDOK) != nullptr; }, 3s)) << "ombrixctl refused";
    ASSERT_TRUE(waitFor([&] { return IsWindowEnabled(main) != FALSE; }));

    HWND box = GetDlgItem(main, IDC_CHKTASTIERAVIRTUALE);
    const auto saved = [&] { return install.scalar("SELECT TastieraVirtuale FROM Opzioni;") == "-1"; };
    // Pressed again only when neither ombrixctl started nor the value came.
    EXPECT_TRUE(tick(box, [&] { return saved() || !IsWindowEnabled(main); }));
    EXPECT_TRUE(waitFor([&] { return IsWindowEnabled(main) != FALSE; }));
    EXPECT_TRUE(saved());
    EXPECT_TRUE(waitFor([&] { return SendMessageW(box, BM_GETCHECK, 0, 0) == BST_CHECKED; }));
    EXPECT_TRUE(waitFor([&] { return visible(FindWindowW(L"OmbrixTastiera", nullptr)); }));
}

TEST_F(ElevatedFormsTest, TheAdministrationModeStartedByHandShowsOnlyItsForm) {
    // The time-slot editor alone: no main form, no enforcement, beside nothing.
    const StartedProgram slots = launch("/amministra periodi");
    HWND form = nullptr;
    ASSERT_TRUE(waitFor([&] { return (form = formWith(slots, IDC_PER_CMDESCI)) != nullptr; }));
    EXPECT_EQ(formWith(slots, IDC_TXTPASS), nullptr) << "the main form came up";
    PostMessageW(form, WM_COMMAND, IDC_PER_CMDESCI, 0);
    EXPECT_EQ(slots.waitForExit(), std::optional<DWORD>(0));
}

}  // namespace
}  // namespace ombrix::e2e

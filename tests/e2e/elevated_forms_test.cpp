// The administrator's forms when the program runs without administrator
// rights: each opens in a second, elevated ombrix.exe while the main form
// waits disabled, and the running program takes what was changed. Every
// process under Wine holds a full token, so the program is told to act as
// a pupil's would.
#include <windows.h>

#include <gtest/gtest.h>

#include <string>

#include "app/win32/forms/resource.h"
#include "e2e/driver.h"
#include "profiles/win32/profile_form_ids.h"
#include "schedule/win32/slot_form_ids.h"

namespace ombrix::e2e {
namespace {

using namespace std::chrono_literals;

std::wstring imageOf(DWORD pid) {
    HANDLE process = OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, pid);
    if (!process) return {};
    wchar_t path[MAX_PATH] = {};
    DWORD size = MAX_PATH;
    const BOOL ok = QueryFullProcessImageNameW(process, 0, path, &size);
    CloseHandle(process);
    return ok ? std::wstring(path, size) : std::wstring();
}

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

int comboIndexOf(HWND combo, const std::wstring& name) {
    const int n = static_cast<int>(SendMessageW(combo, CB_GETCOUNT, 0, 0));
    for (int i = 0; i < n; ++i) {
        wchar_t item[256] = {};
        DWORD_PTR copied = 0;
        SendMessageTimeoutW(combo, CB_GETLBTEXT, static_cast<WPARAM>(i), reinterpret_cast<LPARAM>(item),
                            SMTO_ABORTIFHUNG, 2000, &copied);
        if (name == item) return i;
    }
    return -1;
}

bool comboHolds(HWND combo, const std::wstring& name) { return comboIndexOf(combo, name) >= 0; }

class ElevatedFormsTest : public InstalledProgram {
protected:
    ElevatedFormsTest() { SetEnvironmentVariableW(L"OMBRIX_AS_STANDARD_USER", L"1"); }
    ~ElevatedFormsTest() override { SetEnvironmentVariableW(L"OMBRIX_AS_STANDARD_USER", nullptr); }

    // A command of the editor's navigation bar, posted as the bar posts it.
    static bool bar(HWND editor, int command, const std::function<bool()>& done) {
        for (int attempt = 0; attempt < 3; ++attempt) {
            PostMessageW(editor, WM_COMMAND, MAKEWPARAM(command, BN_CLICKED),
                         reinterpret_cast<LPARAM>(GetDlgItem(editor, IDC_BNRPROFILI)));
            if (waitFor(done, 3s)) return true;
        }
        return false;
    }
};

TEST_F(ElevatedFormsTest, TheProfileEditorRunsInAnElevatedCopyAndTheProgramTakesTheNewProfile) {
    HWND main = start();
    ASSERT_TRUE(main);
    login(main, L"Segreta1");
    ASSERT_TRUE(waitFor([&] { return visible(GetDlgItem(main, IDC_CMDPROFILI)); }));

    HWND editor = nullptr;
    DWORD editorPid = 0;
    ASSERT_TRUE(clickUntil(GetDlgItem(main, IDC_CMDPROFILI), [&] {
        editor = anyFormWith(IDC_LSTVSITI, &editorPid);
        return editor != nullptr;
    })) << "the profile editor did not open";
    EXPECT_NE(editorPid, program->id()) << "the editor belongs to the running program";
    const std::wstring image = imageOf(editorPid);
    EXPECT_EQ(image.substr(image.find_last_of(L'\\') + 1), L"ombrix.exe") << pathToUtf8(image);
    EXPECT_FALSE(IsWindowEnabled(main)) << "the main form stays usable behind the editor";
    EXPECT_TRUE(program->running());
    // Both in the picture: the editor in front, the main form greyed beside it.
    SetWindowPos(main, nullptr, 600, 400, 0, 0, SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
    pause(1000ms);
    screenshot("elevated-profile-editor");

    const auto item = [&](int id) { return GetDlgItem(editor, id); };
    ASSERT_TRUE(bar(editor, IDC_BNR_NEW, [&] { return boxText(item(IDC_TXTSTATO)) == L"Nuovo"; }));
    fill(item(IDC_TXTPROFILO), L"Laboratorio");
    ASSERT_TRUE(bar(editor, IDC_BNR_SAVE, [&] { return boxText(item(IDC_TXTSTATO)).empty(); }));
    EXPECT_FALSE(install.scalar("SELECT IDProfilo FROM Profili WHERE Profilo = 'Laboratorio';").empty());
    EXPECT_FALSE(comboHolds(GetDlgItem(main, IDC_CMBPROFILI), L"Laboratorio")) << "taken before the editor closed";

    ASSERT_TRUE(clickUntil(item(IDC_PRO_CMDESCI), [&] { return !IsWindow(editor); }));
    EXPECT_TRUE(waitFor([&] { return IsWindowEnabled(main) != FALSE; })) << "the main form stays disabled";
    EXPECT_TRUE(waitFor([&] { return comboHolds(GetDlgItem(main, IDC_CMBPROFILI), L"Laboratorio"); }))
        << "the running program did not take the new profile";
    EXPECT_TRUE(program->running());
}

TEST_F(ElevatedFormsTest, TheProfileChosenIsInUseAtOnceAndSavedByAnElevatedOmbrixctl) {
    const std::string ctl = pathToUtf8(install.folder() / L"ombrixctl.exe");
    test::copyProgram("ombrixctl.exe", ctl);
    install.sql("INSERT INTO Profili (IDProfilo, Profilo) VALUES (7, 'Laboratorio');");
    // Whether this ombrixctl takes the flag that says it already runs elevated.
    const bool knowsFlag = StartedProgram(test::quoted(ctl) + " --elevated --version").waitForExit() == 0u;
    HWND main = start();
    ASSERT_TRUE(main);
    login(main, L"Segreta1");
    HWND combo = GetDlgItem(main, IDC_CMBPROFILI);
    ASSERT_TRUE(waitFor([&] { return visible(combo); }));
    const int at = comboIndexOf(combo, L"Laboratorio");
    ASSERT_GE(at, 0);
    const int current = static_cast<int>(SendMessageW(combo, CB_GETCURSEL, 0, 0));
    bringToFront(main);
    click(combo);
    for (int i = current; i < at; ++i) pressKey(VK_DOWN);
    pressKey(VK_RETURN);
    if (knowsFlag) {
        EXPECT_TRUE(waitFor([&] { return install.scalar("SELECT IDProfiloInUso FROM Opzioni;") == "7"; }));
        EXPECT_FALSE(waitFor([&] { return messageBox(*program, IDOK) != nullptr; }, 3s)) << "ombrixctl refused";
    } else {
        // An ombrixctl without the flag refuses it: the refusal is told.
        HWND box = nullptr;
        ASSERT_TRUE(waitFor([&] { return (box = messageBox(*program, IDOK)) != nullptr; }));
        EXPECT_NE(text(GetDlgItem(box, 0xFFFF)).find(L"ombrixctl use #7"), std::wstring::npos);
        PostMessageW(box, WM_COMMAND, IDOK, 0);
    }
    EXPECT_TRUE(waitFor([&] { return IsWindowEnabled(main) != FALSE; }));
    EXPECT_TRUE(program->running());
}

TEST_F(ElevatedFormsTest, TheKeyboardBoxIsSavedByAnElevatedOmbrixctl) {
    test::copyProgram("ombrixctl.exe", pathToUtf8(install.folder() / L"ombrixctl.exe"));
    HWND main = start();
    ASSERT_TRUE(main);
    login(main, L"Segreta1");
    HWND box = GetDlgItem(main, IDC_CHKTASTIERAVIRTUALE);
    ASSERT_TRUE(waitFor([&] { return visible(box); }));
    const auto saved = [&] { return install.scalar("SELECT TastieraVirtuale FROM Opzioni;") == "-1"; };
    // A press lost on a busy machine is pressed again, only once nothing came of it.
    for (int attempt = 0; attempt < 3 && !saved(); ++attempt) {
        heldClick(box);
        (void)waitFor([&] { return saved() || !IsWindowEnabled(main); }, 5s);  // ombrixctl started, or is done
        (void)waitFor([&] { return IsWindowEnabled(main) != FALSE; });
    }
    EXPECT_TRUE(saved());
    EXPECT_TRUE(waitFor([&] { return SendMessageW(box, BM_GETCHECK, 0, 0) == BST_CHECKED; }));
    EXPECT_TRUE(waitFor([&] { return visible(FindWindowW(L"OmbrixTastiera", nullptr)); }));
    EXPECT_TRUE(waitFor([&] { return IsWindowEnabled(main) != FALSE; }));
}

TEST_F(ElevatedFormsTest, TheAdministrationModeStartedByHandShowsOnlyItsFormOrRefuses) {
    // An unknown form: told, nothing opened, a failure status.
    StartedProgram wrong(test::quoted(pathToUtf8(install.exe())) + " /amministra giochi", install.folder());
    HWND box = nullptr;
    ASSERT_TRUE(waitFor([&] { return (box = messageBox(wrong, IDOK)) != nullptr; }));
    EXPECT_NE(text(GetDlgItem(box, 0xFFFF)).find(L"giochi"), std::wstring::npos);
    EXPECT_EQ(formWith(wrong, IDC_TXTPASS), nullptr);
    RedrawWindow(box, nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_FRAME | RDW_ALLCHILDREN | RDW_UPDATENOW);
    pause(1500ms);
    screenshot("administration-unknown-form");
    PostMessageW(box, WM_COMMAND, IDOK, 0);
    EXPECT_EQ(wrong.waitForExit(), std::optional<DWORD>(1));

    // The time-slot editor alone: no main form, no enforcement, beside nothing.
    StartedProgram slots(test::quoted(pathToUtf8(install.exe())) + " /amministra periodi", install.folder());
    HWND form = nullptr;
    ASSERT_TRUE(waitFor([&] { return (form = formWith(slots, IDC_PER_CMDESCI)) != nullptr; }));
    EXPECT_EQ(formWith(slots, IDC_TXTPASS), nullptr) << "the main form came up";
    PostMessageW(form, WM_COMMAND, IDC_PER_CMDESCI, 0);
    EXPECT_EQ(slots.waitForExit(), std::optional<DWORD>(0));
}

}  // namespace
}  // namespace ombrix::e2e

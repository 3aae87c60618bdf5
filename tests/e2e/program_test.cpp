// ombrix.exe from start to exit as its administrator meets it, and the
// on-screen keyboard its option shows.
#include <gtest/gtest.h>

#include "app/win32/forms/resource.h"
#include "core/database.h"
#include "e2e/driver.h"
#include "fakes/fixtures.h"
#include "platform/file_registry.h"

namespace ombrix::e2e {
namespace {

using ProgramTest = InstalledProgram;

bool adminShown(HWND main) { return visible(GetDlgItem(main, IDC_CMBPROFILI)); }
// The tray icon's hidden window; only one program runs at a time.
HWND trayWindow() { return FindWindowW(L"OmbrixNotifyIcon", nullptr); }

TEST_F(ProgramTest, OnlyTheExactPasswordOpensTheControlsEscapeKeepsThemTheComboPutsAProfileInUse) {
    install.sql("INSERT INTO Profili (IDProfilo, Profilo, SitiProibiti) VALUES (2, 'Laboratorio', -1);");
    HWND main = start();
    ASSERT_TRUE(main);
    login(main, L"segreta1");
    EXPECT_FALSE(waitFor([&] { return adminShown(main); }, 1500ms)) << "letter case counts";
    SetWindowTextW(GetDlgItem(main, IDC_TXTPASS), L"");
    login(main, L"Segreta1");
    ASSERT_TRUE(waitFor([&] { return adminShown(main); }));
    EXPECT_EQ(text(GetDlgItem(main, IDC_TXTPASS)), L"") << "the password box is cleared";
    picture(main, "frmOmbrix-administrator");
    bringToFront(main);
    pressKey(VK_ESCAPE);
    EXPECT_FALSE(waitFor([&] { return !visible(main) || !adminShown(main); }, 1500ms)) << "Escape hid or locked";
    HWND combo = GetDlgItem(main, IDC_CMBPROFILI);
    EXPECT_EQ(SendMessageW(combo, CB_GETCOUNT, 0, 0), 2);
    ASSERT_TRUE(choose(combo, L"Laboratorio"));
    EXPECT_TRUE(waitFor([&] { return install.inUse() == "2"; }));
}

// The question is in plain sight; left open, the profile is enforced all the same.
TEST_F(ProgramTest, TheFirstStartAsksForAPasswordInPlainSightAndEnforcesMeanwhile) {
    install.sql("UPDATE Opzioni SET PasswordAdmin = NULL;"
                "INSERT INTO ProcessiVietati (IDProfilo, Processo) VALUES (1, 'vietato.exe');");
    run();
    HWND options = nullptr;
    ASSERT_TRUE(waitFor([&] { return (options = formWith(*program, IDC_OPZ_TXTPASS)) != nullptr; }, 45s));
    EXPECT_TRUE(ends("vietato.exe")) << "the forbidden program runs while the form is open";
    picture(options, "frmOpzioni-first-start");
    EXPECT_EQ(formWith(*program, IDC_LBLSPLASH), nullptr) << "the splash is gone before the question";
    RECT box{};
    GetWindowRect(options, &box);
    EXPECT_EQ(GetAncestor(WindowFromPoint({(box.left + box.right) / 2, (box.top + box.bottom) / 2}), GA_ROOT), options)
        << "something covers the form";
    // The focus is in the first box: the password twice, then Enter.
    bringToFront(options);
    typeText(L"Prima1");
    pressKey(VK_TAB);
    typeText(L"Prima1");
    pressKey(VK_RETURN);
    HWND main = nullptr;
    ASSERT_TRUE(waitFor([&] { return (main = formWith(*program, IDC_TXTPASS)) != nullptr; }));
    login(main, L"Prima1");
    EXPECT_TRUE(waitFor([&] { return adminShown(main); }));
}

// On top, locked, without a task-bar button, alone; the control box puts it
// in the tray, the tray's menu brings it back locked, the exit command ends it.
TEST_F(ProgramTest, StartsOnTopLockedAloneGoesToTheTrayAndEndsByTheExitCommand) {
    HWND main = start();
    ASSERT_TRUE(visible(main)) << "the main form did not appear";
    picture(main, "frmOmbrix-locked");
    EXPECT_TRUE(topmost(main));
    HWND owner = GetWindow(main, GW_OWNER);
    ASSERT_NE(owner, nullptr) << "an owned form has no task-bar button";
    EXPECT_FALSE(IsWindowVisible(owner));
    EXPECT_EQ(GetWindowLongW(main, GWL_EXSTYLE) & WS_EX_APPWINDOW, 0);
    EXPECT_FALSE(adminShown(main));
    const HWND tray = trayWindow();
    EXPECT_TRUE(waitFor([&] { return test::trayIconPresent(tray); }, 5s));
    // A message of its own would keep the second start from ending.
    EXPECT_EQ(launch().waitForExit(), 0u) << "the second start did not end silently";

    ASSERT_TRUE(admin(main));
    PostMessageW(main, WM_SYSCOMMAND, SC_CLOSE, 0);
    EXPECT_TRUE(waitFor([&] { return !visible(main); }));
    pause(1s);
    EXPECT_TRUE(program->running());
    EXPECT_TRUE(test::trayIconPresent(tray));

    PostMessageW(tray, 40959, 0, WM_RBUTTONUP);
    pause(800ms);
    screenshot("mnuMenu");
    pressKey(VK_DOWN);
    pressKey(VK_RETURN);
    ASSERT_TRUE(waitFor([&] { return visible(main); })) << "mnuApri did not show the form";
    EXPECT_FALSE(adminShown(main));

    exitProgram(main);
    EXPECT_FALSE(test::trayIconPresent(tray)) << "the tray icon is removed";
    // The store was closed cleanly: no journal left, and it reads back.
    EXPECT_FALSE(std::filesystem::exists(install.database().wstring() + L"-journal"));
    EXPECT_EQ(install.inUse(), "1");
}

constexpr const char* kForbid = "INSERT INTO ProcessiVietati (IDProfilo, Processo) VALUES (1, 'vietato.exe');";

void markMachine() {
    platform::systemRegistry().writeString(platform::RegRoot::LocalMachine, "SOFTWARE\\Ombrix\\Opzioni",
                                           "PasswordScelta", "1");
}

struct NoticeCase {
    const char* name;
    void (*prepare)(const Installation&);
    const wchar_t* first;  // a box answered before, if any
    const wchar_t* words;
    bool pupil;   // the program runs as a standard user's
    bool goesOn;  // answered, the main form comes
};

void PrintTo(const NoticeCase& c, std::ostream* out) { *out << c.name; }

class StartNotice : public InstalledProgram, public ::testing::WithParamInterface<NoticeCase> {};

TEST_P(StartNotice, LeftOpenTheForbiddenProgramIsEndedAllTheSame) {
    const NoticeCase& c = GetParam();
    c.prepare(install);
    {
        std::optional<AsStandardUser> pupil;
        if (c.pupil) pupil.emplace();
        run();
    }
    if (c.first) {
        const HWND first = boxSaying(*program, c.first);
        ASSERT_TRUE(first);
        // Its button's command: a click given again would land on the next
        // box, which comes up in the same place (maybe in the same handle).
        PostMessageW(first, WM_COMMAND, MAKEWPARAM(IDOK, BN_CLICKED), reinterpret_cast<LPARAM>(GetDlgItem(first, IDOK)));
        ASSERT_TRUE(waitFor([&] { return !visible(first) || text(GetDlgItem(first, 0xFFFF)).find(c.first) == std::wstring::npos; }));
    }
    const HWND box = boxSaying(*program, c.words);
    ASSERT_TRUE(box) << "no such box";
    EXPECT_TRUE(ends("vietato.exe")) << "the forbidden program runs while the box is open";
    EXPECT_TRUE(visible(box)) << "the box went away by itself";
    picture(box, std::string(c.name) + "-left-open");
    EXPECT_EQ(formWith(*program, IDC_OPZ_TXTPASS), nullptr) << "no password form while a box is open";
    // Without a store every page is blocked.
    if (!std::filesystem::exists(install.database())) {
        EXPECT_TRUE(waitFor([] { return registryValue("Software\\Policies\\Google\\Chrome\\URLBlocklist", "1") == "text *"; }));
    }
    if (!c.goesOn) return;
    bringToFront(box);
    pressKey(VK_RETURN);
    EXPECT_TRUE(waitFor([&] { return formWith(*program, IDC_TXTPASS) != nullptr; })) << "the start-up goes on";
    EXPECT_EQ(formWith(*program, IDC_OPZ_TXTPASS), nullptr) << "no new password is offered";
}

INSTANTIATE_TEST_SUITE_P(
    Stores, StartNotice,
    ::testing::Values(
        NoticeCase{"Upgraded",
                   [](const Installation& i) {
                       std::filesystem::remove(i.database());
                       core::Database db;
                       ASSERT_TRUE(db.open(pathToUtf8(i.database()), core::Database::Mode::CreateIfMissing));
                       ASSERT_TRUE(db.exec(std::string(test::oldestSchemaSql()) + kForbid + "UPDATE Profili SET PaginaPredefinita = '';"));
                   },
                   nullptr, L"aggiornato", false, false},
        NoticeCase{"Unreadable",
                   [](const Installation& i) { i.sql(std::string(kForbid) + "DROP TABLE SitiVietatiConsentiti;"); },
                   L"non \u00e8 un database", L"Impossibile leggere il database", false, true},
        NoticeCase{"Replaced",
                   [](const Installation& i) {
                       markMachine();
                       i.sql(std::string(kForbid) + "UPDATE Opzioni SET PasswordAdmin = NULL;");
                   },
                   nullptr, L"sostituito", false, false},
        // No password chosen, and this session may not choose one: the copy
        // ombrixctl keeps of the programs stays forbidden.
        NoticeCase{"NoPasswordForAPupil",
                   [](const Installation& i) {
                       ASSERT_EQ(i.ctl("process add #1 vietato.exe"), 0u);
                       i.sql("UPDATE Opzioni SET PasswordAdmin = NULL;");
                   },
                   nullptr, L"deve avviare Ombrix con i diritti di amministratore", true, false},
        NoticeCase{"Lost",
                   [](const Installation& i) {
                       ASSERT_EQ(i.ctl("process add #1 vietato.exe"), 0u);
                       markMachine();
                       std::filesystem::remove(i.database());
                   },
                   nullptr, L"manca", false, true}),
    [](const auto& param) { return std::string(param.param.name); });

class OnScreenKeyboardTest : public InstalledProgram {
protected:
    OnScreenKeyboardTest() { install.sql("UPDATE Opzioni SET TastieraVirtuale = -1, IDProfiloInUso = 1;"); }
    // The key that shows this caption now.
    [[nodiscard]] HWND key(const std::wstring& caption) const { return FindWindowExW(keyboard, nullptr, L"Static", caption.c_str()); }
    HWND keyboard = nullptr;
};

TEST_F(OnScreenKeyboardTest, TypesIntoTheFocusedWindowWhichKeepsTheFocusAndIsGoneBeforeTheMachineIsGivenBack) {
    HWND main = start();
    ASSERT_TRUE(main);
    ASSERT_TRUE(waitFor([&] { return visible(keyboard = FindWindowW(L"OmbrixTastiera", nullptr)); }))
        << "the option shows the keyboard at the start";
    EXPECT_EQ(text(keyboard), L"Tastiera su schermo") << "the language file's caption";
    const std::string log = install.file("testo.log");
    const StartedProgram recorder = test::startRecorder(test::recorderPath(), log, "Ombrix testo");
    HWND target = nullptr;
    ASSERT_TRUE(waitFor([&] { return (target = FindWindowW(nullptr, L"Ombrix testo")) != nullptr; }));
    bringToFront(target);
    ASSERT_TRUE(waitFor([&] { return GetForegroundWindow() == target; }));
    picture(keyboard, "keyboard-lower-case");

    // Caption by caption, as a finger would press them; the space bar has none.
    for (const wchar_t* caption : {L"Maiu", L"C", L"Minu", L"i", L"a", L"o", L"", L"è", L"", L"à", L"", L"ò", L"Maiu", L"!"}) {
        HWND k = key(caption);
        ASSERT_TRUE(k) << "no key shows \"" << pathToUtf8(caption) << "\"";
        injectClick(k);
    }
    ASSERT_TRUE(test::waitForLine(log, "char 33")) << "the last key, \"!\", never arrived";
    std::wstring typed;
    for (const auto& line : test::logLines(log)) {
        if (line.rfind("char ", 0) == 0) typed += static_cast<wchar_t>(std::stoi(line.substr(5)));
        EXPECT_NE(line, "focus lost");
    }
    EXPECT_EQ(pathToUtf8(typed), "Ciao è à ò!");
    EXPECT_EQ(GetForegroundWindow(), target);
    EXPECT_TRUE(key(L"Minu")) << "still in upper case";
    picture(keyboard, "keyboard-upper-case");

    // The close box only puts it away.
    PostMessageW(keyboard, WM_CLOSE, 0, 0);
    EXPECT_TRUE(waitFor([&] { return IsIconic(keyboard) != FALSE; }));
    EXPECT_TRUE(visible(keyboard));

    // The closing routine gives the machine back last, then removes the
    // journal of what it changed: by then the keyboard must be off the screen.
    ASSERT_TRUE(install.journalExists());
    ASSERT_TRUE(admin(main));
    // The button's command, so that the watch below starts at once.
    PostMessageW(main, WM_COMMAND, MAKEWPARAM(IDC_CMDESCI, BN_CLICKED), 0);
    const auto until = std::chrono::steady_clock::now() + 15s;
    while (install.journalExists() && std::chrono::steady_clock::now() < until) {
    }
    EXPECT_FALSE(visible(keyboard)) << "the keyboard was on screen when the machine was given back";
    EXPECT_EQ(program->waitForExit(), 0u);
}

}  // namespace
}  // namespace ombrix::e2e

// A PC set up through Group Policy: the policy key, and a profile from an
// exchange file on a share.
#include <windows.h>

#include <commctrl.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>

#include "app/win32/forms/resource.h"
#include "core/password.h"
#include "core/policy_names.h"
#include "e2e/driver.h"
#include "fakes/fixtures.h"
#include "platform/files.h"
#include "profiles/profile_exchange.h"
#include "profiles/win32/profile_form_ids.h"
#include "schedule/win32/slot_form_ids.h"
#include "win32/event_trace.h"

namespace ombrix::e2e {
namespace {

namespace policy = core::policy;

class PolicyTest : public InstalledProgram {
protected:
    PolicyTest() { clearKey(); }
    ~PolicyTest() override {
        program.reset();  // ended before the key goes, so nothing follows its removal
        clearKey();
    }
    static void clearKey() { RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Policies\\Ombrix"); }
    // reg.exe, as Group Policy's client leaves a value: another process, a REG_SZ.
    static void regAdd(std::string_view name, const std::string& value) {
        const std::string line = "reg add HKLM\\SOFTWARE\\Policies\\Ombrix /v " + std::string(name) +
                                 " /t REG_SZ /d " + test::quoted(value) + " /f";
        ASSERT_EQ(test::StartedProgram(line).waitForExit(), 0u) << line;
    }
    [[nodiscard]] static bool adminShown(HWND main) { return visible(GetDlgItem(main, IDC_CMBPROFILI)); }
};

TEST_F(PolicyTest, ThePolicysProfileAndPasswordAreInForceAndFollowTheKey) {
    install.sql("INSERT INTO Profili (IDProfilo, Profilo) VALUES (2, 'Verifica'), (3, 'Lezione');"
                "INSERT INTO ProcessiVietati (IDProfilo, Processo) VALUES (2, 'giochi.exe'), (3, 'lettore.exe');");
    regAdd(policy::kProfileInUse, "verifica");
    regAdd(policy::kAdminPasswordHash, core::hashPassword("Preside1").value());
    HWND main = start();
    ASSERT_TRUE(main);

    ASSERT_TRUE(ends("giochi.exe")) << "the policy's profile does not forbid giochi.exe";
    const StartedProgram reader = startCopy("lettore.exe", "Lettore");
    ASSERT_TRUE(reader.started());
    // Its window takes the focus when it shows: before the password is typed, not during.
    ASSERT_TRUE(waitFor([] { return FindWindowW(L"OmbrixWindowRecorder", L"Lettore") != nullptr; }));

    login(main, L"Segreta1");
    EXPECT_FALSE(waitFor([&] { return adminShown(main); }, 1500ms)) << "the PC's own password opened";
    SetWindowTextW(GetDlgItem(main, IDC_TXTPASS), L"");
    login(main, L"Preside1");
    ASSERT_TRUE(waitFor([&] { return adminShown(main); })) << windowInFront();

    HWND options = open(main, IDC_CMDPASSWORD, IDC_OPZ_LBLGESTITA);
    ASSERT_TRUE(options);
    EXPECT_TRUE(visible(GetDlgItem(options, IDC_OPZ_LBLGESTITA)));
    EXPECT_NE(text(GetDlgItem(options, IDC_OPZ_LBLGESTITA)).find(L"gestita dai criteri di gruppo"), std::wstring::npos);
    EXPECT_FALSE(visible(GetDlgItem(options, IDC_OPZ_TXTPASS)));
    picture(options, "frmOpzioni-managed");
    ASSERT_TRUE(clickUntil(GetDlgItem(options, IDC_CMDANNULLA), [&] { return !IsWindow(options); }));

    // Still running: the reader is allowed until the key names its profile.
    EXPECT_TRUE(reader.running());
    const auto changedAt = std::chrono::steady_clock::now();
    regAdd(policy::kProfileInUse, "Lezione");
    ASSERT_TRUE(reader.waitForExit(30s)) << "the changed key was not enforced";
    const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - changedAt);
    RecordProperty("ms_from_reg_add_to_enforcement", std::to_string(took.count()));
    std::printf("ProfileInUse changed with reg add: the new profile's forbidden program ended %lld ms later\n",
                static_cast<long long>(took.count()));
    EXPECT_EQ(install.inUse(), "1") << "the store keeps the PC's own choice";
    EXPECT_TRUE(program->running());
}

// What the policy sets shows disabled, with the values in force named.
TEST_F(PolicyTest, TheFormsShowWhatThePolicySetsDisabled) {
    install.sql("INSERT INTO Profili (IDProfilo, Profilo) VALUES (2, 'Verifica');");
    for (const auto& [name, value] : {std::pair{policy::kProfileInUse, "Verifica"}, {policy::kOnScreenKeyboard, "0"},
                                      {policy::kSlot2From, "13:00"}, {policy::kSlot2To, "14:00"},
                                      {policy::kSlot2Profile, "Verifica"}, {policy::kFallbackProfile, "Verifica"}}) {
        regAdd(name, value);
    }
    HWND main = start();
    ASSERT_TRUE(main);
    // Typed once the splash has gone: its closing moves the activation.
    ASSERT_TRUE(waitFor([&] {
        const auto windows = program->windows();
        return std::none_of(windows.begin(), windows.end(), [](HWND w) { return GetDlgItem(w, IDC_LBLSPLASH); });
    }));
    login(main, L"Segreta1");
    ASSERT_TRUE(waitFor([&] { return visible(GetDlgItem(main, IDC_LBLCRITERI)); })) << windowInFront();
    EXPECT_FALSE(IsWindowEnabled(GetDlgItem(main, IDC_CMBPROFILI)));
    EXPECT_FALSE(IsWindowEnabled(GetDlgItem(main, IDC_CHKTASTIERAVIRTUALE)));
    EXPECT_TRUE(IsWindowEnabled(GetDlgItem(main, IDC_CHKESECUZIONEAUTOMATICA)));
    EXPECT_NE(text(GetDlgItem(main, IDC_LBLCRITERI)).find(L"pu\u00f2 cambiare su questo PC. Criterio in vigore: "
                                                          L"ProfileInUse, OnScreenKeyboard"),
              std::wstring::npos);
    picture(main, "frmOmbrix-policy");
    HWND editor = open(main, IDC_CMDPERIODI, IDC_TXTFASCIA1DALLE);
    ASSERT_TRUE(editor);
    ASSERT_TRUE(waitFor([&] { return visible(GetDlgItem(editor, IDC_PER_LBLCRITERI)); })) << "shown once loaded";
    for (const int id : {IDC_TXTFASCIA1DALLE, IDC_CHKFASCEORARIE, IDC_TXTFASCIA2DALLE, IDC_TXTFASCIA2ALLE,
                         IDC_CMBPROFILOPERIODO2, IDC_CMBPROFILO}) {
        EXPECT_EQ(IsWindowEnabled(GetDlgItem(editor, id)), id == IDC_TXTFASCIA1DALLE || id == IDC_CHKFASCEORARIE) << id;
    }
    EXPECT_NE(text(GetDlgItem(editor, IDC_PER_LBLCRITERI)).find(L"Criterio in vigore: Slot2From, FallbackProfile"),
              std::wstring::npos);
    picture(editor, "frmPeriodi-policy");
    ASSERT_TRUE(clickUntil(GetDlgItem(editor, IDC_PER_CMDESCI), [&] { return !IsWindow(editor); }));
}

constexpr const char* kPolicyKey = "HKLM\\SOFTWARE\\Policies\\Ombrix";

// A profile that forbids one program and hides the notices.
std::string exchangeFile(const std::string& program) {
    profiles::ExchangeProfile p;
    p.record.name = "Aula";
    p.record.hideMessages = true;
    p.processes = {program};
    return profiles::exchangeText(p).bytes;
}

bool reg(const std::string& arguments) {
    return test::StartedProgram("reg.exe " + arguments).waitForExit(30s) == 0u;
}

class ManagedProfilesTest : public InstalledProgram {
protected:
    ManagedProfilesTest() {
        test::writeFile(share, exchangeFile("giochi.exe"));
        std::filesystem::create_directories(install.folder() / L"DataBase" / L"Registro");
        EXPECT_TRUE(reg(std::string("add ") + kPolicyKey + " /v ManagedProfilesPath /t REG_SZ /d " +
                        test::quoted(share) + " /f"));
        // The profile in use names the managed one, which the file fills in.
        install.sql("INSERT INTO Profili (IDProfilo, Profilo, SitiProibiti, Gestito) VALUES (2, 'Aula', -1, -1);"
                    "UPDATE Opzioni SET IDProfiloInUso = 2;");
    }
    ~ManagedProfilesTest() override {
        program.reset();
        (void)reg(std::string("delete ") + kPolicyKey + " /v ManagedProfilesPath /f");
    }
    bool traced(const std::string& what) const {
        const std::string trace = install.file("DataBase\\Registro\\ombrix-trace.txt");
        return waitFor([&] { return readWholeFile(trace).value_or("").find(what) != std::string::npos; }, 30s);
    }

    std::string share = install.file("condivisa\\aula.ox");
};

TEST_F(ManagedProfilesTest, TheFileIsEnforcedRefusedToTheEditorFollowedAndKeptWhenDamaged) {
    HWND main = start();
    ASSERT_TRUE(main);
    ASSERT_TRUE(ends("giochi.exe")) << "the managed profile's forbidden program still runs";

    // The editor shows the profile, and will not change it.
    ASSERT_TRUE(admin(main));
    HWND editor = open(main, IDC_CMDPROFILI, IDC_LSTVSITI);
    ASSERT_TRUE(editor);
    ASSERT_TRUE(barCommand(editor, IDC_BNR_LAST, [&] { return visible(GetDlgItem(editor, IDC_LBLGESTITO)); }));
    EXPECT_EQ(boxText(GetDlgItem(editor, IDC_TXTPROFILO)), L"Aula");
    EXPECT_EQ(text(GetDlgItem(editor, IDC_LBLGESTITO)).rfind(L"Questo profilo \u00e8 gestito dai Criteri di gruppo", 0), 0u);
    EXPECT_FALSE(IsWindowEnabled(GetDlgItem(editor, IDC_TXTPROFILO)));
    EXPECT_FALSE(IsWindowEnabled(GetDlgItem(editor, IDC_CMDAGGIUNGIPROCESSO)));
    EXPECT_FALSE(SendMessageW(GetDlgItem(editor, IDC_BNRPROFILI), TB_ISBUTTONENABLED, IDC_BNR_DELETE, 0));
    picture(editor, "frmProfili-managed");
    // Even asked directly, as a disabled button never asks.
    EXPECT_TRUE(barCommand(editor, IDC_BNR_DELETE, [&] { return messageBox(*program, IDOK) != nullptr; }));
    EXPECT_NE(answer(*program, IDOK).find(win32::toWide(share)), std::wstring::npos);
    PostMessageW(editor, WM_COMMAND, IDCANCEL, 0);
    ASSERT_TRUE(waitFor([&] { return !IsWindow(editor); }));
    EXPECT_EQ(install.scalar("SELECT Profilo FROM Profili WHERE IDProfilo = 2;"), "Aula");

    // A new file: its program goes without a restart.
    const StartedProgram chat = startCopy("chat.exe", "chat.exe");
    ASSERT_TRUE(chat.started());
    ASSERT_TRUE(waitFor([&] { return !chat.windows().empty(); }));
    const auto changedAt = std::chrono::steady_clock::now();
    test::writeFile(share, exchangeFile("chat.exe"));
    ASSERT_TRUE(chat.waitForExit(60s)) << "the changed file is not enforced";
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - changedAt);
    RecordProperty("ms_from_file_change_to_enforcement", std::to_string(ms.count()));
    std::printf("a changed managed file was enforced %lld ms after it was written\n", static_cast<long long>(ms.count()));

    // A damaged file is refused, traced, and the last good list stays.
    test::writeFile(share, "<NOME>\r\nAula\r\n");
    ASSERT_TRUE(traced("the managed file is damaged"));
    EXPECT_TRUE(waitFor([] {
        const auto events = test::tracedEvents();
        return std::any_of(events.begin(), events.end(), [](const test::TracedEvent& e) { return e.id == 2101; });
    })) << "no event for the refused file";
    EXPECT_TRUE(ends("chat.exe")) << "the last good list is not in force";
    EXPECT_TRUE(program->running());
}

// Another process commits to the store (in a pupil's session only an
// elevated one can): the running program follows without a restart.
TEST_F(ManagedProfilesTest, AProfilePutInUseByAnotherProcessIsEnforced) {
    ASSERT_TRUE(start());
    const StartedProgram chat = startCopy("chat.exe", "chat.exe");
    ASSERT_TRUE(waitFor([&] { return !chat.windows().empty(); }));
    ASSERT_EQ(install.ctl("process add #1 chat.exe"), 0u);
    ASSERT_EQ(install.ctl("use #1"), 0u);
    ASSERT_TRUE(chat.waitForExit(30s)) << "the profile another process put in use is not enforced";
}

}  // namespace
}  // namespace ombrix::e2e

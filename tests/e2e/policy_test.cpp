// A PC set up through the policy key alone, as Group Policy writes it: the
// policy's profile is enforced, its password alone opens the administrator's
// controls (and cannot be changed here), a change of the key is enforced
// without a restart, and the forms show what it sets disabled.
#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "app/win32/forms/resource.h"
#include "core/password.h"
#include "core/policy_names.h"
#include "e2e/driver.h"
#include "fakes/fixtures.h"
#include "platform/files.h"
#include "schedule/win32/slot_form_ids.h"

namespace ombrix::e2e {
namespace {

using namespace std::chrono_literals;
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
    [[nodiscard]] std::string folderFile(const std::string& name) const {
        return pathToUtf8(install.folder() / pathFromUtf8(name));
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

    test::StartedProgram game =
        test::startRecorder(test::copyRecorder(folderFile("giochi.exe")), folderFile("giochi.log"), "Gioco");
    ASSERT_TRUE(game.waitForExit()) << "the policy's profile does not forbid giochi.exe";
    test::StartedProgram reader =
        test::startRecorder(test::copyRecorder(folderFile("lettore.exe")), folderFile("lettore.log"), "Lettore");
    ASSERT_TRUE(reader.started());
    // Its window takes the focus when it shows: before the password is typed, not during.
    ASSERT_TRUE(waitFor([] { return FindWindowW(L"OmbrixWindowRecorder", L"Lettore") != nullptr; }));

    login(main, L"Segreta1");
    EXPECT_FALSE(waitFor([&] { return adminShown(main); }, 1500ms)) << "the PC's own password opened";
    bringToFront(main);
    click(GetDlgItem(main, IDC_TXTPASS));
    pressKey(VK_END);
    for (int i = 0; i < 10; ++i) pressKey(VK_BACK);
    login(main, L"Preside1");
    ASSERT_TRUE(waitFor([&] { return adminShown(main); })) << windowInFront();

    ASSERT_TRUE(clickUntil(GetDlgItem(main, IDC_CMDPASSWORD), [&] { return formWith(*program, IDC_OPZ_LBLGESTITA); }));
    HWND options = formWith(*program, IDC_OPZ_LBLGESTITA);
    EXPECT_TRUE(visible(GetDlgItem(options, IDC_OPZ_LBLGESTITA)));
    EXPECT_NE(text(GetDlgItem(options, IDC_OPZ_LBLGESTITA)).find(L"gestita dai criteri di gruppo"), std::wstring::npos);
    EXPECT_FALSE(visible(GetDlgItem(options, IDC_OPZ_TXTPASS)));
    screenshot("frmOpzioni-managed");
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
    EXPECT_EQ(install.scalar("SELECT IDProfiloInUso FROM Opzioni;"), "1") << "the store keeps the PC's own choice";
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
    screenshot("frmOmbrix-policy");
    HWND editor = nullptr;
    ASSERT_TRUE(clickUntil(GetDlgItem(main, IDC_CMDPERIODI),
                           [&] { return (editor = formWith(*program, IDC_TXTFASCIA1DALLE)) != nullptr; }));
    ASSERT_TRUE(waitFor([&] { return visible(GetDlgItem(editor, IDC_PER_LBLCRITERI)); })) << "shown once loaded";
    for (const int id : {IDC_TXTFASCIA1DALLE, IDC_CHKFASCEORARIE, IDC_TXTFASCIA2DALLE, IDC_TXTFASCIA2ALLE,
                         IDC_CMBPROFILOPERIODO2, IDC_CMBPROFILO}) {
        EXPECT_EQ(IsWindowEnabled(GetDlgItem(editor, id)), id == IDC_TXTFASCIA1DALLE || id == IDC_CHKFASCEORARIE) << id;
    }
    EXPECT_NE(text(GetDlgItem(editor, IDC_PER_LBLCRITERI)).find(L"Criterio in vigore: Slot2From, FallbackProfile"),
              std::wstring::npos);
    screenshot("frmPeriodi-policy");
    ASSERT_TRUE(clickUntil(GetDlgItem(editor, IDC_PER_CMDESCI), [&] { return !IsWindow(editor); }));
}

}  // namespace
}  // namespace ombrix::e2e

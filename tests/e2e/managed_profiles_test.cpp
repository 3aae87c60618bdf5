// A PC whose profile comes from a share through Group Policy: the policy
// value written as Group Policy writes it, an exchange file in a folder that
// stands for the share. The running program enforces the file's list, its
// editor refuses to change the profile, a new file is enforced without a
// restart, a damaged one leaves the last good list in force, and what
// another process commits to the store is followed.
#include <windows.h>

#include <commctrl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "app/win32/forms/resource.h"
#include "e2e/driver.h"
#include "fakes/fixtures.h"
#include "platform/files.h"
#include "win32/event_trace.h"
#include "profiles/profile_exchange.h"
#include "profiles/win32/profile_form_ids.h"

namespace ombrix::e2e {
namespace {

using namespace std::chrono_literals;

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
    [[nodiscard]] std::string file(const std::string& name) const { return pathToUtf8(install.folder() / pathFromUtf8(name)); }
    test::StartedProgram startCopy(const std::string& exe) {
        return test::startRecorder(test::copyRecorder(file(exe)), file(exe + ".log"), exe);
    }
    bool traced(const std::string& what) {
        const std::string trace = file("DataBase\\Registro\\ombrix-trace.txt");
        return waitFor([&] { return readWholeFile(trace).value_or("").find(what) != std::string::npos; }, 30s);
    }

    std::string share = file("condivisa\\aula.ox");
};

TEST_F(ManagedProfilesTest, TheFileIsEnforcedRefusedToTheEditorFollowedAndKeptWhenDamaged) {
    HWND main = start();
    ASSERT_TRUE(main);
    test::StartedProgram game = startCopy("giochi.exe");
    ASSERT_TRUE(game.started());
    ASSERT_TRUE(game.waitForExit(30s)) << "the managed profile's forbidden program still runs";

    // The editor shows the profile, and will not change it.
    login(main, L"Segreta1");
    ASSERT_TRUE(waitFor([&] { return visible(GetDlgItem(main, IDC_CMDPROFILI)); }));
    HWND editor = nullptr;
    ASSERT_TRUE(clickUntil(GetDlgItem(main, IDC_CMDPROFILI),
                           [&] { return (editor = formWith(*program, IDC_LSTVSITI)) != nullptr; }));
    const auto post = [&](int command) {
        PostMessageW(editor, WM_COMMAND, MAKEWPARAM(command, BN_CLICKED),
                     reinterpret_cast<LPARAM>(GetDlgItem(editor, IDC_BNRPROFILI)));
    };
    post(IDC_BNR_LAST);
    ASSERT_TRUE(waitFor([&] { return visible(GetDlgItem(editor, IDC_LBLGESTITO)); }));
    EXPECT_EQ(boxText(GetDlgItem(editor, IDC_TXTPROFILO)), L"Aula");
    EXPECT_EQ(text(GetDlgItem(editor, IDC_LBLGESTITO)).rfind(L"Questo profilo \u00e8 gestito dai Criteri di gruppo", 0), 0u);
    EXPECT_FALSE(IsWindowEnabled(GetDlgItem(editor, IDC_TXTPROFILO)));
    EXPECT_FALSE(IsWindowEnabled(GetDlgItem(editor, IDC_CMDAGGIUNGIPROCESSO)));
    EXPECT_FALSE(SendMessageW(GetDlgItem(editor, IDC_BNRPROFILI), TB_ISBUTTONENABLED, IDC_BNR_DELETE, 0));
    pause(1000ms);  // painted whole
    screenshot("frmProfili-managed");
    // Even asked directly, as a disabled button never asks.
    post(IDC_BNR_DELETE);
    HWND box = nullptr;
    ASSERT_TRUE(waitFor([&] { return (box = messageBox(*program, IDOK)) != nullptr; }));
    EXPECT_NE(text(GetDlgItem(box, 0xFFFF)).find(win32::toWide(share)), std::wstring::npos);
    PostMessageW(box, WM_COMMAND, IDOK, 0);
    ASSERT_TRUE(waitFor([&] { return !IsWindow(box); }));
    PostMessageW(editor, WM_COMMAND, IDCANCEL, 0);
    ASSERT_TRUE(waitFor([&] { return !IsWindow(editor); }));
    EXPECT_EQ(install.scalar("SELECT Profilo FROM Profili WHERE IDProfilo = 2;"), "Aula");

    // A new file: its program goes without a restart.
    test::StartedProgram chat = startCopy("chat.exe");
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
    test::StartedProgram again = startCopy("chat.exe");
    ASSERT_TRUE(again.started());
    EXPECT_TRUE(again.waitForExit(30s)) << "the last good list is not in force";
    EXPECT_TRUE(program->running());
}

// Another process commits to the store (in a pupil's session only an
// elevated one can): the running program follows without a restart.
TEST_F(ManagedProfilesTest, AProfilePutInUseByAnotherProcessIsEnforced) {
    ASSERT_TRUE(start());
    test::StartedProgram chat = startCopy("chat.exe");
    ASSERT_TRUE(waitFor([&] { return !chat.windows().empty(); }));
    const std::string ctl = test::quoted(test::builtProgram("ombrixctl.exe")) + " --db " +
                            test::quoted(pathToUtf8(install.database()));
    ASSERT_EQ(test::StartedProgram(ctl + " process add #1 chat.exe").waitForExit(30s), 0u);
    ASSERT_EQ(test::StartedProgram(ctl + " use #1").waitForExit(30s), 0u);
    ASSERT_TRUE(chat.waitForExit(30s)) << "the profile another process put in use is not enforced";
}

}  // namespace
}  // namespace ombrix::e2e

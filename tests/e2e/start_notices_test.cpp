// The boxes the program shows at start (an upgraded, damaged, replaced or
// lost store, the first start's password form) are left open, as a pupil
// would leave them: the forbidden program of the profile is ended all the same.
#include <windows.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "app/win32/forms/resource.h"
#include "core/database.h"
#include "e2e/driver.h"
#include "fakes/fixtures.h"
#include "platform/file_registry.h"
#include "platform/files.h"

namespace ombrix::e2e {
namespace {

class BoxLeftOpenTest : public InstalledProgram {
protected:
    // The program's visible window whose text holds `words`: a message box's static text.
    [[nodiscard]] HWND boxSaying(const std::wstring& words) const {
        HWND found = nullptr;
        (void)waitFor([&] {
            for (HWND w : program->windows()) {
                if (IsWindowVisible(w) && text(GetDlgItem(w, 0xFFFF)).find(words) != std::wstring::npos) found = w;
            }
            return found != nullptr;
        });
        return found;
    }
    void launchProgram() { program = std::make_unique<StartedProgram>(launch()); }
    static void markMachine() {
        platform::systemRegistry().writeString(platform::RegRoot::LocalMachine, "SOFTWARE\\Ombrix\\Opzioni",
                                               "PasswordScelta", "1");
    }
    // Starts profile 1's forbidden program while `box` is on screen: it must
    // end, and the box must still be there.
    void forbiddenProgramEndsWhileOpen(HWND box, const std::string& name) {
        const std::string exe = test::copyRecorder(pathToUtf8(install.folder() / L"giochi" / L"vietato.exe"));
        StartedProgram forbidden = test::startRecorder(exe, pathToUtf8(install.folder() / L"vietato.log"), "Gioco");
        ASSERT_TRUE(forbidden.started());
        EXPECT_TRUE(forbidden.waitForExit()) << "the forbidden program runs while the box is open";
        EXPECT_TRUE(visible(box)) << "the box went away by itself";
        screenshot(name);
    }
    // Starts the program and leaves its box saying `words` open.
    void startAndLeaveOpen(const std::wstring& words, const std::string& name) {
        launchProgram();
        const HWND box = boxSaying(words);
        ASSERT_TRUE(box) << name << ": no such box";
        forbiddenProgramEndsWhileOpen(box, name);
    }
};

constexpr const char* kForbid = "INSERT INTO ProcessiVietati (IDProfilo, Processo) VALUES (1, 'vietato.exe');";

TEST_F(BoxLeftOpenTest, TheUpgradeReport) {
    std::filesystem::remove(install.database());
    {
        core::Database db;
        ASSERT_TRUE(db.open(pathToUtf8(install.database()), core::Database::Mode::CreateIfMissing));
        ASSERT_TRUE(db.exec(test::oldestSchemaSql()));
    }
    install.sql(std::string(kForbid) + "UPDATE Profili SET PaginaPredefinita = '';");
    startAndLeaveOpen(L"aggiornato", "0151-left-open");
}

// The site list cannot be read: the first box says the file is not ours,
// the second that the lists could not be read; the second is left open.
TEST_F(BoxLeftOpenTest, TheUnreadableStoreNotice) {
    install.sql(std::string(kForbid) + "DROP TABLE SitiVietatiConsentiti;");
    launchProgram();
    const std::wstring notOurs = L"non \u00e8 un database";
    const HWND first = boxSaying(notOurs);
    ASSERT_TRUE(first);
    // Answered by its button's command: a click given again, when Wine is
    // slow to take the first, would land on the next box, which comes up in
    // the same place (and maybe in the same window handle).
    PostMessageW(first, WM_COMMAND, MAKEWPARAM(IDOK, BN_CLICKED), reinterpret_cast<LPARAM>(GetDlgItem(first, IDOK)));
    ASSERT_TRUE(waitFor([&] {
        return !visible(first) || text(GetDlgItem(first, 0xFFFF)).find(notOurs) == std::wstring::npos;
    }));
    const HWND box = boxSaying(L"Impossibile leggere il database");
    ASSERT_TRUE(box) << "no unreadable-store notice";
    forbiddenProgramEndsWhileOpen(box, "0313-left-open");
}

TEST_F(BoxLeftOpenTest, TheReplacedStoreNotice) {
    markMachine();
    install.sql(std::string(kForbid) + "UPDATE Opzioni SET PasswordAdmin = NULL;");
    startAndLeaveOpen(L"sostituito", "0316-left-open");
}

TEST_F(BoxLeftOpenTest, TheFirstStartsPasswordForm) {
    install.sql(std::string(kForbid) + "UPDATE Opzioni SET PasswordAdmin = NULL;");
    launchProgram();
    HWND options = nullptr;
    ASSERT_TRUE(waitFor([&] { return (options = formWith(*program, IDC_OPZ_TXTPASS)) != nullptr; }));
    forbiddenProgramEndsWhileOpen(options, "frmOpzioni-left-open");
}

// No password was chosen, and this session may not choose one: it blocks as
// a lost store does, the copy's programs forbidden, until an administrator has.
TEST_F(BoxLeftOpenTest, TheStandardSessionsNoPasswordNotice) {
    const StartedProgram add(test::quoted(test::builtProgram("ombrixctl.exe")) + " --db " +
                             test::quoted(pathToUtf8(install.database())) + " process add #1 vietato.exe");
    ASSERT_EQ(add.waitForExit(), 0u);
    install.sql("UPDATE Opzioni SET PasswordAdmin = NULL;");
    SetEnvironmentVariableW(L"OMBRIX_AS_STANDARD_USER", L"1");  // the program inherits it at its start
    launchProgram();
    SetEnvironmentVariableW(L"OMBRIX_AS_STANDARD_USER", nullptr);
    const HWND box = boxSaying(L"deve avviare Ombrix con i diritti di amministratore");
    ASSERT_TRUE(box);
    forbiddenProgramEndsWhileOpen(box, "0396-left-open");
    EXPECT_EQ(formWith(*program, IDC_OPZ_TXTPASS), nullptr) << "no password form in this session";
}

// The administrator added the forbidden program with ombrixctl; the store is
// then lost. The last profile's programs stay forbidden.
TEST_F(BoxLeftOpenTest, TheLostStoreNoticeAndTheLastProfilesPrograms) {
    const StartedProgram add(test::quoted(test::builtProgram("ombrixctl.exe")) + " --db " +
                             test::quoted(pathToUtf8(install.database())) + " process add #1 vietato.exe");
    ASSERT_EQ(add.waitForExit(), 0u);
    markMachine();
    std::filesystem::remove(install.database());
    startAndLeaveOpen(L"manca", "0355-left-open");
}

}  // namespace
}  // namespace ombrix::e2e

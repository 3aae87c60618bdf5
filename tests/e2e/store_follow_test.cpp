// Another process commits to the store while the program runs (in a pupil's
// session only an elevated one can): the program follows without a restart.
#include <windows.h>

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "e2e/driver.h"
#include "fakes/fixtures.h"
#include "platform/files.h"

namespace ombrix::e2e {
namespace {

using namespace std::chrono_literals;

class StoreFollowTest : public InstalledProgram {
protected:
    std::optional<DWORD> ctl(const std::string& arguments) {
        return test::StartedProgram(test::quoted(test::builtProgram("ombrixctl.exe")) + " --db " +
                                    test::quoted(pathToUtf8(install.database())) + " " + arguments)
            .waitForExit(30s);
    }
};

TEST_F(StoreFollowTest, AProfilePutInUseByAnotherProcessEndsItsForbiddenProgram) {
    install.sql("INSERT INTO Profili (IDProfilo, Profilo, SitiProibiti, NascondiMessaggiNotifica) "
                "VALUES (2, 'Aula', -1, -1);");
    ASSERT_TRUE(start());
    const std::string exe = pathToUtf8(install.folder() / L"chat.exe");
    test::StartedProgram chat = test::startRecorder(test::copyRecorder(exe), exe + ".log", "chat.exe");
    ASSERT_TRUE(chat.started());
    ASSERT_TRUE(waitFor([&] { return !chat.windows().empty(); }));

    ASSERT_EQ(ctl("process add Aula chat.exe"), 0u);
    ASSERT_EQ(ctl("use Aula"), 0u);
    ASSERT_TRUE(chat.waitForExit(60s)) << "the profile another process put in use is not enforced";
    EXPECT_TRUE(program->running());
}

}  // namespace
}  // namespace ombrix::e2e

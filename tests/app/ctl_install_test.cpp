#include <gtest/gtest.h>

#include <filesystem>

#include "app/ctl_fixture.h"
#include "core/password.h"
#include "core/settings_reg.h"
#include "core/store_location.h"

namespace ombrix::app {
namespace {

class CtlInstall : public CtlFixture {
protected:
    CtlInstall() : CtlFixture("0395=Impronta non valida.\r\n") {
        std::filesystem::create_directory(dir.path() / "C");
        system.env = {{"SYSTEMDRIVE", dir.file("C")}};
    }
    [[nodiscard]] std::optional<std::string> machineValue(std::string_view name) {
        return registry.readValue(platform::RegRoot::LocalMachine,
                                  core::settingsKey(core::kProgramTitle, core::kStoreSection), name);
    }
    [[nodiscard]] std::string stored(const std::string& query) {
        core::Database d;
        EXPECT_TRUE(d.open(store));
        core::Statement q = d.prepare(query);
        return q.step() ? q.column(0).toText() : "(none)";
    }
    std::string folder = pathToUtf8(dir.path() / "C" / "Ombrix" / "DataBase");
    std::string store = pathToUtf8(dir.path() / "C" / "Ombrix" / "DataBase" / "DataBase.db");
    std::string hash = core::hashPassword("Prova Uno1", "salt", 10).value();
};

TEST_F(CtlInstall, ARefusedHashChangesNothing) {
    const std::vector<std::string> refused = {"Prova Uno1", "pbkdf2-sha256$", "pbkdf2-sha256$10$73616c74$00",
                                              hash + "0"};
    for (const std::string& bad : refused) {
        SCOPED_TRACE(bad);
        EXPECT_EQ(ctl({"install", "--password-hash", bad}), kRefused);
        EXPECT_EQ(err.str(), "0395: Impronta non valida.\n");
        EXPECT_FALSE(std::filesystem::exists(dir.path() / "C" / "Ombrix"));
        EXPECT_EQ(machineValue(core::kStoreKey), std::nullopt);
    }
    EXPECT_EQ(ctl({"install", "--password", hash}), kUsage);
    EXPECT_EQ(ctl({"install", "--password-hash"}), kUsage);
}

// The store is made where the machine's key names none (its folder holds no
// store), with the hash; a later run without one keeps store and password.
TEST_F(CtlInstall, MakesTheStoreInTheMachinesFolderThenKeepsIt) {
    ASSERT_TRUE(registry.writeString(platform::RegRoot::LocalMachine,
                                     core::settingsKey(core::kProgramTitle, core::kStoreSection), core::kStoreKey,
                                     dir.file("altrove")));
    ASSERT_EQ(ctl({"install", "--password-hash", hash}), kOk) << err.str();
    EXPECT_EQ(out.str(), "made\t" + store + "\n");
    EXPECT_EQ(machineValue(core::kStoreKey), folder);
    EXPECT_EQ(machineValue(core::kPasswordChosenValue), "1");
    EXPECT_TRUE(std::filesystem::is_directory(folder + "/Registro"));

    sql(store, "INSERT INTO Profili (IDProfilo, Profilo) VALUES (2, 'Classe');");
    ASSERT_EQ(ctl({"install", "--password-hash", ""}), kOk) << err.str();
    EXPECT_EQ(out.str(), "kept\t" + store + "\n");
    EXPECT_EQ(stored("SELECT PasswordAdmin || Profilo FROM Opzioni, Profili WHERE IDProfilo = 2;"), hash + "Classe");

    system.env.clear();
    std::filesystem::remove_all(dir.path() / "C" / "Ombrix");
    EXPECT_EQ(ctl({"install"}), kRefused);
    EXPECT_NE(err.str().find("HOMEDRIVE"), std::string::npos) << err.str();
}

}  // namespace
}  // namespace ombrix::app

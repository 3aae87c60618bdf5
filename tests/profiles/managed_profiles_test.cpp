#include "profiles/managed_profiles.h"

#include <gtest/gtest.h>

#include <array>
#include <filesystem>

#include "fakes/fixtures.h"
#include "platform/crypto.h"
#include "platform/files.h"
#include "profiles/profile_fixtures.h"

namespace ombrix::profiles {
namespace {

using Outcome = ManagedCheck::Outcome;

// An exchange file, as the export writes it.
std::string ox(const std::string& name, std::vector<std::string> processes, bool forbiddenList = true, const std::string& homePage = "") {
    ExchangeProfile p;
    p.record.name = name; p.record.forbiddenList = forbiddenList; p.record.homePage = homePage; p.processes = std::move(processes);
    return exchangeText(p).bytes;
}

class ManagedTest : public ::testing::Test {
protected:
    // The profile's forbidden programs, "" when it is not in the store.
    std::string processes(const std::string& name) {
        return db.scalar("SELECT group_concat(Processo, ',') FROM ProcessiVietati JOIN Profili USING (IDProfilo) WHERE Profilo = ?;",
                         {core::Value(name)}).toText();
    }
    long long idOf(const std::string& name) {
        return db.scalar("SELECT IDProfilo FROM Profili WHERE Profilo = ?;", {core::Value(name)}).toInteger();
    }

    test::TempDir dir;
    core::Database db = test::deliveredStore();
    ManagedProfiles managed{db};
    std::string file = dir.file("aula.ox");
};

TEST_F(ManagedTest, ImportsReplacesInPlaceAndSkipsAnUnchangedFile) {
    test::writeFile(file, ox("Aula", {"gioco.exe"}));
    ManagedCheck r = managed.check({file, ""});
    ASSERT_EQ(r.outcome, Outcome::Imported) << r.reason << r.subject;
    const long long id = idOf("Aula");
    EXPECT_EQ(r.changed, std::vector<long long>{id});
    EXPECT_TRUE(profileManaged(db, id) == true && managed.check({file, ""}).outcome == Outcome::Unchanged);

    test::writeFile(file, ox("Aula", {"chat.exe", "giochi.exe"}));
    ASSERT_EQ(managed.check({file, ""}).outcome, Outcome::Imported);
    EXPECT_EQ(idOf("Aula"), id) << "the profile in use and the slots still name it";
    EXPECT_EQ(processes("Aula"), "chat.exe,giochi.exe");

    // A pinned file imports; no policy hands the set to the administrator, lifting nothing.
    const std::string bytes = ox("Aula", {"gioco.exe"});
    test::writeFile(file, bytes);
    std::array<std::uint8_t, 32> digest{};
    ASSERT_TRUE(platform::sha256(bytes, digest));
    std::string pin = " ";  // blanks and capitals are the administrator's
    for (const std::uint8_t b : digest) pin += std::string{"0123456789ABCDEF"[b >> 4], "0123456789ABCDEF"[b & 15]};
    ASSERT_EQ(managed.check({file, pin + " "}).outcome, Outcome::Imported);
    EXPECT_EQ(managed.check({"", ""}).outcome, Outcome::NoPolicy);
    EXPECT_TRUE(profileManaged(db, id) == false && processes("Aula") == "gioco.exe");
}

TEST_F(ManagedTest, AnythingWrongKeepsTheLastGoodSet) {
    test::writeFile(file, ox("Aula", {"gioco.exe"}));
    ASSERT_EQ(managed.check({file, ""}).outcome, Outcome::Imported);
    const std::string before = test::profileRows(db);
    std::filesystem::create_directories(pathFromUtf8(dir.file("vuota")));
    test::writeFile(dir.file("locale.ox"), ox("Nessuna restrizione", {"altro.exe"}));
    test::writeFile(dir.file("pagina.ox"), ox("Aula", {}, false, "scuola.it"));
    test::writeFile(dir.file("doppi/a.ox"), ox("Aula", {"altro.exe"}));
    test::writeFile(dir.file("doppi/b.OX"), ox("AULA", {"altro.exe"}));
    const std::pair<ManagedSource, const char*> cases[] = {
        {{file, std::string(64, '0')}, "the managed file does not match its pinned SHA-256"},
        {{pathToUtf8(dir.path()), std::string(64, '0')}, "a pinned SHA-256 names one file, not a folder"},
        {{dir.file("vuota"), ""}, "the folder holds no exchange file"},
        {{dir.file("locale.ox"), ""}, "a local profile has a managed profile's name"},
        {{dir.file("pagina.ox"), ""}, "the allowed list blocks the managed profile's home page"},
        {{dir.file("doppi"), ""}, "two managed files name the same profile"},
    };
    for (const auto& [source, reason] : cases) {
        const ManagedCheck r = managed.check(source);
        EXPECT_EQ(r.outcome, Outcome::Refused) << reason;
        EXPECT_EQ(r.reason, reason);
    }
    EXPECT_EQ(test::profileRows(db), before);
}

TEST_F(ManagedTest, AFolderReplacesTheSetButKeepsWhatIsInUse) {
    test::writeFile(dir.file("set/a.ox"), ox("A", {"a.exe"}));
    test::writeFile(dir.file("set/b.ox"), ox("B", {"b.exe"}));
    test::writeFile(dir.file("set/note.txt"), "not a profile");
    const std::string folder = dir.file("set");
    ASSERT_EQ(managed.check({folder, ""}).outcome, Outcome::Imported);
    const long long a = idOf("A"), b = idOf("B");
    ASSERT_TRUE(db.run("UPDATE Opzioni SET IDProfiloInUso = ?;", {core::Value(static_cast<std::int64_t>(b))}));

    std::filesystem::remove(pathFromUtf8(dir.file("set/a.ox"))), std::filesystem::remove(pathFromUtf8(dir.file("set/b.ox")));
    test::writeFile(dir.file("set/c.ox"), ox("C", {"c.exe"}));
    const ManagedCheck r = managed.check({folder, ""});
    ASSERT_EQ(r.outcome, Outcome::Imported);
    EXPECT_EQ(r.kept, std::vector<std::string>{"B"});
    EXPECT_EQ(r.changed, (std::vector<long long>{idOf("C"), a}));
    EXPECT_EQ(db.scalar("SELECT count(*) FROM ProcessiVietati WHERE IDProfilo = ?;", {core::Value(static_cast<std::int64_t>(a))}).toInteger(), 0);
    EXPECT_TRUE(processes("B") == "b.exe" && profileManaged(db, b) == true);
}

}  // namespace
}  // namespace ombrix::profiles

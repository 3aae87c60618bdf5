#include "profiles/profile_editor.h"

#include <gtest/gtest.h>

#include <functional>
#include <tuple>

#include "core/profile_switches.h"
#include "fakes/fake_machine.h"
#include "fakes/fixtures.h"
#include "platform/files.h"
#include "platform/system.h"
#include "platform/text.h"
#include "profiles/profile_fixtures.h"
#include "support/language.h"

namespace ombrix::profiles {
namespace {

using Outcome = ProfileEditor::Outcome;
using platform::MessageAnswer;

std::vector<std::string> texts(const std::vector<core::ListRow>& rows) {
    std::vector<std::string> out;
    for (const auto& r : rows) out.push_back(r.text);
    return out;
}

class ProfileEditorTest : public ::testing::Test {
protected:
    ProfileEditorTest() {
        test::writeFile(dir.file("italian.lng"),
                        "[Strings]\r\n" + test::numberedTexts() + "[frmProfili]\r\ntxtStato.Tag=T-new\r\n");
        dialogs.answer = MessageAnswer::Yes;
        EXPECT_EQ(editor.load(), Outcome::Done);
    }
    // A saved profile with this name, the editor on it.
    std::int64_t saved(const std::string& name) {
        editor.addNew();
        editor.record().name = name;
        EXPECT_EQ(editor.save(), Outcome::Done);
        return editor.record().id.value_or(-1);
    }
    Outcome add(ListKind kind, const std::string& typed) {
        editor.entryBox(kind) = typed;
        return editor.addEntry(kind);
    }
    std::string lastShown() const { return dialogs.shown.empty() ? "" : dialogs.shown.back().text; }

    test::TempDir dir;
    Language language{pathToUtf8(dir.path()), platform::pathSeparator()};
    core::Database db = test::deliveredStore();
    test::RecordingDialogs dialogs;
    ProfileEditor editor{db, dialogs, language};
};

TEST(EntryRules, SitesProcessesAndHomePages) {
    const struct {
        ListKind kind;
        const char* typed;
        EntryVerdict::Kind verdict;
        const char* stored;  // or the first refusal's identifier
    } cases[] = {
        {ListKind::Sites, "  ", EntryVerdict::Kind::Ignore, ""},
        // Entries that match every address: on an allowed list they let every page through.
        {ListKind::Sites, " . ", EntryVerdict::Kind::Refuse, "0360"},
        {ListKind::Sites, "*", EntryVerdict::Kind::Refuse, "0360"},
        {ListKind::Sites, "*.", EntryVerdict::Kind::Refuse, "0360"},
        {ListKind::Sites, "http://", EntryVerdict::Kind::Refuse, "0360"},
        {ListKind::Sites, "https://", EntryVerdict::Kind::Refuse, "0360"},
        {ListKind::Sites, "www.", EntryVerdict::Kind::Refuse, "0360"},
        {ListKind::Sites, "http://www.", EntryVerdict::Kind::Refuse, "0360"},
        {ListKind::Sites, "\"\"", EntryVerdict::Kind::Accept, "http://\"\""},  // quotes are part of the entry
        {ListKind::Sites, "*.it", EntryVerdict::Kind::Accept, "*.it"},
        {ListKind::Sites, ".it", EntryVerdict::Kind::Accept, ".it"},
        // What no one types into a box: a control character, a NUL, bytes that are not UTF-8.
        {ListKind::Sites, "sc\x01uola.it", EntryVerdict::Kind::Refuse, "0359"},
        {ListKind::Sites, "scuola.it\t", EntryVerdict::Kind::Refuse, "0359"},
        {ListKind::Sites, "caff\xE8.it", EntryVerdict::Kind::Refuse, "0359"},
        {ListKind::Sites, "x\xC2\x85.it", EntryVerdict::Kind::Refuse, "0359"},  // U+0085, a C1 control
        {ListKind::Sites, "caff\xC3\xA8.it", EntryVerdict::Kind::Accept, "http://caff\xC3\xA8.it"},
        {ListKind::Processes, "gioco\x7f.exe", EntryVerdict::Kind::Refuse, "0359"},
        {ListKind::WindowTitles, "Solitario\x1b[2J", EntryVerdict::Kind::Refuse, "0359"},
        {ListKind::Sites, " Example.ORG/News ", EntryVerdict::Kind::Accept, "http://Example.ORG/News"},
        {ListKind::Sites, "HTTP://example.org", EntryVerdict::Kind::Accept, "http://HTTP://example.org"},
        {ListKind::Sites, "outlook:inbox", EntryVerdict::Kind::Accept, "outlook:inbox"},
        {ListKind::Sites, "ftp.example.org", EntryVerdict::Kind::Accept, "ftp.example.org"},
        {ListKind::Sites, "about:blank", EntryVerdict::Kind::Accept, "about:blank"},
        {ListKind::Sites, ".Example.org", EntryVerdict::Kind::Accept, ".Example.org"},
        {ListKind::Sites, "*Casino", EntryVerdict::Kind::Accept, "*Casino"},
        {ListKind::Processes, "C:\\Windows\\notepad.exe", EntryVerdict::Kind::Refuse, "0027"},
        {ListKind::Processes, "bin/notepad.exe", EntryVerdict::Kind::Refuse, "0027"},
        {ListKind::Processes, "NOTEPAD.EXE", EntryVerdict::Kind::Refuse, "0028"},
        {ListKind::Processes, "notepad", EntryVerdict::Kind::Refuse, "0028"},
        {ListKind::Processes, " notepad.exe ", EntryVerdict::Kind::Accept, "notepad.exe"},
    };
    for (const auto& c : cases) {
        const EntryVerdict v = entryVerdict(c.kind, c.typed);
        EXPECT_EQ(v.kind, c.verdict) << c.typed;
        EXPECT_EQ(v.kind == EntryVerdict::Kind::Refuse ? std::string(v.messages.front().number()) : v.value, c.stored)
            << c.typed;
    }
    // A NUL, which a C string would end the entry at.
    for (const ListKind kind : {ListKind::Sites, ListKind::Processes, ListKind::WindowTitles}) {
        const EntryVerdict v = entryVerdict(kind, std::string("a\0b.exe", 7));
        EXPECT_EQ(v.kind, EntryVerdict::Kind::Refuse);
        EXPECT_EQ(v.messages, std::vector<MessageId>{msg::TextNotTypeable});
    }
    EXPECT_EQ(processEntry("x.EXE").messages,
              (std::vector<MessageId>{msg::ProcessNameInvalid, msg::ProcessNameEndsInExe, msg::ProcessNameExample}));

    const std::pair<const char*, const char*> pages[] = {
        {"outlook.com", "http://outlook.com"},    {"file://c/x.htm", "http://file://c/x.htm"},
        {"file:///c:/x.htm", "file:///c:/x.htm"}, {"C:\\Giochi\\avvia.bat", "C:\\Giochi\\avvia.bat"},
        {"X.BAT", "X.BAT"},                       {" Giochi.Exe ", "Giochi.Exe"},
        {"x.bat.htm", "http://x.bat.htm"},
        {" ftp.x.org ", "ftp.x.org"},             {"www.Example.org", "http://www.Example.org"},
        {"", ""},
    };
    for (const auto& [typed, saved] : pages) EXPECT_EQ(normalisedHomePage(typed), saved) << typed;
}

// The save's allowed-list check: the enforcement's rule (its cases are the
// site rule's table), over non-empty entries, with programs let through; a built-in page
// such as about:blank is judged as any other, so an empty allowed list lets none through.
TEST(EntryRules, TheHomePageCheckAgreesWithTheRunTimeRule) {
    const struct {
        const char* page;
        std::vector<std::string> sites;
        bool allowed;
    } cases[] = {
        {"https://sub.example.org/", {"http://example.org"}, false},
        {"http://example.org", {"http://other.org", "", "*example"}, true},
        {"http://example.org", {""}, false},
        {"http://example.org", {}, false},
        {"C:\\giochi\\avvia.bat", {}, true},
        {"X.BAT", {}, true},
        // An empty allowed list lets no page through, a built-in one neither.
        {"about:blank", {}, false},
        {"about:newtab", {"http://example.org"}, false},
        {"about:blank", {"about:blank"}, true},
    };
    for (const auto& c : cases) EXPECT_EQ(homePageAllowed(c.page, c.sites), c.allowed) << c.page;
}

// One test says whether a home page names a program, for the editor's save,
// the import (which saves through the same rules) and the start of the page.
TEST(EntryRules, AProgramAsHomePageIsTheSameEverywhere) {
    const struct {
        const char* page;
        bool program;
    } cases[] = {
        {"C:\\giochi\\avvia.bat", true}, {"X.BAT", true},   {"calc.EXE", true},  {" Giochi.Exe  ", true},
        {"x.Bat", true},                   {"exe", false},    {".exe", true},      {"setup.exe.html", false},
        {"http://x.org/a.exe", true},      {"x.exe/", false}, {"x.com", false},    {"", false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(core::homePageIsProgram(c.page), c.program) << c.page;
        // The editor keeps a program as typed and never judges it against the list.
        EXPECT_EQ(normalisedHomePage(c.page) == trimBlanks(c.page), c.program || std::string_view(c.page).empty())
            << c.page;
        EXPECT_EQ(homePageAllowed(normalisedHomePage(c.page), {}), c.program || std::string_view(c.page).empty())
            << c.page;
    }
}

TEST_F(ProfileEditorTest, ANewRecordRefusesEveryListUntilSaved) {
    const std::string before = test::profileRows(db);
    editor.addNew();
    EXPECT_TRUE(editor.isNew());
    EXPECT_EQ(editor.record().name, "T0016");
    EXPECT_EQ(editor.statusText(), "T-new") << "the language file's word";
    EXPECT_FALSE(editor.importExportEnabled());
    EXPECT_EQ(editor.siteFrameCaption(), msg::ListCaptionForbiddenOnNew);
    for (const auto& [kind, typed, id] :
         {std::tuple{ListKind::Sites, "example.org", msg::SaveProfileBeforeSites},
          std::tuple{ListKind::Processes, "gioco.exe", msg::SaveProfileBeforeProcesses},
          std::tuple{ListKind::WindowTitles, "Solitario", msg::SaveProfileBeforeWindows}}) {
        EXPECT_EQ(add(kind, typed), Outcome::Refused);
        EXPECT_EQ(dialogs.shown.back().messageId, id);
        EXPECT_EQ(dialogs.shown.back().icon, platform::MessageIcon::Exclamation);
        EXPECT_EQ(editor.entryBox(kind), "");
    }
    EXPECT_EQ(test::profileRows(db), before);

    EXPECT_EQ(editor.save(), Outcome::Done);
    EXPECT_EQ(editor.record().id, 2);
    EXPECT_EQ(editor.statusText(), "");
    EXPECT_TRUE(editor.importExportEnabled());
    EXPECT_EQ(editor.position(), 1u);
    EXPECT_EQ(add(ListKind::Sites, "example.org"), Outcome::Done);
    EXPECT_EQ(texts(editor.list(ListKind::Sites)), std::vector<std::string>{"http://example.org"});
}

TEST_F(ProfileEditorTest, AddingAsksAndRefusesDuplicatesInAnyCase) {
    saved("Scuola");
    dialogs.answer = MessageAnswer::No;
    EXPECT_EQ(add(ListKind::Sites, "Example.org"), Outcome::Declined);
    EXPECT_EQ(lastShown(), "T0034 http://Example.org T0035");
    EXPECT_EQ(dialogs.shown.back().buttons, platform::MessageButtons::YesNo);
    EXPECT_EQ(editor.entryBox(ListKind::Sites), "http://Example.org");
    EXPECT_TRUE(editor.list(ListKind::Sites).empty());

    dialogs.answer = MessageAnswer::Yes;
    EXPECT_EQ(editor.addEntry(ListKind::Sites), Outcome::Done);
    EXPECT_EQ(add(ListKind::Sites, "http://EXAMPLE.org"), Outcome::Refused);
    EXPECT_EQ(dialogs.shown.back().messageId, msg::SiteAlreadyListed);
    EXPECT_EQ(lastShown(), "T0108");
    EXPECT_EQ(dialogs.shown.back().icon, platform::MessageIcon::Exclamation);
    EXPECT_EQ(add(ListKind::Processes, "gioco.exe"), Outcome::Done);
    EXPECT_EQ(lastShown(), "T0031 gioco.exe T0032");
    EXPECT_EQ(add(ListKind::Processes, "gioco.exe"), Outcome::Refused);
    EXPECT_EQ(dialogs.shown.back().messageId, msg::ProcessAlreadyListed);
    EXPECT_EQ(add(ListKind::WindowTitles, "Solitario"), Outcome::Done);

    // A path is cleared from the box; a wrong ending stays to be corrected.
    EXPECT_EQ(add(ListKind::Processes, "C:\\giochi\\gioco.exe"), Outcome::Refused);
    EXPECT_EQ(editor.entryBox(ListKind::Processes), "");
    EXPECT_EQ(add(ListKind::Processes, "GIOCO.EXE"), Outcome::Refused);
    EXPECT_EQ(lastShown(), "T0028\nT0029\nT0030");
    EXPECT_EQ(editor.entryBox(ListKind::Processes), "GIOCO.EXE");
    EXPECT_EQ(add(ListKind::Sites, "  "), Outcome::Ignored);
    // An entry that matches every address stays in the box, with the reason.
    EXPECT_EQ(add(ListKind::Sites, "www."), Outcome::Refused);
    EXPECT_EQ(dialogs.shown.back().messageId, msg::EntryMatchesEveryAddress);
    EXPECT_EQ(editor.entryBox(ListKind::Sites), "http://www.");

    EXPECT_EQ(texts(editor.list(ListKind::Sites)), std::vector<std::string>{"http://Example.org"});
    EXPECT_EQ(texts(editor.list(ListKind::Processes)), std::vector<std::string>{"gioco.exe"});
    EXPECT_EQ(texts(editor.list(ListKind::WindowTitles)), std::vector<std::string>{"Solitario"});

    dialogs.answer = MessageAnswer::No;
    EXPECT_EQ(editor.deleteEntry(ListKind::Processes, 0), Outcome::Declined);
    EXPECT_EQ(lastShown(), "T0042 gioco.exe T0043");
    dialogs.answer = MessageAnswer::Yes;
    EXPECT_EQ(editor.deleteEntry(ListKind::Processes, 0), Outcome::Done);
    EXPECT_EQ(editor.deleteEntry(ListKind::Processes, 0), Outcome::Ignored);
    EXPECT_TRUE(editor.list(ListKind::Processes).empty());
}

TEST_F(ProfileEditorTest, EverySaveRefusalLeavesTheStoreAsItWas) {
    saved("Scuola");
    const std::int64_t id = saved("Casa");
    const struct {
        const char* name;
        bool forbidden;
        const char* homePage;
        const char* shown;
        ProfileEditor::Focus focus;
    } cases[] = {
        {"   ", true, "", "T0019\nT0020", ProfileEditor::Focus::Name},
        {" SCUOLA ", true, "", "T0021", ProfileEditor::Focus::Name},
        {"Casa", false, "www.example.org", "T0022\nT0023", ProfileEditor::Focus::None},
        {"Ca\tsa", true, "", "T0359", ProfileEditor::Focus::Name},
        {"Casa", true, "example.org\x1b", "T0359", ProfileEditor::Focus::None},
        // An empty allowed list lets no home page through, a built-in one neither.
        {"Casa", false, "about:blank", "T0022\nT0023", ProfileEditor::Focus::None},
    };
    for (const auto& c : cases) {
        ASSERT_EQ(editor.moveTo(id), Outcome::Done);
        const std::string before = test::profileRows(db);
        editor.record().name = c.name;
        editor.setForbiddenList(c.forbidden);
        editor.record().homePage = c.homePage;
        EXPECT_EQ(editor.save(), Outcome::Refused) << c.name;
        EXPECT_EQ(lastShown(), c.shown);
        EXPECT_EQ(editor.focus(), c.focus);
        EXPECT_EQ(test::profileRows(db), before);
    }
    // The box shows the page as it would be saved; a program, in any case, is never judged.
    EXPECT_EQ(editor.record().homePage, "about:blank");
    editor.record().homePage = "C:\\giochi\\AVVIA.BAT";
    EXPECT_EQ(editor.save(), Outcome::Done);
    EXPECT_EQ(editor.record().homePage, "C:\\giochi\\AVVIA.BAT");

    // The profile's own name in another case is no clash; the list makes the page allowed.
    EXPECT_EQ(add(ListKind::Sites, ".example.org"), Outcome::Done);
    editor.record().name = "CASA";
    editor.record().homePage = "example.org/index.htm";
    EXPECT_EQ(editor.save(), Outcome::Done);
    EXPECT_EQ(db.scalar("SELECT PaginaPredefinita || '|' || Profilo FROM Profili WHERE IDProfilo = ?;", {id}).toText(),
              "http://example.org/index.htm|CASA");
}

TEST_F(ProfileEditorTest, TheRecordItsSwitchesAndTheNavigation) {
    const std::int64_t id = saved("Kiosk");
    editor.record().setMode(Mode::NoStart);
    editor.record().kiosk = true;  // both read: kiosk wins
    EXPECT_EQ(editor.record().mode(), Mode::Kiosk);
    editor.record().blockDownloads = true;
    editor.setForbiddenList(false);
    EXPECT_EQ(editor.siteFrameCaption(), msg::ListCaptionAllowedAfterOptionClick);
    EXPECT_FALSE(editor.maxProtectionEnabled());
    const ProfileRecord edited = editor.record();
    ASSERT_EQ(editor.save(), Outcome::Done);
    EXPECT_EQ(db.scalar("SELECT Kiosk || TastoStartDisabilitato || BloccaDownload || SitiProibiti FROM Profili "
                        "WHERE IDProfilo = ?;",
                        {id})
                  .toText(),
              "-1-1-10");

    // Unsaved changes go with Cancel, and with a move: each record is read afresh.
    editor.record().name = "Altro";
    EXPECT_EQ(editor.cancel(), Outcome::Done);
    EXPECT_EQ(editor.record(), edited);
    const std::pair<Outcome (ProfileEditor::*)(), std::size_t> moves[] = {
        {&ProfileEditor::moveFirst, 0}, {&ProfileEditor::movePrevious, 0}, {&ProfileEditor::moveNext, 1},
        {&ProfileEditor::moveNext, 1},  {&ProfileEditor::movePrevious, 0}, {&ProfileEditor::moveLast, 1}};
    for (const auto& [move, position] : moves) {
        EXPECT_EQ((editor.*move)(), Outcome::Done);
        EXPECT_EQ(editor.position(), position);
    }
    // New then Cancel goes back to the record shown before.
    editor.addNew();
    EXPECT_EQ(editor.cancel(), Outcome::Done);
    EXPECT_EQ(editor.record().id, id);
}

TEST_F(ProfileEditorTest, ACopyTakesTheSwitchesAndTheListsInOrderAndADeleteTakesThemAway) {
    const std::int64_t kept = saved("Assegnato");
    ASSERT_TRUE(db.run("INSERT INTO Clienti (IDProfilo) VALUES (?);", {kept}));
    const std::int64_t source = saved("Scuola");
    for (const char* site : {"b.org", "a.org", "*giochi"}) ASSERT_EQ(add(ListKind::Sites, site), Outcome::Done);
    ASSERT_EQ(add(ListKind::Processes, "gioco.exe"), Outcome::Done);
    ASSERT_EQ(add(ListKind::WindowTitles, "Solitario"), Outcome::Done);
    editor.record().hideMessages = true;
    ASSERT_EQ(editor.save(), Outcome::Done);

    editor.addNew(source);
    EXPECT_EQ(editor.record().name, "T0016");
    EXPECT_TRUE(editor.record().hideMessages);
    EXPECT_TRUE(editor.list(ListKind::Sites).empty());
    editor.record().name = "Scuola 2";
    ASSERT_EQ(editor.save(), Outcome::Done);
    const std::int64_t copy = editor.record().id.value_or(-1);
    EXPECT_NE(copy, source);
    EXPECT_EQ(texts(editor.list(ListKind::Sites)),
              (std::vector<std::string>{"http://b.org", "http://a.org", "*giochi"}));
    EXPECT_EQ(texts(editor.list(ListKind::Processes)), std::vector<std::string>{"gioco.exe"});
    EXPECT_EQ(texts(editor.list(ListKind::WindowTitles)), std::vector<std::string>{"Solitario"});

    ASSERT_EQ(editor.moveTo(kept), Outcome::Done);
    const std::string before = test::profileRows(db);
    EXPECT_EQ(editor.deleteCurrent(), Outcome::Refused);
    EXPECT_EQ(dialogs.shown.back().messageId, msg::ProfileStillAssigned);
    EXPECT_EQ(test::profileRows(db), before);

    ASSERT_EQ(editor.moveTo(copy), Outcome::Done);
    EXPECT_EQ(editor.deleteCurrent(), Outcome::Done);
    for (const char* table : {"Profili", "ProcessiVietati", "NomiFinestreVietate", "SitiVietatiConsentiti"}) {
        EXPECT_EQ(db.scalar(std::string("SELECT count(*) FROM ") + table + " WHERE IDProfilo = ?;", {copy}).toInteger(),
                  0)
            << table;
    }
    EXPECT_EQ(editor.record().id, source) << "lands on the neighbour";
}

TEST_F(ProfileEditorTest, StoreFailuresAreShownNotThrown) {
    saved("Scuola");
    ASSERT_TRUE(db.exec("DROP TABLE ProcessiVietati;"));
    EXPECT_EQ(add(ListKind::Processes, "gioco.exe"), Outcome::Failed);
    EXPECT_EQ(dialogs.shown.back().messageId, msg::StoreWriteFailed);
    EXPECT_EQ(dialogs.shown.back().icon, platform::MessageIcon::Critical);
    // The delete stops at the missing table and the profile row stays.
    const std::string before = test::profileRows(db);
    EXPECT_EQ(editor.deleteCurrent(), Outcome::Failed);
    EXPECT_EQ(test::profileRows(db), before);
}

// A profile the policy's file manages is shown, never changed: every write
// is refused with the file's path, and a copy of it is the administrator's own.
TEST_F(ProfileEditorTest, AManagedProfileRefusesEveryChange) {
    const std::int64_t id = saved("Aula");
    ASSERT_EQ(add(ListKind::Processes, "gioco.exe"), Outcome::Done);
    ASSERT_TRUE(db.run("UPDATE Profili SET Gestito = -1 WHERE IDProfilo = ?;", {core::Value(id)}));
    editor.setManagedSource("\\\\server\\aula.ox");
    ASSERT_EQ(editor.moveTo(id), Outcome::Done);
    EXPECT_TRUE(editor.managed());
    const std::string before = test::profileRows(db);
    editor.record().name = "Altro";
    const std::function<Outcome()> writes[] = {
        [&] { return editor.save(); },
        [&] { return editor.deleteCurrent(); },
        [&] { return add(ListKind::Sites, "scuola.it"); },
        [&] { return editor.deleteEntry(ListKind::Processes, 0); },
    };
    for (const auto& write : writes) {
        dialogs.shown.clear();
        EXPECT_EQ(write(), Outcome::Refused);
        ASSERT_EQ(dialogs.shown.size(), 1u);
        EXPECT_EQ(dialogs.shown[0].messageId, msg::ProfileManaged);
        EXPECT_EQ(lastShown(), "T0380 \\\\server\\aula.ox");
    }
    EXPECT_EQ(test::profileRows(db), before);
    ASSERT_EQ(editor.addNew(id), Outcome::Done);
    EXPECT_FALSE(editor.managed());
    editor.record().name = "Copia";
    EXPECT_EQ(editor.save(), Outcome::Done);
    EXPECT_EQ(texts(editor.list(ListKind::Processes)), std::vector<std::string>{"gioco.exe"});
}

}  // namespace
}  // namespace ombrix::profiles

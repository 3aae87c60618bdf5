#include "profiles/profile_editor.h"

#include <gtest/gtest.h>

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
using V = EntryVerdict::Kind;
using L = ListKind;

class ProfileEditorTest : public ::testing::Test {
protected:
    ProfileEditorTest() {
        test::writeFile(dir.file("italian.lng"), "[Strings]\r\n" + test::numberedTexts() + "[frmProfili]\r\ntxtStato.Tag=T-new\r\n");
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
    Outcome add(ListKind kind, const std::string& typed) { return editor.entryBox(kind) = typed, editor.addEntry(kind); }
    std::string lastShown() const { return dialogs.shown.empty() ? "" : dialogs.shown.back().text; }
    MessageId lastId() const { return dialogs.shown.back().messageId; }
    std::string listed(ListKind kind) const {
        std::string out;
        for (const auto& r : editor.list(kind)) out += r.text + "|";
        return out;
    }

    test::TempDir dir;
    Language language{pathToUtf8(dir.path()), platform::pathSeparator()};
    core::Database db = test::deliveredStore();
    test::RecordingDialogs dialogs;
    ProfileEditor editor{db, dialogs, language};
};

TEST(EntryRules, SitesProcessesAndHomePages) {
    // kind, typed, verdict, what is stored or the first refusal's identifier. An entry matching every address
    // would let every page through an allowed list; a control character, bytes not UTF-8 or a C1 control no one types.
    const std::tuple<ListKind, const char*, V, const char*> cases[] = {
        {L::Sites, "  ", V::Ignore, ""}, {L::Sites, "http://www.", V::Refuse, "0360"},
        {L::Sites, "caff\xE8.it", V::Refuse, "0359"},    {L::Sites, "x\xC2\x85.it", V::Refuse, "0359"},
        {L::Processes, "gioco\x7f.exe", V::Refuse, "0359"}, {L::WindowTitles, "Solitario\x1b[2J", V::Refuse, "0359"},
        {L::Sites, " Example.ORG/News ", V::Accept, "http://Example.ORG/News"}, {L::Sites, "HTTP://example.org", V::Accept, "http://HTTP://example.org"},
        {L::Sites, "outlook:inbox", V::Accept, "outlook:inbox"}, {L::Sites, "ftp.example.org", V::Accept, "ftp.example.org"},
        {L::Sites, ".Example.org", V::Accept, ".Example.org"}, {L::Processes, " notepad.exe ", V::Accept, "notepad.exe"},
    };
    for (const auto& [kind, typed, verdict, stored] : cases) {
        const EntryVerdict v = entryVerdict(kind, typed);
        EXPECT_EQ(v.kind, verdict) << typed;
        EXPECT_EQ(v.kind == V::Refuse ? std::string(v.messages.front().number()) : v.value, stored) << typed;
    }
    const std::pair<const char*, const char*> pages[] = {
        {"file://c/x.htm", "http://file://c/x.htm"}, {"file:///c:/x.htm", "file:///c:/x.htm"},
        {" ftp.x.org ", "ftp.x.org"},                {"", ""},
    };
    for (const auto& [typed, saved] : pages) EXPECT_EQ(normalisedHomePage(typed), saved) << typed;
}

// The save's check is the enforcement's rule over non-empty entries, programs let through, built-in pages judged alike.
TEST(EntryRules, TheHomePageCheckAgreesWithTheRunTimeRule) {
    const std::tuple<const char*, std::vector<std::string>, bool> cases[] = {  // page, sites, allowed
        {"https://sub.example.org/", {"http://example.org"}, false},
        {"http://example.org", {"http://other.org", "", "*example"}, true},
        {"http://example.org", {""}, false},       {"C:\\giochi\\avvia.bat", {}, true},
        {"about:blank", {}, false},                {"about:blank", {"about:blank"}, true},
    };
    for (const auto& [page, sites, allowed] : cases) EXPECT_EQ(homePageAllowed(page, sites), allowed) << page;
    // One test says whether a home page names a program, for the save, the import and the start.
    const std::pair<const char*, bool> programs[] = {
        {"C:\\giochi\\avvia.bat", true}, {"X.BAT", true},   {" Giochi.Exe  ", true}, {"exe", false},
        {"setup.exe.html", false},       {"x.exe/", false}, {"x.com", false},       {"", false},
    };
    for (const auto& [page, program] : programs) {
        EXPECT_EQ(core::homePageIsProgram(page), program) << page;
        // The editor keeps a program as typed and never judges it against the list.
        const bool kept = program || std::string_view(page).empty();
        EXPECT_EQ(normalisedHomePage(page) == trimBlanks(page), kept) << page;
        EXPECT_EQ(homePageAllowed(normalisedHomePage(page), {}), kept) << page;
    }
}

TEST_F(ProfileEditorTest, ANewRecordTakesNoEntryUntilSavedThenAsksForEach) {
    const std::string before = test::profileRows(db);
    editor.addNew();
    EXPECT_EQ(editor.record().name + "|" + editor.statusText(), "T0016|T-new") << "the language file's word";
    EXPECT_TRUE(!editor.importExportEnabled() && editor.siteFrameCaption() == msg::ListCaptionForbiddenOnNew);
    for (const auto& [kind, id] : {std::pair{L::Sites, msg::SaveProfileBeforeSites}, std::pair{L::WindowTitles, msg::SaveProfileBeforeWindows}})
        EXPECT_TRUE(add(kind, "gioco.exe") == Outcome::Refused && lastId() == id) << lastShown();
    EXPECT_EQ(test::profileRows(db), before);
    EXPECT_TRUE(editor.save() == Outcome::Done && editor.importExportEnabled());
    // Adding asks, and refuses duplicates in any case.
    dialogs.answer = MessageAnswer::No;
    EXPECT_TRUE(add(L::Sites, "Example.org") == Outcome::Declined && lastShown() == "T0034 http://Example.org T0035") << lastShown();
    EXPECT_TRUE(editor.entryBox(L::Sites) == "http://Example.org" && listed(L::Sites).empty());
    dialogs.answer = MessageAnswer::Yes;
    EXPECT_EQ(editor.addEntry(L::Sites), Outcome::Done);
    EXPECT_TRUE(add(L::Sites, "http://EXAMPLE.org") == Outcome::Refused && lastShown() == "T0108") << lastShown();
    EXPECT_TRUE(add(L::Processes, "gioco.exe") == Outcome::Done && lastShown() == "T0031 gioco.exe T0032") << lastShown();
    EXPECT_TRUE(add(L::Processes, "gioco.exe") == Outcome::Refused && lastId() == msg::ProcessAlreadyListed) << lastShown();
    EXPECT_EQ(add(L::WindowTitles, "Solitario"), Outcome::Done);
    EXPECT_EQ(listed(L::Sites) + listed(L::Processes) + listed(L::WindowTitles), "http://Example.org|gioco.exe|Solitario|");
    dialogs.answer = MessageAnswer::No;
    EXPECT_TRUE(editor.deleteEntry(L::Processes, 0) == Outcome::Declined && lastShown() == "T0042 gioco.exe T0043") << lastShown();
    dialogs.answer = MessageAnswer::Yes;
    EXPECT_EQ(editor.deleteEntry(L::Processes, 0), Outcome::Done);
    EXPECT_EQ(editor.deleteEntry(L::Processes, 0), Outcome::Ignored);
    EXPECT_EQ(listed(L::Processes), "");
}

TEST_F(ProfileEditorTest, EverySaveRefusalLeavesTheStoreAsItWas) {
    saved("Scuola");
    const std::int64_t id = saved("Casa");
    using F = ProfileEditor::Focus;
    const std::tuple<const char*, bool, const char*, const char*, F> cases[] = {  // name, forbidden list, home page, shown, focus
        {"   ", true, "", "T0019\nT0020", F::Name},
        {"Casa", false, "www.example.org", "T0022\nT0023", F::None},
        {"Casa", true, "example.org\x1b", "T0359", F::None},
        {"Casa", false, "about:blank", "T0022\nT0023", F::None},  // an empty allowed list lets no page through
    };
    for (const auto& [name, forbidden, homePage, shown, focus] : cases) {
        ASSERT_EQ(editor.moveTo(id), Outcome::Done);
        const std::string before = test::profileRows(db);
        editor.record().name = name; editor.record().homePage = homePage;
        editor.setForbiddenList(forbidden);
        EXPECT_EQ(editor.save(), Outcome::Refused) << name;
        EXPECT_TRUE(lastShown() == shown && editor.focus() == focus) << lastShown();
        EXPECT_EQ(test::profileRows(db), before);
    }
    // The profile's own name in another case is no clash; the list makes the page allowed.
    EXPECT_EQ(add(L::Sites, ".example.org"), Outcome::Done);
    editor.record().name = "CASA"; editor.record().homePage = "example.org/index.htm";
    EXPECT_EQ(editor.save(), Outcome::Done);
    EXPECT_EQ(db.scalar("SELECT PaginaPredefinita || '|' || Profilo FROM Profili WHERE IDProfilo = ?;", {id}).toText(),
              "http://example.org/index.htm|CASA");
}

TEST_F(ProfileEditorTest, CancelAndTheNavigationReadEachRecordAfresh) {
    const std::int64_t id = saved("Kiosk");
    editor.setForbiddenList(false);
    EXPECT_TRUE(editor.siteFrameCaption() == msg::ListCaptionAllowedAfterOptionClick && !editor.maxProtectionEnabled());
    const ProfileRecord edited = editor.record();
    ASSERT_EQ(editor.save(), Outcome::Done);
    editor.record().name = "Altro";
    EXPECT_TRUE(editor.cancel() == Outcome::Done && editor.record() == edited);
    const std::pair<Outcome (ProfileEditor::*)(), std::size_t> moves[] = {
        {&ProfileEditor::movePrevious, 0}, {&ProfileEditor::moveNext, 1}, {&ProfileEditor::moveNext, 1}};
    for (const auto& [move, position] : moves) EXPECT_TRUE((editor.*move)() == Outcome::Done && editor.position() == position);
    editor.addNew();
    EXPECT_EQ(editor.cancel(), Outcome::Done);
    EXPECT_EQ(editor.record().id, id) << "New then Cancel goes back to the record shown before";
}

// Copies go through the command line's tests, which use this editor.
TEST_F(ProfileEditorTest, ADeleteTakesTheListsAwayUnlessTheProfileIsAssigned) {
    const std::int64_t kept = saved("Assegnato");
    ASSERT_TRUE(db.run("INSERT INTO Clienti (IDProfilo) VALUES (?);", {kept}));
    const std::int64_t source = saved("Scuola");
    ASSERT_EQ(editor.moveTo(kept), Outcome::Done);
    const std::string before = test::profileRows(db);
    EXPECT_TRUE(editor.deleteCurrent() == Outcome::Refused && lastId() == msg::ProfileStillAssigned);
    EXPECT_EQ(test::profileRows(db), before);
    ASSERT_EQ(editor.moveTo(source), Outcome::Done);
    // Store failures are shown, not thrown; the delete stops at the missing table.
    ASSERT_TRUE(db.exec("DROP TABLE ProcessiVietati;"));
    EXPECT_TRUE(add(L::Processes, "altro.exe") == Outcome::Failed && lastId() == msg::StoreWriteFailed &&
                dialogs.shown.back().icon == platform::MessageIcon::Critical);
    const std::string beforeFailure = test::profileRows(db);
    EXPECT_EQ(editor.deleteCurrent(), Outcome::Failed);
    EXPECT_EQ(test::profileRows(db), beforeFailure);
}

}  // namespace
}  // namespace ombrix::profiles

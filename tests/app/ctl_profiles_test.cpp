#include <gtest/gtest.h>

#include "app/ctl_fixture.h"
#include "core/schema.h"
#include "profiles/profile_editor.h"
#include "profiles/profile_fixtures.h"
#include "support/language.h"

namespace ombrix::app {
namespace {

using profiles::ListKind;
using Outcome = profiles::ProfileEditor::Outcome;

class CtlProfiles : public CtlFixture {
protected:
    CtlProfiles() : CtlFixture(test::numberedTexts()) { EXPECT_EQ(ctl({"init", db}), kOk); }
    std::string stored() {
        core::Database d;
        EXPECT_TRUE(d.open(db));
        return test::profileRows(d);
    }
};

TEST_F(CtlProfiles, AProfileFromAddToDelete) {
    ASSERT_EQ(run({"profile", "add", "Scuola"}), kOk) << err.str();
    EXPECT_EQ(out.str(), "2\tScuola\n");
    ASSERT_EQ(run({"site", "add", "scuola", "example.org", ".wiki.org", "*Giochi"}), kOk) << err.str();
    EXPECT_EQ(out.str(), "added 3, duplicates skipped 0\n");
    ASSERT_EQ(run({"process", "add", "Scuola", "gioco.exe"}), kOk);
    ASSERT_EQ(run({"window", "add", "Scuola", "Solitario"}), kOk);
    for (const auto& [key, value] : std::vector<std::pair<std::string, std::string>>{
             {"mode", "nostart"}, {"list", "allowed"}, {"homepage", "example.org/start"}, {"printer", "PDF"},
             {"full-screen", "on"}}) {
        ASSERT_EQ(run({"profile", "set", "Scuola", key, value}), kOk) << key << ": " << err.str();
    }
    ASSERT_EQ(run({"profile", "copy", "Scuola", "Scuola 2"}), kOk);
    ASSERT_EQ(run({"profile", "rename", "Scuola 2", "Medie"}), kOk);
    ASSERT_EQ(run({"profile", "show", "medie"}), kOk);
    EXPECT_EQ(out.str(),
              "id\t3\nname\tMedie\nmode\tnostart\nlist\tallowed\nblock-downloads\toff\nhide-messages\toff\n"
              "internal-browser\toff\nmax-protection\toff\nfull-screen\ton\nprinter\tPDF\n"
              "homepage\thttp://example.org/start\nsite\thttp://example.org\nsite\t.wiki.org\nsite\t*Giochi\n"
              "process\tgioco.exe\nwindow\tSolitario\n");
    ASSERT_EQ(run({"use", "Medie"}), kOk);
    ASSERT_EQ(run({"profile", "delete", "Medie"}), kOk);
    ASSERT_EQ(run({"profile", "show", "Medie"}), kRefused);
    EXPECT_EQ(err.str(), "ombrixctl: no profile is named Medie\n");
}

TEST_F(CtlProfiles, RefusalsPrintTheirIdentifierAndChangeNothing) {
    ASSERT_EQ(run({"profile", "add", "Scuola"}), kOk);
    ASSERT_EQ(run({"profile", "add", "Casa"}), kOk);
    ASSERT_EQ(run({"site", "add", "Casa", "casa.org"}), kOk);
    sql(db, "INSERT INTO Clienti (IDProfilo) VALUES (2);");
    const struct {
        std::vector<std::string> args;
        std::string input;
        std::string error;
    } cases[] = {
        {{"profile", "add", "SCUOLA"}, "", "0021: T0021\n"},
        {{"profile", "delete", "Scuola"}, "", "0013: T0013\n"},
        {{"profile", "set", "Casa", "list", "allowed"}, "", ""},  // allowed: no home page yet
        {{"profile", "set", "Casa", "homepage", "altro.org"}, "", "0022: T0022 T0023\n"},
        {{"profile", "set", "Casa", "max-protection", "on"}, "", "0082: T0082\n"},
        {{"process", "add", "Casa", "ok.exe", "C:\\x.exe", "Y.EXE"},
         "",
         "entry 2: 0027: T0027 (C:\\\\x.exe)\nentry 3: 0028: T0028 T0029 T0030 (Y.EXE)\n"},
        {{"site", "add", "Casa", "-"}, "nuovo.org\r\n\r\n*\n", ""},
        {{"process", "add", "Casa", "-"}, "a.exe\nb\n", "line 2: 0028: T0028 T0029 T0030 (b)\n"},
        {{"site", "remove", "Casa", "casa.org", "nessuno.org"}, "", "ombrixctl: entry 2: not on the site list\n"},
    };
    for (const auto& c : cases) {
        const std::string before = stored();
        const int status = run(c.args, c.input);
        if (c.error.empty()) {
            EXPECT_EQ(status, kOk) << c.args[0] << " " << c.args[1] << ": " << err.str();
            continue;
        }
        EXPECT_EQ(status, kRefused) << c.args[0] << " " << c.args[1];
        EXPECT_EQ(err.str(), c.error);
        EXPECT_EQ(stored(), before);
    }
    EXPECT_EQ(run({"site", "remove", "Casa", "HTTP://CASA.ORG", "nuovo.org"}), kOk);
    EXPECT_EQ(out.str(), "removed 2\n");
    EXPECT_EQ(run({"profile", "set", "Casa", "mode", "chiosco"}), kUsage);
    EXPECT_EQ(run({"profile", "set", "Casa", "colour", "red"}), kUsage);
}

// The form, answering Yes to every question, and the command line store the
// same rows for the same input.
TEST_F(CtlProfiles, TheFormAndTheCommandLineStoreTheSameRows) {
    const std::vector<std::string> sites = {"example.org", ".wiki.org", "EXAMPLE.org", "*scuola", ".", "HTTP://x.org"};
    const std::vector<std::string> processes = {"gioco.exe", "C:\\gioco.exe", "Gioco.exe", "NOTE.EXE", "chat.exe"};
    const std::vector<std::string> windows = {"Solitario", " solitario ", "Prato fiorito"};

    core::Database formDb;
    ASSERT_TRUE(core::createDeliveredDatabase(dir.file("form.db")));
    ASSERT_TRUE(formDb.open(dir.file("form.db")));
    Language language{pathToUtf8(dir.path()), platform::pathSeparator()};
    test::RecordingDialogs dialogs;
    dialogs.answer = platform::MessageAnswer::Yes;
    profiles::ProfileEditor form(formDb, dialogs, language);
    ASSERT_EQ(form.load(), Outcome::Done);
    form.addNew();
    form.record().name = " Scuola ";
    ASSERT_EQ(form.save(), Outcome::Done);
    for (const auto& [kind, entries] : {std::pair{ListKind::Sites, sites}, std::pair{ListKind::Processes, processes},
                                        std::pair{ListKind::WindowTitles, windows}}) {
        for (const auto& e : entries) {
            form.entryBox(kind) = e;
            (void)form.addEntry(kind);
        }
    }
    form.record().setMode(profiles::Mode::Kiosk);
    form.setForbiddenList(false);
    form.record().blockDownloads = true;
    form.record().hideMessages = true;
    form.record().internalBrowser = true;
    form.record().printer = "PDF";
    form.record().homePage = "www.wiki.org";
    ASSERT_EQ(form.save(), Outcome::Done);

    ASSERT_EQ(run({"profile", "add", " Scuola "}), kOk);
    std::string lines;
    for (const auto& s : sites) lines += s + "\n";
    ASSERT_EQ(run({"site", "add", "Scuola", "-"}, lines), kOk);
    // The command line refuses the whole batch on a bad line: the good ones go again alone.
    ASSERT_EQ(run({"process", "add", "Scuola", "gioco.exe", "Gioco.exe", "chat.exe"}), kOk);
    ASSERT_EQ(run({"window", "add", "Scuola", "-"}, "Solitario\n solitario \nPrato fiorito"), kOk);
    for (const auto& [key, value] : std::vector<std::pair<std::string, std::string>>{
             {"mode", "kiosk"}, {"list", "allowed"}, {"block-downloads", "on"}, {"hide-messages", "on"},
             {"internal-browser", "on"}, {"printer", "PDF"}, {"homepage", "www.wiki.org"}}) {
        ASSERT_EQ(run({"profile", "set", "Scuola", key, value}), kOk) << key << ": " << err.str();
    }
    EXPECT_EQ(stored(), test::profileRows(formDb));
}

}  // namespace
}  // namespace ombrix::app

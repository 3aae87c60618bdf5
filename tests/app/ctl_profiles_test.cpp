#include <gtest/gtest.h>

#include <functional>
#include <string_view>

#include "app/ctl_fixture.h"
#include "core/schema.h"
#include "platform/files.h"
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
        {{"site", "add", "Casa", "-"}, "nuovo.org\r\n\r\n", ""},
        {{"site", "add", "Casa", "-"}, "altro.org\n*\n", "line 2: 0360: T0360 (*)\n"},
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

// ASCII text as UTF-16 with its byte order mark, as Notepad's "Unicode" and
// PowerShell 5's ">" save it.
std::string utf16(std::string_view ascii, bool bigEndian) {
    std::string out = bigEndian ? "\xFE\xFF" : "\xFF\xFE";
    for (const char c : ascii) out += bigEndian ? std::string{'\0', c} : std::string{c, '\0'};
    return out;
}

// A list saved by a Windows tool reads as the text it holds, whatever its
// encoding: an allowed list made from it lets through its sites and no other.
TEST_F(CtlProfiles, AListReadsAsTheTextItHoldsInEveryEncoding) {
    const std::string list = "scuola.it\r\n.wiki.org\r\n";
    const struct {
        const char* name;
        std::string input;
    } encodings[] = {
        {"UTF-16 LE", utf16(list, false)},
        {"UTF-16 BE", utf16(list, true)},
        {"UTF-8 with its mark", "\xEF\xBB\xBF" + list},
        {"UTF-8", list},
    };
    int n = 0;
    for (const auto& e : encodings) {
        SCOPED_TRACE(e.name);
        const std::string name = "Aula " + std::to_string(++n);
        ASSERT_EQ(run({"profile", "add", name}), kOk);
        ASSERT_EQ(run({"profile", "set", name, "list", "allowed"}), kOk);
        ASSERT_EQ(run({"site", "add", name, "-"}, e.input), kOk) << err.str();
        EXPECT_EQ(out.str(), "added 2, duplicates skipped 0\n");
        ASSERT_EQ(run({"profile", "show", name}), kOk);
        EXPECT_NE(out.str().find("\nsite\thttp://scuola.it\nsite\t.wiki.org\n"), std::string::npos) << out.str();
        ASSERT_EQ(run({"check", name, "-"}, "https://www.scuola.it/\nhttp://altro.example/\nhttps://it.wiki.org/\n"),
                  kOk);
        EXPECT_EQ(out.str(), "allowed http://scuola.it\nblocked 0182\nallowed .wiki.org\n");
        // The same file takes the entries away again.
        ASSERT_EQ(run({"site", "remove", name, "-"}, e.input), kOk) << err.str();
        EXPECT_EQ(out.str(), "removed 2\n");
    }
}

// What no one types, and what a C string would end at, is refused with its
// line: nothing is stored, so no entry is ever cut short into a broader one.
TEST_F(CtlProfiles, EntriesWithControlCharactersAreRefusedWithTheirLine) {
    ASSERT_EQ(run({"profile", "add", "Aula"}), kOk);
    const struct {
        const char* name;
        std::vector<std::string> args;
        std::string input;
        const char* error;
    } cases[] = {
        {"a NUL", {"site", "add", "Aula", "-"}, std::string("ok.it\nsc\0uola.it\n", 17), "line 2: 0359: "},
        {"UTF-16 without its mark", {"site", "add", "Aula", "-"}, utf16("ok.it\n", false).substr(2), "line 1: 0359: "},
        {"a control character", {"site", "add", "Aula", "-"}, "ok.it\nsc\x01uola.it\n", "line 2: 0359: "},
        {"a tab", {"window", "add", "Aula", "-"}, "Solitario\tx\n", "line 1: 0359: "},
        {"not UTF-8", {"process", "add", "Aula", "-"}, "ok.exe\ncaff\xE8.exe\n", "line 2: 0359: "},
        {"an argument", {"process", "add", "Aula", "ok.exe", "x\x1b.exe"}, "", "entry 2: 0359: "},
        {"a removal", {"site", "remove", "Aula", std::string("a\0b", 3)}, "", "entry 1: 0359: "},
        {"every address", {"site", "add", "Aula", "ok.it", "www.", "*", "."}, "", "entry 2: 0360: "},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string before = stored();
        EXPECT_EQ(run(c.args, c.input), kRefused);
        EXPECT_EQ(err.str().rfind(c.error, 0), 0u) << err.str();
        EXPECT_EQ(stored(), before);
    }
}

// A profile on the command line is a name, letter case ignored; "#" and a
// number is an identifier. The same in every command, and never a guess.
TEST_F(CtlProfiles, EveryCommandTakesAProfileTheSameWay) {
    for (const char* name : {"Scuola", "2", "#2"}) ASSERT_EQ(run({"profile", "add", name}), kOk);
    // 2 Scuola, 3 "2", 4 "#2"; the delivered profile is 1.
    ASSERT_EQ(run({"profile", "delete", "#2"}), kRefused) << "#2 is both a name and an identifier";
    ASSERT_EQ(run({"profile", "rename", "#4", "Medie"}), kOk) << err.str();
    for (const auto& [id, entry] : {std::pair{2, "*due"}, std::pair{3, "*tre"}, std::pair{1, "*uno"}}) {
        ASSERT_EQ(run({"site", "add", "#" + std::to_string(id), entry}), kOk) << err.str();
    }
    sql(db, "UPDATE Profili SET SitiProibiti = -1;");
    // Which profile a command took, by what it left or printed.
    const std::function<long long(const std::string&)> commands[] = {
        [&](const std::string& arg) -> long long {
            if (run({"profile", "show", arg}) != kOk) return 0;
            return std::stoll(out.str().substr(3));
        },
        [&](const std::string& arg) -> long long {
            if (run({"use", arg}) != kOk) return 0;
            core::Database d;
            EXPECT_TRUE(d.open(db));
            return d.scalar("SELECT IDProfiloInUso FROM Opzioni;").toInteger();
        },
        [&](const std::string& arg) -> long long {
            if (run({"check", arg, "http://uno.due.tre/"}) != kOk) return 0;
            const std::string line = out.str();
            return line.find("*due") != std::string::npos ? 2 : line.find("*tre") != std::string::npos ? 3 : 1;
        },
        [&](const std::string& arg) -> long long {
            if (run({"window", "add", arg, "Sonda"}) != kOk) return 0;
            core::Database d;
            EXPECT_TRUE(d.open(db));
            const long long id = d.scalar("SELECT IDProfilo FROM NomiFinestreVietate WHERE NomeFinestra = 'Sonda';").toInteger();
            EXPECT_TRUE(d.exec("DELETE FROM NomiFinestreVietate;"));
            return id;
        },
        [&](const std::string& arg) -> long long {
            if (run({"export", arg, dir.file("sonda.OX")}) != kOk) return 0;
            const std::string text = readWholeFile(dir.file("sonda.OX")).value_or("");
            return text.starts_with("<NOME>\r\nScuola\r\n") ? 2 : text.starts_with("<NOME>\r\n2\r\n") ? 3 : 1;
        },
    };
    const std::pair<const char*, long long> arguments[] = {
        {"Scuola", 2}, {"SCUOLA", 2}, {"2", 3}, {"#2", 2}, {"#3", 3}, {"#1", 1},
        {"3", 0},      {"#9", 0},     {"#", 0}, {"# 2", 0}, {"#-2", 0}, {"", 0},
    };
    for (std::size_t c = 0; c < std::size(commands); ++c) {
        for (const auto& [arg, expected] : arguments) {
            EXPECT_EQ(commands[c](arg), expected) << "command " << c << ", profile \"" << arg << "\": " << err.str();
        }
    }
    // A number that names no profile but is an identifier says how to write one.
    EXPECT_EQ(run({"profile", "show", "4"}), kRefused);
    EXPECT_NE(err.str().find("#4"), std::string::npos) << err.str();
}

// The form, answering Yes to every question, and the command line store the
// same rows for the same input.
TEST_F(CtlProfiles, TheFormAndTheCommandLineStoreTheSameRows) {
    const std::vector<std::string> sites = {"example.org", ".wiki.org", "EXAMPLE.org", "*scuola", "HTTP://x.org"};
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

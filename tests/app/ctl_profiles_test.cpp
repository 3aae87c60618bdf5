// ombrixctl's profile commands. The editors' own rules are the editors' tests:
// here, that each command path says the editor's message and writes nothing.
#include <gtest/gtest.h>

#include "app/ctl_fixture.h"

namespace ombrix::app {
namespace {

class CtlProfiles : public CtlFixture {
protected:
    CtlProfiles() { EXPECT_EQ(ctl({"init", db}), kOk); }
    void setAll(const std::string& profile, const std::vector<std::pair<std::string, std::string>>& settings) {
        for (const auto& [key, value] : settings) {
            ASSERT_EQ(run({"profile", "set", profile, key, value}), kOk) << key << ": " << err.str();
        }
    }
};

TEST_F(CtlProfiles, AProfileFromAddToDelete) {
    ASSERT_EQ(run({"profile", "add", "Scuola"}), kOk) << err.str();
    EXPECT_EQ(out.str(), "2\tScuola\n");
    ASSERT_EQ(run({"site", "add", "scuola", "example.org", ".wiki.org", "*Giochi", "EXAMPLE.org"}), kOk);
    EXPECT_EQ(out.str(), "added 3, duplicates skipped 1\n");
    ASSERT_EQ(run({"process", "add", "Scuola", "gioco.exe"}), kOk);
    ASSERT_EQ(run({"window", "add", "Scuola", "Solitario"}), kOk);
    setAll("Scuola", {{"mode", "nostart"}, {"list", "allowed"}, {"homepage", "example.org/start"},
                      {"printer", "PDF"}, {"full-screen", "on"}, {"block-downloads", "on"}});
    ASSERT_EQ(run({"profile", "copy", "Scuola", "Scuola 2"}), kOk);
    ASSERT_EQ(run({"profile", "rename", "Scuola 2", "Medie"}), kOk);
    ASSERT_EQ(run({"profile", "show", "medie"}), kOk);
    EXPECT_EQ(out.str(),
              "id\t3\nname\tMedie\nmode\tnostart\nlist\tallowed\nblock-downloads\ton\nhide-messages\toff\n"
              "internal-browser\toff\nmax-protection\toff\nfull-screen\ton\nprinter\tPDF\n"
              "homepage\thttp://example.org/start\nsite\thttp://example.org\nsite\t.wiki.org\nsite\t*Giochi\n"
              "process\tgioco.exe\nwindow\tSolitario\n");
    ASSERT_EQ(run({"site", "remove", "Medie", "HTTP://EXAMPLE.ORG", "*giochi"}), kOk);
    EXPECT_EQ(out.str(), "removed 2\n");
    ASSERT_EQ(run({"use", "Medie"}), kOk);
    ASSERT_EQ(run({"profile", "delete", "Medie"}), kOk);
    refused({"profile", "show", "Medie"}, "ombrixctl: no profile is named Medie\n");
}

// One refusal per command path: the editor's message with its identifier,
// each refused entry with its line, and the store as it was.
TEST_F(CtlProfiles, RefusalsSayTheEditorsMessageAndChangeNothing) {
    ASSERT_EQ(run({"profile", "add", "Scuola"}), kOk);
    ASSERT_EQ(run({"profile", "add", "Casa"}), kOk);
    ASSERT_EQ(run({"site", "add", "Casa", "casa.org"}), kOk);
    sql(db, "INSERT INTO Clienti (IDProfilo) VALUES (2);");
    ASSERT_EQ(run({"profile", "set", "Casa", "list", "allowed"}), kOk) << "no home page yet: allowed";
    const struct {
        std::vector<std::string> args;
        std::string input, error;
        int status = kRefused;
    } cases[] = {
        {{"profile", "add", "SCUOLA"}, "", "0021: T0021\n"},
        {{"profile", "delete", "Scuola"}, "", "0013: T0013\n"},
        {{"profile", "rename", "Casa", "scuola"}, "", "0021: T0021\n"},
        {{"profile", "copy", "Casa", "Scuola"}, "", "0021: T0021\n"},
        {{"profile", "set", "Casa", "homepage", "altro.org"}, "", "0022: T0022 T0023\n"},
        {{"profile", "set", "Casa", "max-protection", "on"}, "", "0082: T0082\n"},
        {{"profile", "set", "Casa", "mode", "chiosco"}, "", "ombrixctl:", kUsage},
        {{"profile", "set", "Casa", "colour", "red"}, "", "ombrixctl:", kUsage},
        {{"process", "add", "Casa", "ok.exe", "C:\\x.exe", "Y.EXE"}, "",
         "entry 2: 0027: T0027 (C:\\\\x.exe)\nentry 3: 0028: T0028 T0029 T0030 (Y.EXE)\n"},
        {{"site", "add", "Casa", "-"}, "altro.org\n*\n", "line 2: 0360: T0360 (*)\n"},
        {{"window", "add", "Casa", "-"}, "Solitario\tx\n", "line 1: 0359: "},
        {{"site", "remove", "Casa", "casa.org", "nessuno.org"}, "", "ombrixctl: entry 2: not on the site list\n"},
        // What a C string would end at, or no one types, is never cut into a broader entry.
        {{"site", "add", "Casa", "-"}, std::string("ok.it\nsc\0uola.it\n", 17), "line 2: 0359: "},
        {{"site", "remove", "Casa", std::string("a\0b", 3)}, "", "entry 1: 0359: "},
        {{"site", "add", "Casa", "ok.it", "www.", "*", "."}, "", "entry 2: 0360: "},
    };
    for (const auto& c : cases) refused(c.args, c.error, c.input, c.status);
}

// ASCII text as UTF-16 with its byte order mark, as Notepad's "Unicode" and
// PowerShell 5's ">" save it.
std::string utf16(std::string_view ascii, bool bigEndian) {
    std::string out = bigEndian ? "\xFE\xFF" : "\xFF\xFE";
    for (const char c : ascii) out += bigEndian ? std::string{'\0', c} : std::string{c, '\0'};
    return out;
}

// A list saved by a Windows tool reads as the text it holds, whatever its encoding.
TEST_F(CtlProfiles, AListReadsAsTheTextItHoldsInEveryEncoding) {
    const std::string list = "scuola.it\r\n.wiki.org\r\n";
    ASSERT_EQ(run({"profile", "add", "Aula"}), kOk);
    for (const std::string& input : {utf16(list, false), utf16(list, true), "\xEF\xBB\xBF" + list}) {
        ASSERT_EQ(run({"site", "add", "Aula", "-"}, input), kOk) << err.str();
        EXPECT_EQ(out.str(), "added 2, duplicates skipped 0\n");
        ASSERT_EQ(run({"profile", "show", "Aula"}), kOk);
        EXPECT_NE(out.str().find("\nsite\thttp://scuola.it\nsite\t.wiki.org\n"), std::string::npos) << out.str();
        ASSERT_EQ(run({"site", "remove", "Aula", "-"}, input), kOk) << err.str();
        EXPECT_EQ(out.str(), "removed 2\n");
    }
    refused({"site", "add", "Aula", "-"}, "line 1: 0359: ", utf16("ok.it\n", false).substr(2));
}

// A profile on the command line is a name, letter case ignored; "#" and a
// number is an identifier. The same in every command, and never a guess.
TEST_F(CtlProfiles, EveryCommandTakesAProfileTheSameWay) {
    for (const char* name : {"Scuola", "2", "#2"}) ASSERT_EQ(run({"profile", "add", name}), kOk);
    // 2 Scuola, 3 "2", 4 "#2"; the delivered profile is 1.
    refused({"profile", "delete", "#2"}, "ombrixctl: #2 can mean profile #");
    ASSERT_EQ(run({"profile", "rename", "#4", "Medie"}), kOk) << err.str();
    const auto shown = [&](const std::string& arg) {
        return run({"profile", "show", arg}) == kOk ? std::stoll(out.str().substr(3)) : 0;
    };
    const std::pair<const char*, long long> arguments[] = {
        {"Scuola", 2}, {"SCUOLA", 2}, {"2", 3}, {"#2", 2}, {"#3", 3}, {"#1", 1},
        {"3", 0},      {"#9", 0},     {"#", 0}, {"# 2", 0}, {"#-2", 0}, {"", 0},
    };
    for (const auto& [arg, expected] : arguments) EXPECT_EQ(shown(arg), expected) << "\"" << arg << "\"";
    // A number that names no profile but is an identifier says how to write one.
    refused({"profile", "show", "4"}, "ombrixctl: no profile is named 4");
    EXPECT_NE(err.str().find("#4"), std::string::npos) << err.str();
    // The other commands take the same argument.
    ASSERT_EQ(run({"use", "2"}), kOk);
    ASSERT_EQ(run({"window", "add", "#3", "Sonda"}), kOk);
    core::Database d;
    ASSERT_TRUE(d.open(db));
    EXPECT_EQ(d.scalar("SELECT IDProfiloInUso || (SELECT IDProfilo FROM NomiFinestreVietate) FROM Opzioni;").toText(),
              "33");
}

}  // namespace
}  // namespace ombrix::app

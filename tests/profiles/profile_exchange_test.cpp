#include "profiles/profile_exchange.h"

#include <gtest/gtest.h>

#include <deque>
#include <filesystem>

#include "fakes/fake_machine.h"
#include "fakes/fixtures.h"
#include "platform/files.h"
#include "platform/system.h"
#include "platform/text.h"
#include "profiles/profile_fixtures.h"
#include "support/language.h"

namespace ombrix::profiles {
namespace {

using Result = ProfileExchange::Result;
using S = ExchangeRead::Status;

// Answers the file dialogs from a queue; an empty queue cancels.
struct QueuedFileDialogs final : platform::FileDialogs {
    std::deque<std::string> answers;
    std::vector<std::string> proposed;
    std::optional<std::string> saveFileName(std::string_view filter, std::string_view initial) override {
        return proposed.emplace_back(initial), openFileName(filter);
    }
    std::optional<std::string> openFileName(std::string_view) override {
        if (answers.empty()) return std::nullopt;
        const std::string a = answers.front();
        return answers.pop_front(), a;
    }
};

ExchangeProfile sample() {
    ExchangeProfile p;
    p.record.name = "Classe 3ª \"B\""; p.record.homePage = "http://scuola.it";
    p.record.kiosk = p.record.startDisabled = p.record.blockDownloads = true; p.record.forbiddenList = false;
    p.sites = {"http://scuola.it", ".wikipedia.org"}; p.processes = {"notepad.exe"};
    return p;
}

// The named sections, each standing empty unless the body has it (the site list needs its word).
std::string file(const std::string& body) {
    std::string out;
    for (const std::string tag : {"NOME", "MODO", "DOWNLOAD", "MESSAGGI", "BROWSERINTERNO", "LISTASITI", "HOMEPAGE",
                                  "SITI", "PROCESSI", "FINESTRE"}) {
        if (body.find("<" + tag + ">") != std::string::npos) continue;
        out += "<" + tag + ">\r\n" + (tag == "LISTASITI" ? "CONSENTITI\r\n" : "") + "</" + tag + ">\r\n";
    }
    return body + out;
}

TEST(ExchangeText, SectionsInOrderInTheCodePageWithCrLfAndUncarriedValuesNamed) {
    const ExchangeText t = exchangeText(sample());
    ASSERT_FALSE(t.uncarried);
    EXPECT_EQ(t.bytes,
              "<NOME>\r\nClasse 3\xAA \"B\"\r\n</NOME>\r\n<MODO>\r\nKIOSK\r\n</MODO>\r\n<DOWNLOAD>\r\nNO\r\n</DOWNLOAD>\r\n"
              "<MESSAGGI>\r\nSI\r\n</MESSAGGI>\r\n<BROWSERINTERNO>\r\nNO\r\n</BROWSERINTERNO>\r\n"
              "<LISTASITI>\r\nCONSENTITI\r\n</LISTASITI>\r\n<HOMEPAGE>\r\nhttp://scuola.it\r\n</HOMEPAGE>\r\n"
              "<SITI>\r\nhttp://scuola.it\r\n.wikipedia.org\r\n</SITI>\r\n<PROTEZIONEMASSIMA>\r\nNO\r\n</PROTEZIONEMASSIMA>\r\n"
              "<PROCESSI>\r\nnotepad.exe\r\n</PROCESSI>\r\n<FINESTRE>\r\n</FINESTRE>\r\n<STAMPANTE>\r\n</STAMPANTE>\r\n"
              "<IETUTTOSCHERMO>\r\nNO\r\n</IETUTTOSCHERMO>\r\n");
    // name, window, what cannot be carried (nullptr: written): é and € have their bytes, omega none; a line reading as a tag
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"Caf\xC3\xA9 \xE2\x82\xAC", "x", nullptr}, {"\xCE\xA9mega", "x", "\xCE\xA9mega"}, {"ok", "  </SITI> ", "  </SITI> "}};
    for (const auto& [name, window, uncarried] : cases) {
        ExchangeProfile p;
        p.record.name = name; p.windows = {window};
        const ExchangeText u = exchangeText(p);
        EXPECT_EQ(u.uncarried.value_or("(written)"), uncarried ? uncarried : "(written)") << name;
        EXPECT_EQ(u.bytes.empty(), uncarried != nullptr);
    }
}

TEST(ExchangeRead, SwitchWordsListsAndChecks) {
    const std::string site = "<NOME>\r\nA\r\n</NOME>\r\n<LISTASITI>\r\n";
    const std::tuple<std::string, S, const char*> cases[] = {  // bytes, status, fields of the record or the missing tag
        {file("<NOME>\r\n  Aula  \r\n</NOME>\r\n<MODO>\r\nNOSTART\r\n</MODO>\r\n<DOWNLOAD>\r\nNO\r\n</DOWNLOAD>\r\n"
              "<MESSAGGI>\r\nno\r\n</MESSAGGI>\r\n<BROWSERINTERNO>\r\nx\r\n</BROWSERINTERNO>\r\n"),
         S::Valid, "Aula nostart blocked shown internal allowed maxoff fulloff"},
        {file("<NOME>\r\nA\r\n</NOME>\r\n<MODO>\r\nkiosk\r\n</MODO>\r\n<BROWSERINTERNO>\r\nNO\r\n</BROWSERINTERNO>\r\n"
              "<LISTASITI>\r\nPROIBITI\r\n</LISTASITI>\r\n<PROTEZIONEMASSIMA>\r\n\r\n</PROTEZIONEMASSIMA>\r\n"
              "<IETUTTOSCHERMO>\r\nNO\r\n</IETUTTOSCHERMO>\r\n"),
         S::Valid, "A normal allowed shown noint forbidden maxon fulloff"},
        // LF alone, and the last of two values wins.
        {file("<NOME>\nA\nB\n</NOME>\n<IETUTTOSCHERMO>\n\n</IETUTTOSCHERMO>\n"), S::Valid,
         "B normal allowed shown internal allowed maxoff fullon"},
        // The site list's word, trimmed and in any case; any other word refuses the file.
        {file(site + "  Proibiti\t\r\n</LISTASITI>\r\n"), S::Valid, "A normal allowed shown internal forbidden maxoff fulloff"},
        {file(site + "PROIBITI.\r\n</LISTASITI>\r\n"), S::RefusedLine, ""},  // any other word
        {"</NOME>\r\n" + file("<NOME>\r\nA\r\n"), S::MissingPair, "<NOME>"},
        {file("<NOME>\r\nA\r\n</NOME>\r\n<FINESTRE>\r\n"), S::MissingPair, "<FINESTRE>"},
        {std::string("<NOME>\0", 7) + file(""), S::NotText, ""},
        {file("<NOME>\r\n" + std::string(kMaxEntryBytes + 1, 'x') + "\r\n</NOME>\r\n"), S::LineTooLong, ""},
        {std::string("\xFF\xFE<\0N\0", 6), S::MissingPair, "<NOME>"},  // UTF-16, read as such
    };
    const auto word = [](bool on, const char* yes, const char* no) { return std::string(" ") + (on ? yes : no); };
    for (const auto& [bytes, status, expect] : cases) {
        const ExchangeRead r = readExchange(bytes);
        ASSERT_EQ(r.status, status) << bytes;
        EXPECT_EQ(r.missingTag, status == S::MissingPair ? expect : "");
        if (status != S::Valid) continue;
        const ProfileRecord& p = r.profile.record;
        const char* modes[] = {"kiosk", "nostart", "normal"};
        EXPECT_EQ(p.name + " " + modes[static_cast<int>(p.mode())] + word(p.blockDownloads, "blocked", "allowed") +
                      word(p.hideMessages, "hidden", "shown") + word(p.internalBrowser, "internal", "noint") +
                      word(p.forbiddenList, "forbidden", "allowed") + word(p.maxProtection, "maxon", "maxoff") + word(p.fullScreen, "fullon", "fulloff"),
                  expect);
    }
}

TEST(ExchangeRead, EachListHasItsOwnNormalisation) {
    const ExchangeRead r = readExchange(file(
        "<NOME>\r\nA\r\n</NOME>\r\n<SITI>\r\n\r\n  scuola.it \r\nHTTP://X.IT\r\n.dom.it\r\n</SITI>\r\n"
        "<PROCESSI>\r\nNOTEPAD.EXE\r\nc:\\x.exe\r\ncalc.exe  \r\nbad.com\r\n  paint.exe\r\n</PROCESSI>\r\n"
        "<FINESTRE>\r\n  Titolo  \r\n\r\n</FINESTRE>\r\n"));
    ASSERT_EQ(r.status, S::Valid);
    EXPECT_EQ(r.profile.sites, (std::vector<std::string>{"http://scuola.it", "http://HTTP://X.IT", ".dom.it"}));
    // Lowered first: capitals pass here though the editor's box refuses them;
    // trailing blanks hide the ".exe" ending and the line is skipped.
    EXPECT_EQ(r.profile.processes, (std::vector<std::string>{"notepad.exe", "paint.exe"}));
    EXPECT_EQ(r.profile.windows, std::vector<std::string>{"Titolo"});
}

class ExchangeStoreTest : public ::testing::Test {
protected:
    ExchangeStoreTest() {
        test::writeFile(dir.file("italian.lng"), "[Strings]\r\n" + test::numberedTexts());
        printers.ports = {{"Laser Aula 1", "drv,LPT1:"}, {"PDF", "drv,PDF:"}};
    }
    long long importText(const std::string& bytes) {
        long long id = -1;
        exchange.importBytes(bytes, &id);
        return id;
    }
    ExchangeProfile stored(long long id) {
        ProfileEditor editor(db, dialogs, language);
        EXPECT_EQ(editor.moveTo(id), ProfileEditor::Outcome::Done);
        return shownProfile(editor);
    }
    std::string shownIds() const {
        std::string out;
        for (const auto& m : dialogs.shown) out += std::string(m.messageId.number()) + " ";
        return out;
    }

    test::TempDir dir;
    Language language{pathToUtf8(dir.path()), platform::pathSeparator()};
    core::Database db = test::deliveredStore();
    test::RecordingDialogs dialogs;
    test::Journal journal;
    test::FakePrinters printers{journal};
    ProfileExchange exchange{db, dialogs, language, &printers};
};

TEST_F(ExchangeStoreTest, RefusedFilesStoreNothing) {
    const std::string valid = file("<NOME>\r\nAula\r\n</NOME>\r\n<SITI>\r\nx.it\r\n</SITI>\r\n");
    ASSERT_GT(importText(valid), 0);
    const std::string afterValidImport = test::profileRows(db);
    const std::string n = "<NOME>\r\nN\r\n</NOME>\r\n";
    const std::string refused[] = {
        file("<NOME>\r\naULA\r\n</NOME>\r\n"),                                    // 0050: the name exists
        file("<NOME>\r\n\r\n</NOME>\r\n"),                                        // 0332 + 0338: no name
        file(n + "<HOMEPAGE>\r\naltro.it\r\n</HOMEPAGE>\r\n"),                    // 0022: its list blocks it
        file(n + "<SITI>\r\nok.it\r\nx\x01.it\r\n</SITI>\r\n"),                  // 0359, named by its line
        file(n + "<LISTASITI>\r\nVIETATI\r\n</LISTASITI>\r\n"),                   // 0362: neither list
    };
    for (const auto& bytes : refused) EXPECT_EQ(importText(bytes), -1);
    ASSERT_EQ(shownIds(), "0050 0332 0022 0332 0332 ");
    EXPECT_EQ(dialogs.shown[0].text + "|" + dialogs.shown[1].text, "T0050aULA.|T0332\nT0333\nT0338");
    EXPECT_EQ(dialogs.shown[3].text + "|" + dialogs.shown[4].text, "T0332\nT0359\nT0363 6|T0332\nT0362\nT0363 5");
    EXPECT_EQ(test::profileRows(db), afterValidImport);
}

// An export never replaces what is not a file of its own: another program's "<file>.tmp" beside it.
TEST_F(ExchangeStoreTest, AnExportWritesOnlyItsOwnFile) {
    const std::string path = dir.file("scuola.OX");
    ASSERT_TRUE(writeWholeFile(path + ".tmp", "altrui"));
    ASSERT_EQ(exchange.exportTo(sample(), path), Result::Done);
    EXPECT_EQ(readWholeFile(path + ".tmp"), "altrui");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 3) << "nothing left behind";
}

// A box waits for the user with the store free: the import's transaction has ended, refused or not.
TEST_F(ExchangeStoreTest, MessagesWaitWithTheStoreFreeAndPrintersAreLookedUp) {
    std::vector<bool> free;
    dialogs.whileShown = [&](const platform::MessageBoxRequest&) { free.push_back(db.exec("BEGIN IMMEDIATE;") && db.exec("ROLLBACK;")); };
    const std::string body = "<SITI>\r\nx.it\r\nX.IT\r\nhttp://x.it\r\n</SITI>\r\n<PROCESSI>\r\nA.EXE\r\na.exe\r\n</PROCESSI>\r\n";
    const long long laser = importText(file("<NOME>\r\nL\r\n</NOME>\r\n<STAMPANTE>\r\nLaser Aula 1\r\n</STAMPANTE>\r\n" + body));
    const std::string other = file("<NOME>\r\nM\r\n</NOME>\r\n<STAMPANTE>\r\nlaser aula 1\r\n</STAMPANTE>\r\n");
    EXPECT_EQ(exchange.importBytes(other), Result::Done);     // 0037: no such printer, imported all the same
    EXPECT_EQ(exchange.importBytes(other), Result::Refused);  // 0050: the name is taken
    EXPECT_EQ(free, (std::vector<bool>{true, true}));
    EXPECT_EQ(stored(laser).record.printer, "Laser Aula 1");
    EXPECT_EQ(stored(laser).sites, (std::vector<std::string>{"http://x.it"})) << "duplicates skipped";
    EXPECT_EQ(stored(laser).processes, (std::vector<std::string>{"a.exe"}));
    EXPECT_EQ(shownIds(), "0037 0050 ");
}

// The dialogs' whole path runs under Wine; here, the name proposed and the refusal of a file that is not ours.
TEST_F(ExchangeStoreTest, FilesThroughTheDialogs) {
    QueuedFileDialogs files;
    ExchangeProfile p = sample();
    p.record.name = "a\\b/c:d*e\"f<g>h|i?"; p.record.startDisabled = false;  // kiosk wins: the file cannot say both
    const std::string path = dir.file("out.ox");
    files.answers = {path, dir.file("out.txt"), path};
    EXPECT_EQ(exchange.exportWithDialog(files, p), Result::Done);
    EXPECT_EQ(files.proposed, std::vector<std::string>{"a-b-c-d-e-f-g-h-i?"}) << "eight characters become dashes, not '?'";
    EXPECT_EQ(exchange.importWithDialog(files), Result::Refused);
    long long id = -1;
    EXPECT_EQ(exchange.importWithDialog(files, &id), Result::Done);  // ".ox" in small letters
    EXPECT_EQ(shownIds(), "0053 0330 ");
    EXPECT_EQ(stored(id), p);
}

}  // namespace
}  // namespace ombrix::profiles

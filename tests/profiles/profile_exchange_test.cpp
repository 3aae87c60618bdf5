#include "profiles/profile_exchange.h"

#include <gtest/gtest.h>

#include <deque>
#include <filesystem>
#include <random>

#ifndef _WIN32
#include <sys/stat.h>
#endif

#include "fakes/fake_machine.h"
#include "fakes/fake_machine_profile.h"
#include "fakes/fixtures.h"
#include "platform/files.h"
#include "platform/system.h"
#include "platform/text.h"
#include "profiles/profile_fixtures.h"
#include "support/language.h"

namespace ombrix::profiles {
namespace {

using Result = ProfileExchange::Result;

// Answers the file dialogs from a queue; an empty queue cancels.
class QueuedFileDialogs final : public platform::FileDialogs {
public:
    std::deque<std::optional<std::string>> answers;
    std::vector<std::string> proposed;
    std::optional<std::string> saveFileName(std::string_view filter, std::string_view initial) override {
        EXPECT_EQ(filter, "Ombrix files (*.OX)|*.OX");
        proposed.emplace_back(initial);
        return next();
    }
    std::optional<std::string> openFileName(std::string_view) override { return next(); }

private:
    std::optional<std::string> next() {
        if (answers.empty()) return std::nullopt;
        auto a = answers.front();
        answers.pop_front();
        return a;
    }
};

ExchangeProfile sample() {
    ExchangeProfile p;
    p.record.name = "Classe 3ª \"B\"";
    p.record.kiosk = true;
    p.record.startDisabled = true;
    p.record.blockDownloads = true;
    p.record.forbiddenList = false;
    p.record.homePage = "http://scuola.it";
    p.sites = {"http://scuola.it", ".wikipedia.org"};
    p.processes = {"notepad.exe"};
    return p;
}

TEST(ExchangeText, SectionsInOrderInTheCodePageWithCrLf) {
    const ExchangeText t = exchangeText(sample());
    ASSERT_FALSE(t.uncarried);
    EXPECT_EQ(t.bytes,
              "<NOME>\r\nClasse 3\xAA \"B\"\r\n</NOME>\r\n<MODO>\r\nKIOSK\r\n</MODO>\r\n<DOWNLOAD>\r\nNO\r\n</DOWNLOAD>\r\n"
              "<MESSAGGI>\r\nSI\r\n</MESSAGGI>\r\n<BROWSERINTERNO>\r\nNO\r\n</BROWSERINTERNO>\r\n"
              "<LISTASITI>\r\nCONSENTITI\r\n</LISTASITI>\r\n<HOMEPAGE>\r\nhttp://scuola.it\r\n</HOMEPAGE>\r\n"
              "<SITI>\r\nhttp://scuola.it\r\n.wikipedia.org\r\n</SITI>\r\n<PROTEZIONEMASSIMA>\r\nNO\r\n</PROTEZIONEMASSIMA>\r\n"
              "<PROCESSI>\r\nnotepad.exe\r\n</PROCESSI>\r\n<FINESTRE>\r\n</FINESTRE>\r\n<STAMPANTE>\r\n</STAMPANTE>\r\n"
              "<IETUTTOSCHERMO>\r\nNO\r\n</IETUTTOSCHERMO>\r\n");
}

TEST(ExchangeText, ValuesTheFileCannotCarryAreNamed) {
    const struct {
        const char* name;
        const char* window;
        const char* uncarried;  // nullptr: written
    } cases[] = {
        {"Caf\xC3\xA9 \xE2\x82\xAC", "x", nullptr},                // é and € have their bytes
        {"\xCE\xA9mega", "x", "\xCE\xA9mega"},                      // Greek capital omega has none
        {"ok", "  </SITI> ", "  </SITI> "},                        // a line that reads as a tag
        {"ok", "<SITI> and more", nullptr},                         // a tag inside a line is harmless
        {"a\nb", "x", "a\nb"},
    };
    for (const auto& c : cases) {
        ExchangeProfile p;
        p.record.name = c.name;
        p.windows = {c.window};
        const ExchangeText t = exchangeText(p);
        EXPECT_EQ(t.uncarried.value_or("(written)"), c.uncarried ? c.uncarried : "(written)") << c.name;
        EXPECT_EQ(t.bytes.empty(), c.uncarried != nullptr);
    }
}

std::string file(const std::string& body) {
    std::string out;
    for (const char* tag : {"NOME", "MODO", "DOWNLOAD", "MESSAGGI", "BROWSERINTERNO", "LISTASITI", "HOMEPAGE", "SITI",
                            "PROCESSI", "FINESTRE"}) {
        const std::string open = std::string("<") + tag + ">";
        // The site list needs its word; every other section may stand empty.
        const std::string value = std::string(tag) == "LISTASITI" ? "CONSENTITI\r\n" : "";
        if (body.find(open) == std::string::npos) out += open + "\r\n" + value + "</" + tag + ">\r\n";
    }
    return body + out;
}

TEST(ExchangeRead, SwitchWordsListsAndChecks) {
    using S = ExchangeRead::Status;
    const struct {
        std::string bytes;
        S status;
        const char* expect;  // fields of the record, or the missing tag
    } cases[] = {
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
        {"</NOME>\r\n" + file("<NOME>\r\nA\r\n"), S::MissingPair, "<NOME>"},
        {file("<NOME>\r\nA\r\n</NOME>\r\n<FINESTRE>\r\n"), S::MissingPair, "<FINESTRE>"},
        {std::string("<NOME>\0", 7) + file(""), S::NotText, ""},
        {std::string("\xFF\xFE<\0N\0", 6), S::MissingPair, "<NOME>"},  // UTF-16, read as such
        {"\xEF\xBB\xBF" + file("<NOME>\r\nCaff\xC3\xA8\r\n</NOME>\r\n"), S::Valid,
         "Caff\xC3\xA8 normal allowed shown internal allowed maxoff fulloff"},
    };
    for (const auto& c : cases) {
        const ExchangeRead r = readExchange(c.bytes);
        ASSERT_EQ(r.status, c.status) << c.bytes;
        if (c.status == S::MissingPair) {
            EXPECT_EQ(r.missingTag, c.expect);
        }
        if (c.status != S::Valid) continue;
        const ProfileRecord& p = r.profile.record;
        const char* modes[] = {"kiosk", "nostart", "normal"};
        const std::string got = p.name + " " + modes[static_cast<int>(p.mode())] + " " +
                                (p.blockDownloads ? "blocked" : "allowed") + " " + (p.hideMessages ? "hidden" : "shown") +
                                " " + (p.internalBrowser ? "internal" : "noint") + " " +
                                (p.forbiddenList ? "forbidden" : "allowed") + " " + (p.maxProtection ? "maxon" : "maxoff") +
                                " " + (p.fullScreen ? "fullon" : "fulloff");
        EXPECT_EQ(got, c.expect);
    }
}

// The site list's word decides what the list means: compared trimmed and in
// any case, and a word that is neither refuses the file rather than making
// an allowed list of what were forbidden sites.
TEST(ExchangeRead, TheSiteListWordIsReadInAnyCaseOrRefused) {
    const struct {
        const char* word;
        const char* read;  // "forbidden", "allowed" or "refused"
    } cases[] = {
        {"PROIBITI", "forbidden"},   {"proibiti", "forbidden"},  {"  Proibiti\t", "forbidden"},
        {"\tPROIBITI ", "forbidden"}, {"CONSENTITI", "allowed"},  {"consentiti ", "allowed"},
        {"VIETATI", "refused"},      {"PROIBITI.", "refused"},   {"", "refused"},
    };
    for (const auto& c : cases) {
        const ExchangeRead r =
            readExchange(file(std::string("<NOME>\r\nA\r\n</NOME>\r\n<LISTASITI>\r\n") + c.word + "\r\n</LISTASITI>\r\n"));
        const std::string got = r.status == ExchangeRead::Status::Valid
                                    ? (r.profile.record.forbiddenList ? "forbidden" : "allowed")
                                    : "refused";
        EXPECT_EQ(got, c.read) << c.word;
    }
    EXPECT_NE(readExchange(file("<NOME>\r\nA\r\n</NOME>\r\n<LISTASITI>\r\n</LISTASITI>\r\n")).status,
              ExchangeRead::Status::Valid);
}

TEST(ExchangeRead, EachListHasItsOwnNormalisation) {
    const ExchangeRead r = readExchange(file(
        "<NOME>\r\nA\r\n</NOME>\r\n<SITI>\r\n\r\n  scuola.it \r\nHTTP://X.IT\r\n.dom.it\r\n</SITI>\r\n"
        "<PROCESSI>\r\nNOTEPAD.EXE\r\nc:\\x.exe\r\ncalc.exe  \r\nbad.com\r\n  paint.exe\r\n</PROCESSI>\r\n"
        "<FINESTRE>\r\n  Titolo  \r\n\r\n</FINESTRE>\r\n"));
    ASSERT_EQ(r.status, ExchangeRead::Status::Valid);
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
        last = exchange.importBytes(bytes, &id);
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
    Result last = Result::Done;
};

TEST_F(ExchangeStoreTest, RefusedFilesStoreNothing) {
    const std::string before = test::profileRows(db);
    const std::string valid = file("<NOME>\r\nAula\r\n</NOME>\r\n<SITI>\r\nx.it\r\n</SITI>\r\n");
    ASSERT_GT(importText(valid), 0);
    const std::string afterValidImport = test::profileRows(db);
    ASSERT_NE(afterValidImport, before);
    dialogs.shown.clear();
    const std::string refused[] = {
        file("<NOME>\r\naULA\r\n</NOME>\r\n"),                                     // 0050: the name exists
        "<NOME>\r\nNuova\r\n</NOME>\r\n",                                          // 0332: pairs missing
        file("<NOME>\r\n\r\n</NOME>\r\n"),                                         // 0332 + 0338: no name
        std::string("\0", 1) + valid,                                             // 0332 + 0335: not text
        file("<NOME>\r\nN\r\n</NOME>\r\n<HOMEPAGE>\r\naltro.it\r\n</HOMEPAGE>\r\n"),  // 0022: its list blocks it
        // 0359: an entry with a control character, named by its line
        file("<NOME>\r\nN\r\n</NOME>\r\n<SITI>\r\nok.it\r\nx\x01.it\r\n</SITI>\r\n"),
        // 0360: an entry that matches every address
        file("<NOME>\r\nN\r\n</NOME>\r\n<SITI>\r\nok.it\r\n  .  \r\n</SITI>\r\n"),
        // 0362: the site list is neither forbidden nor allowed
        file("<NOME>\r\nN\r\n</NOME>\r\n<LISTASITI>\r\nVIETATI\r\n</LISTASITI>\r\n"),
        // 0359: a process line or a window title with a NUL's neighbours
        file("<NOME>\r\nN\r\n</NOME>\r\n<FINESTRE>\r\nTitolo\x7f\r\n</FINESTRE>\r\n"),
    };
    for (const auto& bytes : refused) EXPECT_EQ(importText(bytes), -1);
    ASSERT_EQ(shownIds(), "0050 0332 0332 0332 0022 0332 0332 0332 0332 ");
    EXPECT_EQ(dialogs.shown[0].title, "T0051");
    EXPECT_EQ(dialogs.shown[0].text, "T0050aULA.");
    EXPECT_EQ(dialogs.shown[2].text, "T0332\nT0333\nT0338");
    EXPECT_EQ(dialogs.shown[5].text, "T0332\nT0359\nT0363 6");
    EXPECT_EQ(dialogs.shown[6].text, "T0332\nT0360\nT0363 6");
    EXPECT_EQ(dialogs.shown[7].text, "T0332\nT0362\nT0363 5");
    EXPECT_EQ(dialogs.shown[8].text, "T0332\nT0359\nT0363 5");
    EXPECT_EQ(test::profileRows(db), afterValidImport);
}

// A file saved by Notepad as "Unicode" (or big endian), or as UTF-8 with its
// mark, holds the same profile as the code page's.
TEST_F(ExchangeStoreTest, UnicodeFilesReadAsTheTextTheyHold) {
    const std::string text = file("<NOME>\r\nCaff\xC3\xA8\r\n</NOME>\r\n<LISTASITI>\r\nCONSENTITI\r\n</LISTASITI>\r\n"
                                  "<SITI>\r\nscuola.it\r\n.wiki.org\r\n</SITI>\r\n");
    const auto utf16 = [&](bool bigEndian) {
        std::string out = bigEndian ? "\xFE\xFF" : "\xFF\xFE";
        for (std::size_t pos = 0; pos < text.size();) {
            const char32_t c = decodeUtf8(text, pos);
            const char hi = static_cast<char>(c >> 8), lo = static_cast<char>(c & 0xFF);
            out += bigEndian ? std::string{hi, lo} : std::string{lo, hi};
        }
        return out;
    };
    const std::string forms[] = {utf16(false), utf16(true), "\xEF\xBB\xBF" + text};
    for (const std::string& bytes : forms) {
        const long long id = importText(bytes);
        ASSERT_GT(id, 0) << shownIds();
        const ExchangeProfile p = stored(id);
        EXPECT_EQ(p.record.name, "Caff\xC3\xA8");
        EXPECT_FALSE(p.record.forbiddenList);
        EXPECT_EQ(p.sites, (std::vector<std::string>{"http://scuola.it", ".wiki.org"}));
        ASSERT_TRUE(db.run("DELETE FROM Profili WHERE IDProfilo = ?;", {core::Value(static_cast<std::int64_t>(id))}));
    }
}

// An export reads back whatever its size: here 18 MB, over the bound the
// import once had, in lines of the length a site entry may have.
TEST_F(ExchangeStoreTest, ALargeExportIsImportedAgain) {
    ExchangeProfile p;
    p.record.name = "Grande";
    for (int i = 0; i < 80000; ++i) {
        p.sites.push_back("http://sito" + std::to_string(i) + ".example.org/" + std::string(200, 'p'));
    }
    const std::string path = dir.file("grande.OX");
    ASSERT_EQ(exchange.exportTo(p, path), Result::Done);
    ASSERT_GT(fileSize(path).value_or(0), 16u * 1024u * 1024u);
    long long id = -1;
    ASSERT_EQ(exchange.importFrom(path, &id), Result::Done) << shownIds();
    EXPECT_EQ(db.scalar("SELECT count(*) FROM SitiVietatiConsentiti WHERE IDProfilo = ?;",
                        {core::Value(static_cast<std::int64_t>(id))})
                  .toInteger(),
              80000);
    EXPECT_EQ(db.scalar("SELECT Sito FROM SitiVietatiConsentiti WHERE IDProfilo = ? ORDER BY rowid DESC LIMIT 1;",
                        {core::Value(static_cast<std::int64_t>(id))})
                  .toText(),
              p.sites.back());
}

// An export never replaces what is not a file of its own: a device, or
// another program's "<file>.tmp" beside it.
TEST_F(ExchangeStoreTest, AnExportWritesOnlyItsOwnFile) {
    ExchangeProfile p = sample();
    const std::string path = dir.file("scuola.OX");
    ASSERT_TRUE(writeWholeFile(path + ".tmp", "altrui"));
    ASSERT_EQ(exchange.exportTo(p, path), Result::Done);
    EXPECT_EQ(readWholeFile(path + ".tmp"), "altrui");
    std::size_t entries = 0;
    for (const auto& e : std::filesystem::directory_iterator(dir.path())) entries += e.path().filename() != "italian.lng";
    EXPECT_EQ(entries, 2u) << "nothing left behind";
    // A folder in the file's place stays a folder.
    std::filesystem::create_directory(dir.path() / "cartella.OX");
    EXPECT_EQ(exchange.exportTo(p, dir.file("cartella.OX")), Result::Failed);
    EXPECT_TRUE(std::filesystem::is_directory(dir.path() / "cartella.OX"));
    EXPECT_EQ(dialogs.shown.back().messageId, msg::FileCannotBeWritten);
#ifndef _WIN32
    // A device or a pipe stays what it was.
    const std::string pipe = dir.file("pipe.OX");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(exchange.exportTo(p, pipe), Result::Failed);
    EXPECT_TRUE(std::filesystem::is_fifo(pipe));
#endif
}

// A box waits for the user with the store free: the import's transaction
// has ended before anything is told, refused or not.
TEST_F(ExchangeStoreTest, MessagesWaitWithTheStoreFree) {
    struct Probe final : platform::Dialogs {
        core::Database* db = nullptr;
        std::vector<bool> free;
        platform::MessageAnswer messageBox(const platform::MessageBoxRequest&) override {
            free.push_back(db->exec("BEGIN IMMEDIATE;") && db->exec("ROLLBACK;"));
            return platform::MessageAnswer::Ok;
        }
        std::optional<std::string> browseForFolder(const std::string&) override { return std::nullopt; }
    } probe;
    probe.db = &db;
    ProfileExchange withProbe{db, probe, language, &printers};
    const std::string aula = file("<NOME>\r\nAula\r\n</NOME>\r\n<STAMPANTE>\r\nAltra\r\n</STAMPANTE>\r\n");
    EXPECT_EQ(withProbe.importBytes(aula), Result::Done);     // 0037: no such printer, imported all the same
    EXPECT_EQ(withProbe.importBytes(aula), Result::Refused);  // 0050: the name is taken
    EXPECT_EQ(probe.free, (std::vector<bool>{true, true}));
}

TEST_F(ExchangeStoreTest, PrinterLookedUpAndDuplicatesSkipped) {
    const std::string body = "<SITI>\r\nx.it\r\nX.IT\r\nhttp://x.it\r\n</SITI>\r\n<PROCESSI>\r\nA.EXE\r\na.exe\r\n</PROCESSI>\r\n";
    const long long laser = importText(file("<NOME>\r\nL\r\n</NOME>\r\n<STAMPANTE>\r\nLaser Aula 1\r\n</STAMPANTE>\r\n" + body));
    const long long other = importText(file("<NOME>\r\nM\r\n</NOME>\r\n<STAMPANTE>\r\nlaser aula 1\r\n</STAMPANTE>\r\n"));
    EXPECT_EQ(stored(laser).record.printer, "Laser Aula 1");
    EXPECT_EQ(stored(laser).sites, (std::vector<std::string>{"http://x.it"}));
    EXPECT_EQ(stored(laser).processes, (std::vector<std::string>{"a.exe"}));
    EXPECT_EQ(stored(other).record.printer, "");
    EXPECT_EQ(shownIds(), "0037 ");
    EXPECT_EQ(dialogs.shown[0].text, "T0037\nT0038\nT0039");
}

TEST_F(ExchangeStoreTest, FilesThroughTheDialogs) {
    QueuedFileDialogs files;
    ExchangeProfile p = sample();
    p.record.name = "a\\b/c:d*e\"f<g>h|i?";
    p.record.startDisabled = false;  // kiosk wins: the file cannot say both
    const std::string path = dir.file("out.ox");
    ASSERT_TRUE(writeWholeFile(path, "old"));
    dialogs.answer = platform::MessageAnswer::No;
    files.answers = {path, "  ", path};
    // No to the question shows the dialog again; an empty name ends it.
    EXPECT_EQ(exchange.exportWithDialog(files, p), Result::Cancelled);
    // Eight characters become dashes; a question mark stays.
    EXPECT_EQ(files.proposed, (std::vector<std::string>{"a-b-c-d-e-f-g-h-i?", "a-b-c-d-e-f-g-h-i?"}));
    EXPECT_EQ(readWholeFile(path), "old");
    dialogs.answer = platform::MessageAnswer::Yes;
    files.answers = {path};
    EXPECT_EQ(exchange.exportWithDialog(files, p), Result::Done);
    EXPECT_EQ(dialogs.shown.back().text, "T0053" + p.record.name + "T0054");
    EXPECT_EQ(shownIds(), "0046 0046 0053 ");

    dialogs.shown.clear();
    files.answers = {dir.file("out.txt"), dir.file("missing.OX"), path};
    EXPECT_EQ(exchange.importWithDialog(files), Result::Refused);
    EXPECT_EQ(exchange.importWithDialog(files), Result::Refused);
    long long id = -1;
    EXPECT_EQ(exchange.importWithDialog(files, &id), Result::Done);  // ".ox" in small letters
    EXPECT_EQ(exchange.importWithDialog(files), Result::Cancelled);
    EXPECT_EQ(shownIds(), "0330 0048 ");
    EXPECT_EQ(dialogs.shown[0].title, "T0331");
    EXPECT_EQ(stored(id), p);
}

// Random profiles, exported and imported, come back as they were, unless
// the export refused a value the file cannot carry: a character outside the
// code page, a control character, or a whole line reading as a tag. (Values are generated as the
// editor stores them: trimmed, sites by the site rule, processes in small
// letters, no duplicates; the import's normalisations are the identity on
// them.)
TEST_F(ExchangeStoreTest, RoundTripOfRandomProfiles) {
    std::mt19937 rng(20261123);
    const auto pick = [&](std::size_t n) { return static_cast<std::size_t>(rng() % n); };
    const std::vector<std::string> pieces = {"a", "Z", " ", "\"", "'", "<", ">", "/", "\xC3\xA0", "\xC3\xA8", "\xE2\x82\xAC",
                                             "<NOME>", "</SITI>", "x.it", "\xC3\x89", ".", "*", "?"};
    int refused = 0;
    int carried = 0;
    const auto text = [&](std::size_t maxPieces) {
        std::string s;
        const std::size_t n = pick(8) == 0 ? 400 + pick(400) : pick(maxPieces);
        for (std::size_t i = 0; i < n; ++i) s += pieces[pick(pieces.size())];
        if (pick(40) == 0) s += "\xCE\xA9";                         // outside the code page
        if (pick(60) == 0) s += pick(2) ? "\t" : "\xC2\x81";           // a control character
        if (pick(60) == 0) s = std::string("</PROCESSI>");          // a whole line as a tag
        return std::string(trimBlanks(s));
    };
    const auto list = [&](auto make) {
        std::vector<std::string> out;
        const std::size_t n = pick(4) == 0 ? 0 : pick(6);
        for (std::size_t i = 0; i < n; ++i) {
            const std::string v = make();
            const bool dup = std::any_of(out.begin(), out.end(), [&](const auto& o) { return equalsNoCase(o, v); });
            if (!v.empty() && !dup) out.push_back(v);
        }
        return out;
    };
    for (int round = 0; round < 300; ++round) {
        ExchangeProfile p;
        ProfileRecord& r = p.record;
        r.name = std::string(trimBlanks(text(6) + " #" + std::to_string(round)));
        r.setMode(static_cast<Mode>(pick(3)));
        r.blockDownloads = pick(2);
        r.hideMessages = pick(2);
        r.internalBrowser = pick(2);
        r.maxProtection = pick(2);
        r.fullScreen = pick(2);
        r.forbiddenList = pick(2);
        r.printer = pick(3) == 0 ? "" : printers.installed()[pick(2)];
        p.sites = list([&] {
            const EntryVerdict v = siteEntry(text(5));
            return v.kind == EntryVerdict::Kind::Accept ? v.value : std::string();
        });
        p.processes = list([&] {
            std::string v = lowerText(text(4));
            for (char& c : v) c = (c == '/' || c == ':' || c == '\\') ? '_' : c;
            return std::string(trimBlanks(v)) + ".exe";
        });
        p.windows = list([&] { return text(5); });
        r.homePage = normalisedHomePage(text(5));
        if (!r.forbiddenList && !homePageAllowed(r.homePage, p.sites)) r.homePage.clear();

        const ExchangeText t = exchangeText(p);
        if (t.uncarried) {
            ++refused;
            const std::string& v = *t.uncarried;
            EXPECT_TRUE(!utf8ToCp1252Exact(v) || !typeableText(v) || trimBlanks(v).starts_with("<")) << v;
            continue;
        }
        ++carried;
        const long long id = importText(t.bytes);
        ASSERT_GT(id, 0) << t.bytes;
        EXPECT_EQ(stored(id), p) << t.bytes;
    }
    EXPECT_GT(refused, 10);
    EXPECT_GT(carried, 150);
    EXPECT_TRUE(dialogs.shown.empty());
}

}  // namespace
}  // namespace ombrix::profiles

#include "profiles/profile_exchange.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <system_error>

#include "core/settings_reg.h"
#include "core/store.h"
#include "platform/files.h"
#include "platform/text.h"
#include "platform/text_input.h"
#include "support/language.h"
#include "support/messages.h"

namespace ombrix::profiles {
namespace {

using core::Value;

// The thirteen sections in the order they are written.
enum Section {
    kName, kMode, kDownload, kMessages, kInternalBrowser, kSiteList, kHomePage, kSiteSection,
    kMaxProtection, kProcesses, kWindows, kPrinter, kFullScreen, kSections
};
constexpr std::array<std::string_view, kSections> kTags = {
    "NOME", "MODO", "DOWNLOAD", "MESSAGGI", "BROWSERINTERNO", "LISTASITI", "HOMEPAGE",
    "SITI", "PROTEZIONEMASSIMA", "PROCESSI", "FINESTRE", "STAMPANTE", "IETUTTOSCHERMO"};
// The pairs a file must have, in the order they are looked for.
constexpr std::array<Section, 10> kRequired = {kName,     kMode,     kDownload,    kMessages,  kInternalBrowser,
                                               kSiteList, kHomePage, kSiteSection, kProcesses, kWindows};

// The file: the code page without a mark, any line end, no line longer
// than an entry may be (the export writes none longer).
constexpr TextLines::Options kExchangeLines{TextEncoding::Windows1252, kMaxEntryBytes, true};

std::string openTag(Section s) { return "<" + std::string(kTags[s]) + ">"; }
std::string closeTag(Section s) { return "</" + std::string(kTags[s]) + ">"; }

bool readsAsTag(std::string_view value) {
    const std::string_view t = trimBlanks(value);
    if (t.size() < 3 || t.front() != '<' || t.back() != '>') return false;
    for (int s = 0; s < kSections; ++s) {
        if (t == openTag(static_cast<Section>(s)) || t == closeTag(static_cast<Section>(s))) return true;
    }
    return false;
}

bool endsWith(std::string_view text, std::string_view tail) {
    return text.size() >= tail.size() && text.substr(text.size() - tail.size()) == tail;
}

// Blanks and tabs around a word, which a hand-edited file may leave.
std::string_view trimSpace(std::string_view s) {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t')) s.remove_suffix(1);
    return s;
}

// A process line: lowered first; a path or a name not ending in ".exe" is
// skipped. Unlike the editor's box, capitals are accepted here.
EntryVerdict importedProcess(std::string_view line) {
    const std::string lowered = lowerText(line);
    const std::string_view trimmed = trimBlanks(lowered);
    if (line.size() > kMaxEntryBytes) return {EntryVerdict::Kind::Refuse, {}, {msg::TextTooLong}};
    if (!typeableText(trimmed)) return {EntryVerdict::Kind::Refuse, {}, {msg::TextNotTypeable}};
    if (lowered.find_first_of(":/\\") != std::string::npos || !endsWith(lowered, ".exe")) return {EntryVerdict::Kind::Ignore, {}, {}};
    return {EntryVerdict::Kind::Accept, std::string(trimmed), {}};
}

// The file read line by line, each line once, in bounded memory: every
// section's own pass (the lines after the first line that is its opening
// tag, up to its closing tag, both compared trimmed), the required pairs
// as searched in the whole text (case-sensitively, the closing tag from its
// opening tag onward), the single values (the last line wins) and the list
// entries, handed on as they are read.
class ExchangeParser {
public:
    using Sink = std::function<void(ListKind kind, std::string value)>;
    explicit ExchangeParser(const Sink& sink) : sink_(sink) {}

    void line(std::string_view text, std::size_t number) {
        const std::string_view trimmed = trimBlanks(text);
        for (int i = 0; i < kSections; ++i) {
            const auto s = static_cast<Section>(i);
            findPair(s, text, number);
            switch (state_[i]) {
                case State::Before:
                    if (trimmed == openTag(s)) {
                        state_[i] = State::Inside;
                        valueLine_[i] = number;
                    }
                    break;
                case State::Inside:
                    if (trimmed == closeTag(s)) {
                        state_[i] = State::After;
                    } else {
                        value(s, text, number);
                    }
                    break;
                case State::After:
                    break;
            }
        }
    }

    // The first required pair missing from the text.
    [[nodiscard]] std::optional<Section> missingPair() const {
        for (const Section s : kRequired) {
            if (!closeFound_[s]) return s;
        }
        return std::nullopt;
    }
    // A single-value section's value; nullopt when its opening tag stands on no line of its own.
    [[nodiscard]] std::optional<std::string> single(Section s) const {
        if (state_[s] == State::Before) return std::nullopt;
        return values_[s];
    }
    // The line a value came from: its last value line, else its opening tag's.
    [[nodiscard]] std::size_t valueLine(Section s) const { return valueLine_[s] ? valueLine_[s] : openLine_[s]; }
    // The first list line refused, by line.
    [[nodiscard]] const std::optional<BulkRefusal>& refused() const { return refused_; }

private:
    enum class State { Before, Inside, After };

    void findPair(Section s, std::string_view text, std::size_t number) {
        if (closeFound_[s]) return;
        std::size_t from = 0;
        if (!openLine_[s]) {
            const std::size_t at = text.find(openTag(s));
            if (at == std::string_view::npos) return;
            openLine_[s] = number;
            from = at;
        }
        closeFound_[s] = text.find(closeTag(s), from) != std::string_view::npos;
    }

    void value(Section s, std::string_view text, std::size_t number) {
        EntryVerdict v;
        ListKind kind;
        switch (s) {
            case kSiteSection: kind = ListKind::Sites; v = siteEntry(text); break;
            case kProcesses: kind = ListKind::Processes; v = importedProcess(text); break;
            case kWindows: kind = ListKind::WindowTitles; v = windowEntry(text); break;
            default:
                values_[s] = std::string(trimBlanks(text));
                valueLine_[s] = number;
                return;
        }
        if (v.kind == EntryVerdict::Kind::Refuse) {
            if (!refused_) refused_ = BulkRefusal{number, std::string(text), std::move(v.messages)};
        } else if (v.kind == EntryVerdict::Kind::Accept && !refused_) {
            sink_(kind, std::move(v.value));
        }
    }

    const Sink& sink_;
    std::array<State, kSections> state_{};
    std::array<bool, kSections> closeFound_{};
    std::array<std::size_t, kSections> openLine_{};
    std::array<std::size_t, kSections> valueLine_{};
    std::array<std::string, kSections> values_;
    std::optional<BulkRefusal> refused_;
};

// The whole file through the parser; `sink` gets each list entry as the
// import stores it. Everything but the lists lands in the result.
ExchangeRead readLines(TextLines& lines, const ExchangeParser::Sink& sink) {
    ExchangeRead read;
    ExchangeParser parser(sink);
    std::string line;
    while (lines.next(line)) {
        // A NUL byte (or UTF-16 without its mark, whose every other byte is one)
        // is no text, nor are bytes that break the UTF-8 a mark announced.
        const bool text = line.find('\0') == std::string::npos &&
                          (lines.encoding() == TextEncoding::Windows1252 || isValidUtf8(line));
        if (!text || lines.lineCut()) {
            read.status = text ? ExchangeRead::Status::LineTooLong : ExchangeRead::Status::NotText;
            read.line = lines.lineNumber();
            return read;
        }
        parser.line(line, lines.lineNumber());
    }
    read.name = parser.single(kName).value_or("");
    if (const std::optional<Section> missing = parser.missingPair()) {
        read.status = ExchangeRead::Status::MissingPair;
        read.missingTag = openTag(*missing);
        return read;
    }

    ProfileRecord& r = read.profile.record;
    r.name = read.name;
    const std::string mode = parser.single(kMode).value_or("");
    r.setMode(mode == "KIOSK" ? Mode::Kiosk : mode == "NOSTART" ? Mode::NoStart : Mode::Normal);
    r.blockDownloads = parser.single(kDownload) == "NO";
    r.hideMessages = parser.single(kMessages) == "NO";
    r.internalBrowser = parser.single(kInternalBrowser) != "NO";
    r.homePage = parser.single(kHomePage).value_or("");
    // Optional sections: absent, the new record's default stays.
    if (const auto v = parser.single(kMaxProtection)) r.maxProtection = *v != "NO";
    if (const auto v = parser.single(kFullScreen)) r.fullScreen = *v != "NO";
    r.printer = parser.single(kPrinter).value_or("");

    // What the file cannot mean: the first such line is named.
    std::optional<BulkRefusal> refused = parser.refused();
    const auto refuse = [&](Section s, std::vector<MessageId> messages) {
        const std::size_t at = parser.valueLine(s);
        if (!refused || at < refused->line) refused = BulkRefusal{at, parser.single(s).value_or(""), std::move(messages)};
    };
    for (const Section s : {kName, kHomePage, kPrinter}) {
        if (!typeableText(parser.single(s).value_or(""))) refuse(s, {msg::TextNotTypeable});
    }
    // The list's word says what every site of it means: no other word may
    // silently turn forbidden sites into the only ones allowed.
    const std::string listWord = parser.single(kSiteList).value_or("");
    const std::string_view word = trimSpace(listWord);
    if (equalsNoCase(word, "PROIBITI") || equalsNoCase(word, "CONSENTITI")) {
        r.forbiddenList = equalsNoCase(word, "PROIBITI");
    } else {
        refuse(kSiteList, {msg::FileSiteListWordUnknown});
    }
    if (refused) {
        read.status = ExchangeRead::Status::RefusedLine;
        read.line = refused->line;
        read.messages = std::move(refused->messages);
    }
    return read;
}

bool fileExists(const std::string& path) {
    std::error_code ec;
    return std::filesystem::exists(pathFromUtf8(path), ec);
}

}  // namespace

std::string proposedFileName(std::string_view profileName) {
    std::string out(profileName);
    for (const char c : std::string_view("\\/:*\"<>|")) std::replace(out.begin(), out.end(), c, '-');
    return out;
}

ExchangeProfile shownProfile(const ProfileEditor& editor) {
    ExchangeProfile p;
    p.record = editor.record();
    p.record.id.reset();
    const auto texts = [&](ListKind kind) {
        std::vector<std::string> out;
        for (const auto& row : editor.list(kind)) out.push_back(row.text);
        return out;
    };
    p.sites = texts(ListKind::Sites);
    p.processes = texts(ListKind::Processes);
    p.windows = texts(ListKind::WindowTitles);
    return p;
}

ExchangeText exchangeText(const ExchangeProfile& p) {
    ExchangeText out;
    const ProfileRecord& r = p.record;
    const auto value = [&](std::string_view v) {
        if (out.uncarried) return;
        // What the import would not read back as it was: no text a person
        // types, a line longer than it reads, a line that reads as a tag.
        const std::optional<std::string> bytes = utf8ToCp1252Exact(v);
        if (!bytes || !typeableText(v) || v.size() > kMaxEntryBytes || readsAsTag(v)) {
            out.uncarried = std::string(v);
            return;
        }
        out.bytes += *bytes + "\r\n";
    };
    const auto section = [&](Section s, const auto& values) {
        out.bytes += openTag(s) + "\r\n";
        for (const auto& v : values) value(v);
        out.bytes += closeTag(s) + "\r\n";
    };
    using One = std::array<std::string_view, 1>;
    using None = std::array<std::string_view, 0>;
    const char* mode = r.kiosk ? "KIOSK" : r.startDisabled ? "NOSTART" : "START";
    section(kName, One{r.name});
    section(kMode, One{mode});
    // DOWNLOAD and MESSAGGI say whether the thing is allowed; the others
    // whether the feature is on.
    section(kDownload, One{r.blockDownloads ? "NO" : "SI"});
    section(kMessages, One{r.hideMessages ? "NO" : "SI"});
    section(kInternalBrowser, One{r.internalBrowser ? "SI" : "NO"});
    section(kSiteList, One{r.forbiddenList ? "PROIBITI" : "CONSENTITI"});
    section(kHomePage, One{r.homePage});
    section(kSiteSection, p.sites);
    section(kMaxProtection, One{r.maxProtection ? "SI" : "NO"});
    section(kProcesses, p.processes);
    section(kWindows, p.windows);
    if (r.printer.empty()) {
        section(kPrinter, None{});
    } else {
        section(kPrinter, One{r.printer});
    }
    section(kFullScreen, One{r.fullScreen ? "SI" : "NO"});
    if (out.uncarried) out.bytes.clear();
    return out;
}

ExchangeRead readExchange(std::string_view bytes) {
    std::istringstream in{std::string(bytes)};
    TextLines lines(in, kExchangeLines);
    ExchangeProfile lists;
    ExchangeRead read = readLines(lines, [&](ListKind kind, std::string value) {
        (kind == ListKind::Sites       ? lists.sites
         : kind == ListKind::Processes ? lists.processes
                                       : lists.windows)
            .push_back(std::move(value));
    });
    read.profile.sites = std::move(lists.sites);
    read.profile.processes = std::move(lists.processes);
    read.profile.windows = std::move(lists.windows);
    return read;
}

// ---- ProfileExchange

ProfileExchange::ProfileExchange(core::Database& db, platform::Dialogs& dialogs, Language& language,
                                 platform::Printers* printers)
    : db_(db), dialogs_(dialogs), language_(language), printers_(printers) {}

std::string ProfileExchange::text(MessageId id) const { return language_.messageText(id); }

ProfileExchange::Result ProfileExchange::show(MessageId id, const std::string& message,
                                              const std::string& title, platform::MessageIcon icon) {
    tell({id, message, title, icon, platform::MessageButtons::Ok});
    return icon == platform::MessageIcon::Information ? Result::Done : Result::Refused;
}

void ProfileExchange::tell(const platform::MessageBoxRequest& request) {
    if (deferred_) {
        deferred_->push_back(request);
    } else {
        dialogs_.messageBox(request);
    }
}

ProfileExchange::Result ProfileExchange::invalidFile(MessageId detail, std::size_t line) {
    std::string message = text(msg::ImportImpossible) + "\n" + text(msg::FileFormatInvalid);
    if (detail) message += "\n" + text(detail);
    if (line != 0) message += "\n" + text(msg::LineOfFile) + " " + std::to_string(line);
    return show(msg::ImportImpossible, message, std::string(core::kProgramTitle), platform::MessageIcon::Critical);
}

ProfileExchange::Result ProfileExchange::refusedLine(const std::vector<MessageId>& ids, std::size_t line) {
    std::string message = text(msg::ImportImpossible);
    for (const MessageId id : ids) message += "\n" + text(id);
    message += "\n" + text(msg::LineOfFile) + " " + std::to_string(line);
    return show(msg::ImportImpossible, message, std::string(core::kProgramTitle), platform::MessageIcon::Critical);
}

ProfileExchange::Result ProfileExchange::storeFailed() {
    show(msg::StoreWriteFailed, text(msg::StoreWriteFailed) + " " + db_.lastError(), std::string(core::kProgramTitle),
         platform::MessageIcon::Critical);
    return Result::Failed;
}

ProfileExchange::Result ProfileExchange::exportWithDialog(platform::FileDialogs& files,
                                                          const ExchangeProfile& profile) {
    for (;;) {
        const std::optional<std::string> chosen =
            files.saveFileName(kExchangeFilter, proposedFileName(profile.record.name));
        if (!chosen || trimBlanks(*chosen).empty()) return Result::Cancelled;
        if (fileExists(*chosen)) {
            const auto answer =
                dialogs_.messageBox({msg::FileExists, text(msg::FileExists) + "\n" + text(msg::ReplaceFileQuestion),
                                     std::string(core::kProgramTitle), platform::MessageIcon::Exclamation,
                                     platform::MessageButtons::YesNo});
            if (answer != platform::MessageAnswer::Yes) continue;
        }
        return exportTo(profile, *chosen);
    }
}

ProfileExchange::Result ProfileExchange::exportTo(const ExchangeProfile& profile, const std::string& path) {
    const ExchangeText file = exchangeText(profile);
    if (file.uncarried) {
        return show(msg::ExportCannotCarryText, text(msg::ExportCannotCarryText) + "\n" + *file.uncarried,
                    std::string(core::kProgramTitle),
                    platform::MessageIcon::Exclamation);
    }
    if (!writeWholeFile(path, file.bytes)) {
        show(msg::FileCannotBeWritten, text(msg::FileCannotBeWritten) + " " + path, std::string(core::kProgramTitle),
             platform::MessageIcon::Critical);
        return Result::Failed;
    }
    return show(msg::ProfileExportedStart,
                text(msg::ProfileExportedStart) + profile.record.name + text(msg::ProfileExportedEnd),
                std::string(core::kProgramTitle),
                platform::MessageIcon::Information);
}

ProfileExchange::Result ProfileExchange::importWithDialog(platform::FileDialogs& files, long long* newId) {
    const std::optional<std::string> chosen = files.openFileName(kExchangeFilter);
    if (!chosen || chosen->empty()) return Result::Cancelled;
    return importFrom(*chosen, newId);
}

ProfileExchange::Result ProfileExchange::importFrom(const std::string& path, long long* newId) {
    // The last three characters, upper-cased: ".ox" and ".Ox" pass too.
    std::string tail = path.size() >= 3 ? path.substr(path.size() - 3) : path;
    for (char& c : tail) c = static_cast<char>(c >= 'a' && c <= 'z' ? c - 32 : c);
    if (tail != ".OX") {
        return show(msg::FileFormatInvalidByExtension, text(msg::FileFormatInvalidByExtension), text(msg::WarningTitle),
                    platform::MessageIcon::Critical);
    }
    std::ifstream in;
    if (fileSize(path)) in.open(pathFromUtf8(path), std::ios::binary);
    if (!in.is_open()) {
        return show(msg::FileNotFound, text(msg::FileNotFound) + "\n" + text(msg::CheckFileNameAndPath),
                    std::string(core::kProgramTitle),
                    platform::MessageIcon::Critical);
    }
    return importStream(in, newId);
}

ProfileExchange::Result ProfileExchange::importBytes(std::string_view bytes, long long* newId) {
    std::istringstream in{std::string(bytes)};
    return importStream(in, newId);
}

ProfileExchange::Result ProfileExchange::importStream(std::istream& in, long long* newId) {
    // Told once the transaction has ended: a box waiting for the user must
    // not hold the store's write lock.
    std::vector<platform::MessageBoxRequest> messages;
    deferred_ = &messages;
    const Result result = storeImport(in, newId);
    deferred_ = nullptr;
    for (const auto& m : messages) dialogs_.messageBox(m);
    return result;
}

ProfileExchange::Result ProfileExchange::storeImport(std::istream& in, long long* newId) {
    // Each list entry goes into the store as it is read, so a file of any
    // size is read in little memory; a file refused at any point is rolled
    // back whole.
    core::Transaction tx(db_);
    if (!tx.active()) return storeFailed();
    const Value next = db_.scalar("SELECT COALESCE(MAX(IDProfilo), 0) + 1 FROM Profili;");
    if (next.isEmpty()) return storeFailed();
    const long long id = next.toInteger();
    ListInserter sites(db_, ListKind::Sites, id), processes(db_, ListKind::Processes, id),
        windows(db_, ListKind::WindowTitles, id);
    if (!sites.ready() || !processes.ready() || !windows.ready()) return storeFailed();
    bool failed = false;
    TextLines lines(in, kExchangeLines);
    ExchangeRead read = readLines(lines, [&](ListKind kind, std::string value) {
        ListInserter& list = kind == ListKind::Sites ? sites : kind == ListKind::Processes ? processes : windows;
        if (!failed) failed = list.add(value) == ListInserter::Added::Failed;
    });
    if (failed) return storeFailed();
    if (read.status == ExchangeRead::Status::NotText) return invalidFile(msg::FileNotText, read.line);
    if (read.status == ExchangeRead::Status::LineTooLong) return invalidFile(msg::FileLineTooLong, read.line);

    // Import never overwrites or merges into a profile of the same name.
    if (!read.name.empty()) {
        core::Statement taken = db_.prepare("SELECT IDProfilo FROM Profili WHERE Profilo" OMBRIX_TEXT_EQUALS " LIMIT 1;");
        if (!taken.valid() || !taken.bind(1, Value(read.name))) return storeFailed();
        if (taken.step()) {
            return show(msg::ImportNameTaken, text(msg::ImportNameTaken) + read.name + ".", text(msg::ImportTitle),
                        platform::MessageIcon::Critical);
        }
        if (taken.failed()) return storeFailed();
    }
    if (read.status == ExchangeRead::Status::MissingPair) return invalidFile();
    if (read.name.empty()) return invalidFile(msg::FileNamesNoProfile);
    if (read.status == ExchangeRead::Status::RefusedLine) return refusedLine(read.messages, read.line);

    ProfileRecord& r = read.profile.record;
    // The editor's save rules, checked before anything is kept.
    r.homePage = normalisedHomePage(r.homePage);
    bool pageAllowed = r.forbiddenList || homePageAllowed(r.homePage, {});
    if (!pageAllowed) {
        core::Statement q = db_.prepare("SELECT Sito FROM SitiVietatiConsentiti WHERE IDProfilo = ? ORDER BY rowid;");
        if (!q.valid() || !q.bind(1, Value(static_cast<std::int64_t>(id)))) return storeFailed();
        while (!pageAllowed && q.step()) pageAllowed = homePageAllowed(r.homePage, {q.column(0).toText()});
        if (q.failed()) return storeFailed();
    }
    if (!pageAllowed) {
        return show(msg::HomePageNotAllowed, text(msg::HomePageNotAllowed) + "\n" + text(msg::AddSiteOrChooseHomePage),
                    std::string(core::kProgramTitle),
                    platform::MessageIcon::Exclamation);
    }
    if (!r.printer.empty()) {
        const std::vector<std::string> installed = printers_ ? printers_->installed() : std::vector<std::string>{};
        if (std::find(installed.begin(), installed.end(), r.printer) == installed.end()) {
            tell({msg::ImportPrinterMissing,
                  text(msg::ImportPrinterMissing) + "\n" + text(msg::ImportedWithoutPrinter) + "\n" +
                      text(msg::ChoosePrinterLater),
                  std::string(core::kProgramTitle), platform::MessageIcon::Exclamation, platform::MessageButtons::Ok});
            r.printer.clear();
        }
    }

    std::vector<Value> values = profileValues(r);
    values.insert(values.begin(), Value(static_cast<std::int64_t>(id)));
    if (!db_.run(profileInsert(), values)) {
        return storeFailed();
    }
    if (!sites.finish() || !processes.finish() || !windows.finish() || !tx.commit()) return storeFailed();
    if (newId) *newId = id;
    return Result::Done;
}

}  // namespace ombrix::profiles

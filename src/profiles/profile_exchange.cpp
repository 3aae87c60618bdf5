#include "profiles/profile_exchange.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <set>
#include <system_error>

#include "core/settings_reg.h"
#include "core/store.h"
#include "platform/files.h"
#include "platform/text.h"
#include "support/language.h"

namespace ombrix::profiles {
namespace {

using core::Value;

// The thirteen sections in the order they are written.
enum Section {
    kNome, kModo, kDownload, kMessaggi, kBrowserInterno, kListaSiti, kHomePage, kSiti,
    kProtezioneMassima, kProcessi, kFinestre, kStampante, kIeTuttoSchermo, kSections
};
constexpr std::array<std::string_view, kSections> kTags = {
    "NOME", "MODO", "DOWNLOAD", "MESSAGGI", "BROWSERINTERNO", "LISTASITI", "HOMEPAGE",
    "SITI", "PROTEZIONEMASSIMA", "PROCESSI", "FINESTRE", "STAMPANTE", "IETUTTOSCHERMO"};
// The pairs a file must have, in the order they are looked for.
constexpr std::array<Section, 10> kRequired = {kNome,      kModo, kDownload, kMessaggi, kBrowserInterno,
                                               kListaSiti, kHomePage, kSiti,  kProcessi, kFinestre};

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

// Calls f(line) for each line, without its end (CR LF, LF or a lone CR),
// until f returns false.
template <class F>
void forEachLine(std::string_view text, F f) {
    std::size_t pos = 0;
    while (pos < text.size()) {
        const std::size_t end = text.find_first_of("\r\n", pos);
        const std::string_view line = text.substr(pos, end == std::string_view::npos ? std::string_view::npos : end - pos);
        if (end == std::string_view::npos) {
            pos = text.size();
        } else {
            pos = end + ((text[end] == '\r' && end + 1 < text.size() && text[end + 1] == '\n') ? 2 : 1);
        }
        if (!f(line)) return;
    }
}

// One pass from the start: the lines after the first line that is the
// opening tag, up to the closing tag (both compared trimmed) or the end.
// False when the opening tag never stands on a line of its own.
template <class F>
bool sectionLines(std::string_view text, Section s, F visit) {
    const std::string open = openTag(s), close = closeTag(s);
    bool inside = false;
    forEachLine(text, [&](std::string_view line) {
        const std::string_view t = trimBlanks(line);
        if (!inside) {
            inside = t == open;
            return true;
        }
        if (t == close) return false;
        visit(line);
        return true;
    });
    return inside;
}

// A single-value section: the last line read wins; nullopt when absent.
std::optional<std::string> singleValue(std::string_view text, Section s) {
    std::string value;
    if (!sectionLines(text, s, [&](std::string_view line) { value = std::string(trimBlanks(line)); })) {
        return std::nullopt;
    }
    return value;
}

// The first required pair missing from the text (searched as the whole
// text, case-sensitively, the closing tag from its opening tag onward).
std::optional<Section> missingPair(std::string_view text) {
    for (const Section s : kRequired) {
        const std::size_t at = text.find(openTag(s));
        if (at == std::string_view::npos || text.find(closeTag(s), at) == std::string_view::npos) return s;
    }
    return std::nullopt;
}

// The file's bytes as UTF-8: Windows-1252, or UTF-8 after its byte order
// mark. A NUL byte (or UTF-16, whose every other byte is one) is no text.
std::optional<std::string> decodeFile(std::string_view bytes) {
    if (bytes.find('\0') != std::string_view::npos) return std::nullopt;
    constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
    if (!bytes.starts_with(kUtf8Mark)) return cp1252ToUtf8(bytes);
    bytes.remove_prefix(kUtf8Mark.size());
    for (std::size_t pos = 0; pos < bytes.size();) {
        const std::size_t start = pos;
        if (decodeUtf8(bytes, pos) >= 0x80 && pos - start == 1) return std::nullopt;
    }
    return std::string(bytes);
}

bool endsWith(std::string_view text, std::string_view tail) {
    return text.size() >= tail.size() && text.substr(text.size() - tail.size()) == tail;
}

// A process line: lowered first; a path or a name not ending in ".exe" is
// skipped. Unlike the editor's box, capitals are accepted here.
std::optional<std::string> importedProcess(std::string_view line) {
    const std::string lowered = lowerText(line);
    if (lowered.find_first_of(":/\\") != std::string::npos || !endsWith(lowered, ".exe")) return std::nullopt;
    return std::string(trimBlanks(lowered));
}

struct NoCaseLess {
    bool operator()(std::string_view a, std::string_view b) const { return compareNoCase(a, b) < 0; }
};

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
        const std::optional<std::string> bytes = utf8ToCp1252Exact(v);
        if (!bytes || v.find_first_of(std::string_view("\r\n\0", 3)) != std::string_view::npos || readsAsTag(v)) {
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
    section(kNome, One{r.name});
    section(kModo, One{mode});
    // DOWNLOAD and MESSAGGI say whether the thing is allowed; the others
    // whether the feature is on.
    section(kDownload, One{r.blockDownloads ? "NO" : "SI"});
    section(kMessaggi, One{r.hideMessages ? "NO" : "SI"});
    section(kBrowserInterno, One{r.internalBrowser ? "SI" : "NO"});
    section(kListaSiti, One{r.forbiddenList ? "PROIBITI" : "CONSENTITI"});
    section(kHomePage, One{r.homePage});
    section(kSiti, p.sites);
    section(kProtezioneMassima, One{r.maxProtection ? "SI" : "NO"});
    section(kProcessi, p.processes);
    section(kFinestre, p.windows);
    if (r.printer.empty()) {
        section(kStampante, None{});
    } else {
        section(kStampante, One{r.printer});
    }
    section(kIeTuttoSchermo, One{r.fullScreen ? "SI" : "NO"});
    if (out.uncarried) out.bytes.clear();
    return out;
}

ExchangeRead readExchange(std::string_view bytes) {
    ExchangeRead read;
    const std::optional<std::string> decoded = decodeFile(bytes);
    if (!decoded) {
        read.status = ExchangeRead::Status::NotText;
        return read;
    }
    const std::string_view text = *decoded;
    read.name = singleValue(text, kNome).value_or("");
    if (const std::optional<Section> missing = missingPair(text)) {
        read.status = ExchangeRead::Status::MissingPair;
        read.missingTag = openTag(*missing);
        return read;
    }

    ExchangeProfile& p = read.profile;
    sectionLines(text, kSiti, [&](std::string_view line) {
        const EntryVerdict v = siteEntry(line);
        if (v.kind == EntryVerdict::Kind::Accept) p.sites.push_back(v.value);
    });
    sectionLines(text, kProcessi, [&](std::string_view line) {
        if (auto name = importedProcess(line)) p.processes.push_back(std::move(*name));
    });
    sectionLines(text, kFinestre, [&](std::string_view line) { p.windows.emplace_back(trimBlanks(line)); });

    ProfileRecord& r = p.record;
    r.name = read.name;
    const std::string mode = singleValue(text, kModo).value_or("");
    r.setMode(mode == "KIOSK" ? Mode::Kiosk : mode == "NOSTART" ? Mode::NoStart : Mode::Normal);
    r.blockDownloads = singleValue(text, kDownload) == "NO";
    r.hideMessages = singleValue(text, kMessaggi) == "NO";
    r.internalBrowser = singleValue(text, kBrowserInterno) != "NO";
    r.forbiddenList = singleValue(text, kListaSiti) == "PROIBITI";
    r.homePage = singleValue(text, kHomePage).value_or("");
    // Optional sections: absent, the new record's default stays.
    if (const auto v = singleValue(text, kProtezioneMassima)) r.maxProtection = *v != "NO";
    if (const auto v = singleValue(text, kIeTuttoSchermo)) r.fullScreen = *v != "NO";
    r.printer = singleValue(text, kStampante).value_or("");
    return read;
}

// ---- ProfileExchange

ProfileExchange::ProfileExchange(core::Database& db, platform::Dialogs& dialogs, Language& language,
                                 platform::Printers* printers)
    : db_(db), dialogs_(dialogs), language_(language), printers_(printers) {}

std::string ProfileExchange::text(std::string_view id) const { return language_.TestoMessaggio(id); }

ProfileExchange::Result ProfileExchange::show(const std::string& id, const std::string& message,
                                              const std::string& title, platform::MessageIcon icon) {
    dialogs_.messageBox({id, message, title, icon, platform::MessageButtons::Ok});
    return icon == platform::MessageIcon::Information ? Result::Done : Result::Refused;
}

ProfileExchange::Result ProfileExchange::invalidFile(const std::string& detailId) {
    std::string message = text("0332") + "\n" + text("0333");
    if (!detailId.empty()) message += "\n" + text(detailId);
    return show("0332", message, std::string(core::kProgramTitle), platform::MessageIcon::Critical);
}

ProfileExchange::Result ProfileExchange::storeFailed() {
    show("0310", text("0310") + " " + db_.lastError(), std::string(core::kProgramTitle),
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
            const auto answer = dialogs_.messageBox({"0046", text("0046") + "\n" + text("0047"),
                                                     std::string(core::kProgramTitle),
                                                     platform::MessageIcon::Exclamation,
                                                     platform::MessageButtons::YesNo});
            if (answer != platform::MessageAnswer::Yes) continue;
        }
        return exportTo(profile, *chosen);
    }
}

ProfileExchange::Result ProfileExchange::exportTo(const ExchangeProfile& profile, const std::string& path) {
    const ExchangeText file = exchangeText(profile);
    if (file.uncarried) {
        return show("0334", text("0334") + "\n" + *file.uncarried, std::string(core::kProgramTitle),
                    platform::MessageIcon::Exclamation);
    }
    if (!writeWholeFile(path, file.bytes)) {
        show("0337", text("0337") + " " + path, std::string(core::kProgramTitle), platform::MessageIcon::Critical);
        return Result::Failed;
    }
    return show("0053", text("0053") + profile.record.name + text("0054"), std::string(core::kProgramTitle),
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
    if (tail != ".OX") return show("0330", text("0330"), text("0331"), platform::MessageIcon::Critical);
    const std::optional<std::uintmax_t> size = fileSize(path);
    if (!size) {
        return show("0048", text("0048") + "\n" + text("0049"), std::string(core::kProgramTitle),
                    platform::MessageIcon::Critical);
    }
    if (*size > kExchangeFileLimit) return invalidFile("0336");
    const std::optional<std::string> bytes = readWholeFile(path);
    if (!bytes) {
        return show("0048", text("0048") + "\n" + text("0049"), std::string(core::kProgramTitle),
                    platform::MessageIcon::Critical);
    }
    return importBytes(*bytes, newId);
}

ProfileExchange::Result ProfileExchange::importBytes(std::string_view bytes, long long* newId) {
    if (bytes.size() > kExchangeFileLimit) return invalidFile("0336");
    ExchangeRead read = readExchange(bytes);
    if (read.status == ExchangeRead::Status::NotText) return invalidFile("0335");

    // Import never overwrites or merges into a profile of the same name.
    if (!read.name.empty()) {
        core::Statement taken = db_.prepare("SELECT IDProfilo FROM Profili WHERE Profilo" OMBRIX_TEXT_EQUALS " LIMIT 1;");
        if (!taken.valid() || !taken.bind(1, Value(read.name))) return storeFailed();
        if (taken.step()) {
            return show("0050", text("0050") + read.name + ".", text("0051"), platform::MessageIcon::Critical);
        }
        if (taken.failed()) return storeFailed();
    }
    if (read.status == ExchangeRead::Status::MissingPair) return invalidFile();
    if (read.name.empty()) return invalidFile("0338");

    ExchangeProfile& p = read.profile;
    ProfileRecord& r = p.record;
    // The editor's save rules, checked before anything is stored.
    r.homePage = normalisedHomePage(r.homePage);
    if (!r.forbiddenList && !homePageAllowed(r.homePage, p.sites)) {
        return show("0022", text("0022") + "\n" + text("0023"), std::string(core::kProgramTitle),
                    platform::MessageIcon::Exclamation);
    }
    if (!r.printer.empty()) {
        const std::vector<std::string> installed = printers_ ? printers_->installed() : std::vector<std::string>{};
        if (std::find(installed.begin(), installed.end(), r.printer) == installed.end()) {
            dialogs_.messageBox({"0037", text("0037") + "\n" + text("0038") + "\n" + text("0039"),
                                 std::string(core::kProgramTitle), platform::MessageIcon::Exclamation,
                                 platform::MessageButtons::Ok});
            r.printer.clear();
        }
    }

    core::Transaction tx(db_);
    if (!tx.active()) return storeFailed();
    const Value next = db_.scalar("SELECT COALESCE(MAX(IDProfilo), 0) + 1 FROM Profili;");
    if (next.isEmpty()) return storeFailed();
    const long long id = next.toInteger();
    if (!db_.run("INSERT INTO Profili (IDProfilo, Profilo, Kiosk, TastoStartDisabilitato, BloccaDownload, "
                 "NascondiMessaggiNotifica, UtilizzaBrowserInterno, ProtezioneMassima, "
                 "ApriPaginaInizialeATuttoSchermo, SitiProibiti, StampantePredefinita, PaginaPredefinita) "
                 "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?);",
                 {Value(static_cast<std::int64_t>(id)), Value(r.name), Value::boolean(r.kiosk),
                  Value::boolean(r.startDisabled), Value::boolean(r.blockDownloads), Value::boolean(r.hideMessages),
                  Value::boolean(r.internalBrowser), Value::boolean(r.maxProtection), Value::boolean(r.fullScreen),
                  Value::boolean(r.forbiddenList), Value(r.printer), Value(r.homePage)})) {
        return storeFailed();
    }
    // The silent adds: an empty entry or one already in the list (as the
    // store compares text) is skipped.
    for (const auto& [kind, values] : {std::pair{ListKind::Sites, &p.sites}, std::pair{ListKind::Processes, &p.processes},
                                       std::pair{ListKind::WindowTitles, &p.windows}}) {
        const core::ListTable& t = core::listTable(kind);
        core::Statement insert = db_.prepare(std::string("INSERT INTO ") + t.table + " (" + t.valueColumn +
                                             ", IDProfilo) VALUES (?, ?);");
        if (!insert.valid()) return storeFailed();
        // Views into the list, which stays as it is: no second copy of a large file.
        std::set<std::string_view, NoCaseLess> seen;
        for (const std::string& v : *values) {
            if (v.empty() || !seen.insert(v).second) continue;
            insert.reset();
            if (!insert.bindAll({Value(v), Value(static_cast<std::int64_t>(id))})) return storeFailed();
            (void)insert.step();
            if (insert.failed()) return storeFailed();
        }
    }
    if (!tx.commit()) return storeFailed();
    if (newId) *newId = id;
    return Result::Done;
}

}  // namespace ombrix::profiles

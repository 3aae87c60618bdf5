// ombrixctl commands of the enforcement: check (an address against a
// profile's site list, as the Chrome blockers judge it), log (the
// visited-sites log, in its own file beside the store) and trace (the
// failures' trace, in the same folder).
#include <istream>
#include <optional>
#include <ostream>

#include "app/ctl_session.h"
#include "enforce/enforcement.h"
#include "enforce/log_file.h"
#include "enforce/profile_lists.h"
#include "enforce/site_list.h"
#include "enforce/site_log.h"
#include "platform/text.h"
#include "platform/text_input.h"
#include "platform/trace_file.h"
#include "support/messages.h"

namespace ombrix::app {
namespace {

int cannotRead(Session& s, const std::string& error) {
    s.err() << "ombrixctl: cannot read the database: " << error << "\n";
    return kRefused;
}

// What check prints: a verdict a line, the blocked addresses alone, or the totals.
enum class CheckOutput { Verdicts, BlockedOnly, Count };

int cmdCheck(Session& s, const std::vector<std::string>& given) {
    CheckOutput shown = CheckOutput::Verdicts;
    std::vector<std::string> args = given;
    while (!args.empty() && (args[0] == "--blocked-only" || args[0] == "--count")) {
        const CheckOutput option = args[0] == "--count" ? CheckOutput::Count : CheckOutput::BlockedOnly;
        if (shown != CheckOutput::Verdicts && shown != option) {
            return s.usage("check takes --blocked-only or --count, not both");
        }
        shown = option;
        args.erase(args.begin());
    }
    if (args.size() != 2) return s.usage("check takes a PROFILE and an ADDRESS (or - to read addresses)");
    // It only reads: a store that this user may not write, or that is in use, is judged all the same.
    if (!s.open(core::Database::Mode::ReadOnly)) return kRefused;
    const std::optional<long long> id = resolveProfile(s, args[0]);
    if (!id) return kRefused;
    const auto forbiddenList = enforce::readForbiddenListSwitch(s.db(), *id);
    if (!forbiddenList.ok()) return cannotRead(s, forbiddenList.error);
    if (!forbiddenList.value) {
        s.err() << "ombrixctl: no profile is named " << printable(args[0]) << "\n";
        return kRefused;
    }
    const auto list = enforce::loadSiteList(s.db(), *id);
    if (!list.ok()) return cannotRead(s, list.error);
    const bool allowedList = !*forbiddenList.value;
    std::size_t checked = 0, blocked = 0;
    std::ostream& out = s.out();
    auto judge = [&](std::string_view address, std::size_t lineNumber) {
        const enforce::Verdict v = enforce::verdictAsChrome(list.value, allowedList, address);
        ++checked;
        if (v.blocked) ++blocked;
        if (shown == CheckOutput::Count || (shown == CheckOutput::BlockedOnly && !v.blocked)) return;
        if (shown == CheckOutput::BlockedOnly) {
            out << lineNumber << '\t' << printable(address) << '\t' << v.message;
        } else {
            out << (v.blocked ? "blocked" : "allowed");
            if (v.message) out << ' ' << v.message;
        }
        if (v.entry != enforce::kNoMatch) out << ' ' << printable(list.value.entry(v.entry));
        out << '\n';
    };
    auto totals = [&] {
        if (shown == CheckOutput::Count) {
            out << "checked " << checked << ", blocked " << blocked << ", allowed " << checked - blocked << '\n';
        }
        return kOk;
    };
    if (args[1] != "-") {
        judge(args[1], 1);
        return totals();
    }
    // UTF-8, or UTF-16 with its mark; an address is at most the 2 MB a browser takes.
    constexpr std::size_t kLongestAddress = 2 * 1024 * 1024;
    TextLines lines(s.env().in, {TextEncoding::Utf8, kLongestAddress, false});
    std::string line;
    // A reader that went away ends the reading; the dispatcher reports it.
    while (out && lines.next(line)) {
        if (lines.lineCut()) {
            s.err() << "ombrixctl: line " << lines.lineNumber() << " is longer than " << kLongestAddress
                    << " bytes: no address\n";
            return kRefused;
        }
        judge(line, lines.lineNumber());
    }
    return totals();
}

// The log file of the store's folder, as the program opens it. False, with
// the reason on standard error, when it cannot be opened.
bool openLog(Session& s, core::Database& log) {
    if (!s.open()) return false;
    const enforce::LogOpening opening =
        enforce::openLogFile(s.env().files, s.storeFolder(), platform::pathSeparator(), s.db(), log);
    if (opening.ok()) return true;
    s.refuse(opening.messageId(), opening.detail());
    return false;
}

int logShow(Session& s, const std::vector<std::string>& args) {
    std::optional<std::string> fromText, toText;
    for (std::size_t i = 1; i < args.size(); i += 2) {
        if (i + 1 >= args.size()) return s.usage(args[i] + " needs a date dd/mm/yyyy");
        if (args[i] == "--from") {
            fromText = args[i + 1];
        } else if (args[i] == "--to") {
            toText = args[i + 1];
        } else {
            return s.usage("log show takes --from and --to, not " + args[i]);
        }
    }
    // The viewer's messages for a field that holds no date.
    if (fromText) {
        if (const MessageId id = enforce::checkLogDateField(*fromText, false)) return s.refuse(id, *fromText);
    }
    if (toText) {
        if (const MessageId id = enforce::checkLogDateField(*toText, true)) return s.refuse(id, *toText);
    }
    core::Database log;
    if (!openLog(s, log)) return kRefused;
    const auto from = fromText ? enforce::parseLogDate(*fromText) : std::nullopt;
    const auto to = toText ? enforce::parseLogDate(*toText) : std::nullopt;
    const auto rows = enforce::readLog(log, from, to);
    if (!rows) return s.refuse(msg::LogCannotBeRead, log.lastError());
    for (const auto& r : *rows) s.out() << printable(r.dateTime) << '\t' << printable(r.url) << '\n';
    return kOk;
}

int cmdLog(Session& s, const std::vector<std::string>& args) {
    if (args.empty()) return s.usage("log takes show or clear");
    if (args[0] == "show") return logShow(s, args);
    if (args[0] != "clear") return s.usage("log takes show or clear, not " + args[0]);
    if (args.size() != 1) return s.usage("log clear takes no arguments");
    core::Database log;
    if (!openLog(s, log)) return kRefused;
    if (!enforce::clearLog(log)) return s.refuse(msg::LogCannotBeWritten, log.lastError());
    return kOk;
}

// Enough lines for the failures around one problem, few enough for a screen.
constexpr std::size_t kTraceLinesShown = 20;

int cmdTrace(Session& s, const std::vector<std::string>& args) {
    if (!args.empty() && (args[0] != "show" || args.size() != 1)) return s.usage("trace takes nothing, or show");
    s.locateStore();
    const std::string file = platform::traceFile();
    if (args.empty()) {
        s.out() << file << '\n';
        return kOk;
    }
    // Any user may write the file: each field is shown with its controls escaped.
    for (const std::string& line : platform::lastTraceLines(file, kTraceLinesShown)) {
        std::size_t start = 0;
        for (std::size_t tab = line.find('\t'); tab != std::string::npos; tab = line.find('\t', start)) {
            s.out() << escapedControls(std::string_view(line).substr(start, tab - start)) << '\t';
            start = tab + 1;
        }
        s.out() << escapedControls(std::string_view(line).substr(start)) << '\n';
    }
    return kOk;
}

Elevation logElevation(const std::vector<std::string>& args) {
    return !args.empty() && args[0] == "clear" ? Elevation::Relay : Elevation::None;
}

}  // namespace

const std::vector<CtlCommand>& enforceCommands() {
    static const std::vector<CtlCommand> commands = {
        {"check",
         "check [--blocked-only | --count] PROFILE ADDRESS|-\n"
         "                judge an address as the profile's Chrome blockers do: \"blocked ID [ENTRY]\" or\n"
         "                \"allowed [ENTRY]\"; - reads addresses, one a line; --blocked-only prints only\n"
         "                the blocked ones, \"LINE<tab>ADDRESS<tab>ID [ENTRY]\"; --count only the totals,\n"
         "                \"checked N, blocked B, allowed A\"; the store is only read",
         &cmdCheck, &readsOnly},
        {"log",
         "log show [--from dd/mm/yyyy] [--to dd/mm/yyyy]\n"
         "                the visited sites, newest first: date and time, a tab, the address\n"
         "  log clear     empty the visited-sites log (Registro/LogSiti.db in the store's folder)",
         &cmdLog, &logElevation},
        {"trace",
         "trace         where the failures' trace is (Registro/ombrix-trace.txt in the store's folder)\n"
         "  trace show    its last 20 lines: time, program, place, failure, tab-separated",
         &cmdTrace, &readsOnly},
    };
    return commands;
}

}  // namespace ombrix::app

// ombrixctl commands on the administrator password: set, check and hash. The
// password comes from standard input (or a variable of the environment), so
// it never shows in a process list; one line break at its end is not part
// of it.
#include <istream>
#include <utility>
#include <optional>
#include <ostream>

#include "app/ctl_session.h"
#include "core/machine_policy.h"
#include "core/password.h"
#include "core/settings_reg.h"
#include "core/store_location.h"
#include "core/store.h"
#include "platform/text_input.h"
#include "support/messages.h"

namespace ombrix::app {
namespace {

// Writes the hash into the options row; on failure says why, in the store's
// own words (locked, read-only, disk full), and the old password stays.
bool storePassword(Session& s, const std::string& hash) {
    const bool ok = s.db().run("UPDATE Opzioni SET PasswordAdmin = ? WHERE rowid = (SELECT min(rowid) FROM Opzioni);",
                               {core::Value(hash)});
    if (ok && s.db().changes() == 1) return true;
    s.err() << "ombrixctl: the password could not be stored; the old one stays: "
            << (ok ? std::string("the database has no options row") : s.db().lastError()) << "\n";
    return false;
}

// Reads no more than a password can hold (and its line break), so endless
// input ends the command instead of filling memory: whatever was read then
// is over-long and refused. At a terminal: one line, typed without echo
// after a prompt on standard error. Otherwise UTF-8, or UTF-16 with its
// mark, as a file saved by a Windows tool may be.
std::string readPassword(CtlEnvironment& env, const char* prompt = "Password: ") {
    const std::size_t limit = core::kPasswordMaxBytes + 8;
    std::string text;
    if (env.terminal) {
        std::ostream& prompts = env.prompts ? *env.prompts : env.err;
        prompts << prompt << std::flush;
        const bool silent = env.terminal->setEcho(false);
        for (int c; text.size() < limit && (c = env.in.get()) != std::char_traits<char>::eof() && c != '\n';) {
            text += static_cast<char>(c);
        }
        if (silent) (void)env.terminal->setEcho(true);
        prompts << "\n";
        if (!text.empty() && text.back() == '\r') text.pop_back();
        return text;
    }
    text = decodedText(env.in, TextEncoding::Utf8, limit);
    if (!text.empty() && text.back() == '\n') {
        text.pop_back();
        if (!text.empty() && text.back() == '\r') text.pop_back();
    }
    return text;
}

// Twice at a terminal, each after its prompt and without echo; piped, the
// first line and, when there is one, the second. Both with the bounds
// readPassword keeps.
std::pair<std::string, std::string> readPasswordTwice(CtlEnvironment& env) {
    if (env.terminal) {
        std::string first = readPassword(env);
        return {std::move(first), readPassword(env, "Again: ")};
    }
    std::string text = decodedText(env.in, TextEncoding::Utf8, 2 * (core::kPasswordMaxBytes + 8));
    const auto line = [&text](std::size_t from, std::size_t end) {
        std::string one = text.substr(from, end == std::string::npos ? std::string::npos : end - from);
        if (!one.empty() && one.back() == '\r') one.pop_back();
        return one;
    };
    const std::size_t end = text.find('\n');
    std::string first = line(0, end);
    if (end == std::string::npos || end + 1 == text.size()) return {first, first};
    const std::size_t secondEnd = text.find('\n', end + 1);
    // Anything after the second line is no password of either.
    if (secondEnd != std::string::npos && secondEnd + 1 != text.size()) return {first, text.substr(end + 1)};
    return {std::move(first), line(end + 1, secondEnd)};
}

// The hash for the policy key: printed, never stored here.
int passwordHash(Session& s) {
    const auto [typed, again] = readPasswordTwice(s.env());
    if (const MessageId problem = core::newPasswordProblem(typed, again)) return s.refuse(problem);
    const std::optional<std::string> hash = core::hashPassword(typed);
    if (!hash) {
        s.err() << "ombrixctl: the system's cryptography failed\n";
        return kRefused;
    }
    s.out() << *hash << "\n";
    return kOk;
}

int passwordCheck(Session& s, const std::string& typed) {
    // The policy's password, while it sets a usable one, is the only one that opens.
    if (const auto managed = core::policy::passwordHashInForce(s.env().registry)) {
        return core::passwordMatches(*managed, typed) ? kOk : kRefused;
    }
    core::Statement q = s.db().prepare("SELECT PasswordAdmin FROM Opzioni ORDER BY rowid LIMIT 1;");
    const bool row = q.valid() && q.step();
    if (!q.valid() || q.failed()) {
        s.err() << "ombrixctl: cannot read the password: " << (q.valid() ? q.error() : s.db().lastError()) << "\n";
        return kRefused;
    }
    const std::string stored = row ? core::valueOrDefault(q.column(0)).toText() : std::string();
    if (!core::passwordMatches(stored, typed)) return kRefused;
    // A check that matched is a login: an old value gets today's hash.
    // The answer stays yes when that cannot be stored.
    if (core::passwordNeedsRehash(stored)) {
        const std::optional<std::string> fresh = core::hashPassword(typed);
        if (!fresh || !storePassword(s, *fresh)) {
            s.err() << "ombrixctl: the password matches, but its hash could not be renewed\n";
        }
    }
    return kOk;
}

// Setting one must never hand the password over in a file or on a command
// line: typed, it is asked for in the elevated run's own console; from a
// variable, which that run may not inherit, it needs an elevated prompt.
Elevation passwordElevation(const std::vector<std::string>& args) {
    if (args.empty() || args[0] != "set") return Elevation::None;
    if (args.size() == 1) return Elevation::OwnConsole;
    return args.size() == 3 && args[1] == "--from-environment" ? Elevation::Impossible : Elevation::None;
}

int cmdPassword(Session& s, const std::vector<std::string>& args) {
    // An installer has no standard input to give: it names a variable of
    // its own environment instead, which no log and no process list shows.
    const bool fromEnvironment = args.size() == 3 && args[1] == "--from-environment" && !args[2].empty();
    if (args.size() == 1 && args[0] == "hash") return passwordHash(s);
    if ((args.size() != 1 && !fromEnvironment) || (args[0] != "set" && args[0] != "check")) {
        return s.usage("password takes set, check or hash, and optionally --from-environment NAME");
    }
    if (args[0] == "set" && core::policy::passwordManaged(s.env().registry)) return s.refuse(msg::PasswordManaged);
    const std::string typed = fromEnvironment ? s.env().system.environment(args[2]) : readPassword(s.env());
    if (!s.open()) return kRefused;
    if (args[0] == "check") return passwordCheck(s, typed);
    // The same rules as the options form; the one entry stands for both of its fields.
    if (const MessageId problem = core::newPasswordProblem(typed, typed)) return s.refuse(problem);
    const std::optional<std::string> hash = core::hashPassword(typed);
    if (!hash) {
        s.err() << "ombrixctl: the system's cryptography failed; the old password stays\n";
        return kRefused;
    }
    if (!storePassword(s, *hash)) return kRefused;
    // The machine's own store: a later store without a password is a
    // replaced one, not a first start (kept where this may write the key).
    if (!s.dbFile()) {
        (void)s.env().registry.writeString(platform::RegRoot::LocalMachine,
                                           core::settingsKey(core::kProgramTitle, core::kStoreSection),
                                           core::kPasswordChosenValue, "1");
    }
    return kOk;
}

}  // namespace

const std::vector<CtlCommand>& passwordCommands() {
    static const std::vector<CtlCommand> commands = {
        {"password",
         "password set|check [--from-environment NAME]   set the administrator password from standard input (or the variable NAME), or check it\n"
         "  password hash   print the stored form of a password read from standard input (typed twice, or one or\n"
         "                two matching lines), for the policy key's AdminPasswordHash",
         &cmdPassword, &passwordElevation},
    };
    return commands;
}

}  // namespace ombrix::app

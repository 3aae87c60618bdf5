// ombrixctl commands on the administrator password: set and check. The
// password comes from standard input, so it never shows in a process list;
// one line break at its end is not part of it.
#include <istream>
#include <optional>
#include <ostream>

#include "app/ctl_session.h"
#include "core/password.h"
#include "core/store.h"

namespace ombrix::app {
namespace {

// Reads no more than a password can hold (and its line break), so endless
// input ends the command instead of filling memory: whatever was read then
// is over-long and refused.
std::string readPassword(std::istream& in) {
    std::string text(core::kPasswordMaxBytes + 3, '\0');
    in.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(in.gcount()));
    if (!text.empty() && text.back() == '\n') {
        text.pop_back();
        if (!text.empty() && text.back() == '\r') text.pop_back();
    }
    return text;
}

int cmdPassword(Session& s, const std::vector<std::string>& args) {
    if (args.size() != 1 || (args[0] != "set" && args[0] != "check")) return s.usage("password takes set or check");
    const std::string typed = readPassword(s.env().in);
    if (!s.open()) return kRefused;
    if (args[0] == "check") {
        const std::string stored =
            core::ValoreNonNullo(core::ReadField(s.db(), "Opzioni", "PasswordAdmin", core::kOptionsRow)).toText();
        if (!core::passwordMatches(stored, typed)) return kRefused;
        // A check that matched is a login: an old value gets today's hash.
        // The answer stays yes when that cannot be stored.
        if (core::passwordNeedsRehash(stored)) {
            const std::optional<std::string> fresh = core::hashPassword(typed);
            if (!fresh ||
                !core::UpdateField(s.db(), "Opzioni", "PasswordAdmin", core::Value(*fresh), core::kOptionsRow)) {
                s.err() << "ombrixctl: the password matches, but its hash could not be renewed\n";
            }
        }
        return kOk;
    }
    // The same rules as the options form; the one entry stands for both of its fields.
    if (const std::string problem = core::newPasswordProblem(typed, typed); !problem.empty()) {
        return s.refuse(problem.c_str());
    }
    const std::optional<std::string> hash = core::hashPassword(typed);
    if (!hash) {
        s.err() << "ombrixctl: the system's cryptography failed; the old password stays\n";
        return kRefused;
    }
    if (!core::UpdateField(s.db(), "Opzioni", "PasswordAdmin", core::Value(*hash), core::kOptionsRow)) {
        s.err() << "ombrixctl: the password could not be stored; the old one stays\n";
        return kRefused;
    }
    return kOk;
}

}  // namespace

const std::vector<CtlCommand>& passwordCommands() {
    static const std::vector<CtlCommand> commands = {
        {"password", "password set|check   set the administrator password from standard input, or check it", &cmdPassword},
    };
    return commands;
}

}  // namespace ombrix::app

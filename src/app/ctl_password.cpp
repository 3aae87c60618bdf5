// ombrixctl commands on the administrator password: set and check. The
// password comes from standard input, so it never shows in a process list;
// one line break at its end is not part of it.
#include <istream>
#include <iterator>
#include <ostream>

#include "app/ctl_session.h"
#include "core/password.h"
#include "core/store.h"

namespace ombrix::app {
namespace {

std::string readPassword(std::istream& in) {
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
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
        return core::passwordMatches(stored, typed) ? kOk : kRefused;
    }
    // The same rules as the options form; the one entry stands for both of its fields.
    if (const std::string problem = core::newPasswordProblem(typed, typed); !problem.empty()) {
        return s.refuse(problem.c_str());
    }
    if (typed.find_first_of("\r\n") != std::string::npos) {
        s.err() << "ombrixctl: a password is one line\n";
        return kRefused;
    }
    if (!core::UpdateField(s.db(), "Opzioni", "PasswordAdmin", core::Value(core::hashPassword(typed)),
                           core::kOptionsRow)) {
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

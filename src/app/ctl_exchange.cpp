// ombrixctl export and import: the profile exchange file, with the editor's
// rules and messages, so that a school can move profiles between PCs in a
// script. Messages go to standard error; a refusal exits 1 and stores nothing.
#include <optional>
#include <ostream>

#include "app/ctl_session.h"
#include "core/store.h"
#include "platform/text.h"
#include "profiles/profile_editor.h"
#include "profiles/profile_exchange.h"

namespace ombrix::app {
namespace {

using profiles::ProfileExchange;

// Each message on one line of standard error: identifier, then text.
class ExchangeDialogs final : public platform::Dialogs {
public:
    explicit ExchangeDialogs(Session& s) : s_(s) {}
    platform::MessageAnswer messageBox(const platform::MessageBoxRequest& r) override {
        std::string text = r.text;
        for (char& c : text) {
            if (c == '\n' || c == '\r') c = ' ';
        }
        if (trimBlanks(text).empty()) text = messageText(s_.language(), r.messageId);
        s_.err() << r.messageId << ": " << text << "\n";
        // Nothing here asks; a question would be the command's own to answer.
        return r.buttons == platform::MessageButtons::YesNo ? platform::MessageAnswer::Yes
                                                             : platform::MessageAnswer::Ok;
    }
    std::optional<std::string> browseForFolder(const std::string&) override { return std::nullopt; }

private:
    Session& s_;
};

int cmdExport(Session& s, const std::vector<std::string>& args) {
    if (args.size() != 2) return s.usage("export needs a PROFILE and a FILE");
    const std::optional<long long> id = resolveProfile(s, args[0]);
    if (!id) return kRefused;
    ExchangeDialogs dialogs(s);
    profiles::ProfileEditor editor(s.db(), dialogs, s.language());
    if (editor.moveTo(*id) != profiles::ProfileEditor::Outcome::Done) return kRefused;
    ProfileExchange exchange(s.db(), dialogs, s.language(), s.env().printers);
    return exchange.exportTo(profiles::shownProfile(editor), args[1]) == ProfileExchange::Result::Done ? kOk
                                                                                                       : kRefused;
}

int cmdImport(Session& s, const std::vector<std::string>& args) {
    if (args.size() != 1) return s.usage("import needs a FILE");
    if (!s.open()) return kRefused;
    ExchangeDialogs dialogs(s);
    ProfileExchange exchange(s.db(), dialogs, s.language(), s.env().printers);
    long long id = 0;
    if (exchange.importFrom(args[0], &id) != ProfileExchange::Result::Done) return kRefused;
    const core::Value name = core::ReadField(s.db(), "Profili", "Profilo",
                                             core::Condition{"IDProfilo = ?", {core::Value(static_cast<std::int64_t>(id))}});
    s.out() << id << "\t" << printable(name.toText()) << "\n";
    return kOk;
}

}  // namespace

const std::vector<CtlCommand>& exchangeCommands() {
    static const std::vector<CtlCommand> commands = {
        {"export", "export PROFILE FILE\n                write PROFILE to an exchange file (.OX), replacing FILE",
         &cmdExport, &readsOnly},
        {"import", "import FILE   a new profile from an exchange file; prints its id and name", &cmdImport},
    };
    return commands;
}

}  // namespace ombrix::app

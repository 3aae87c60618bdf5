// ombrixctl commands that administer profiles: the profile editor's rules
// through the editor itself, with no questions asked. A refusal prints its
// identifier and text on standard error, exits 1 and changes nothing.
#include <istream>
#include <memory>
#include <optional>
#include <ostream>

#include "app/ctl_session.h"
#include "core/policy_locks.h"
#include "core/store.h"
#include "platform/text.h"
#include "platform/text_input.h"
#include "profiles/managed_profiles.h"
#include "profiles/profile_editor.h"
#include "support/messages.h"

namespace ombrix::app {
namespace {

using profiles::ProfileEditor;
using Outcome = ProfileEditor::Outcome;

std::string oneLine(std::string text) {
    for (char& c : text) {
        if (c == '\n' || c == '\r') c = ' ';
    }
    return text;
}

// The editor's messages on standard error; every question is answered Yes,
// as the command itself is the administrator's confirmation.
class CtlDialogs final : public platform::Dialogs {
public:
    explicit CtlDialogs(Session& s) : s_(s) {}
    platform::MessageAnswer messageBox(const platform::MessageBoxRequest& r) override {
        if (r.buttons == platform::MessageButtons::YesNo) return platform::MessageAnswer::Yes;
        std::string text = oneLine(r.text);
        if (trimBlanks(text).empty()) text = messageText(s_.language(), r.messageId);
        // The store failure's text has the store's words after its own.
        if (r.messageId == msg::StoreWriteFailed && r.text.starts_with(" ")) {
            text = messageText(s_.language(), msg::StoreWriteFailed) + r.text;
        }
        s_.err() << r.messageId << ": " << text << "\n";
        return platform::MessageAnswer::Ok;
    }
    std::optional<std::string> browseForFolder(const std::string&) override { return std::nullopt; }

private:
    Session& s_;
};

int status(Outcome o) { return o == Outcome::Done ? kOk : kRefused; }

// The editor, with its messages going to standard error.
struct Editing {
    CtlDialogs dialogs;
    ProfileEditor editor;
    explicit Editing(Session& s) : dialogs(s), editor(s.db(), dialogs, s.language()) {
        editor.setManagedSource(profiles::readManagedSource(s.env().registry).path);
    }
};


int saveNew(Session& s, std::optional<long long> copyOf, const std::string& name) {
    Editing e(s);
    if (e.editor.addNew(copyOf) != Outcome::Done) return kRefused;
    e.editor.record().name = name;
    if (e.editor.save() != Outcome::Done) return kRefused;
    s.out() << *e.editor.record().id << "\t" << printable(e.editor.record().name) << "\n";
    return kOk;
}

const char* onOff(bool on) { return on ? "on" : "off"; }

int show(Session& s, long long id) {
    Editing e(s);
    if (e.editor.moveTo(id) != Outcome::Done) return kRefused;
    const profiles::ProfileRecord& r = e.editor.record();
    static constexpr const char* kModes[] = {"kiosk", "nostart", "normal"};
    std::ostream& out = s.out();
    out << "id\t" << id << "\n"
        << "name\t" << printable(r.name) << "\n"
        << "mode\t" << kModes[static_cast<int>(r.mode())] << "\n"
        << "list\t" << (r.forbiddenList ? "forbidden" : "allowed") << "\n"
        << "block-downloads\t" << onOff(r.blockDownloads) << "\n"
        << "hide-messages\t" << onOff(r.hideMessages) << "\n"
        << "internal-browser\t" << onOff(r.internalBrowser) << "\n"
        << "max-protection\t" << onOff(r.maxProtection) << "\n"
        << "full-screen\t" << onOff(r.fullScreen) << "\n"
        << "printer\t" << printable(r.printer) << "\n"
        << "homepage\t" << printable(r.homePage) << "\n";
    for (const auto& [kind, word] : {std::pair{profiles::ListKind::Sites, "site"},
                                     std::pair{profiles::ListKind::Processes, "process"},
                                     std::pair{profiles::ListKind::WindowTitles, "window"}}) {
        for (const auto& row : e.editor.list(kind)) out << word << "\t" << printable(row.text) << "\n";
    }
    return kOk;
}

int set(Session& s, long long id, const std::string& key, const std::string& value) {
    Editing e(s);
    if (e.editor.moveTo(id) != Outcome::Done) return kRefused;
    profiles::ProfileRecord& r = e.editor.record();
    const auto onOffValue = [&](bool& field) {
        if (value != "on" && value != "off") return false;
        field = value == "on";
        return true;
    };
    bool understood = true;
    if (key == "mode") {
        if (value == "kiosk") r.setMode(profiles::Mode::Kiosk);
        else if (value == "nostart") r.setMode(profiles::Mode::NoStart);
        else if (value == "normal") r.setMode(profiles::Mode::Normal);
        else understood = false;
    } else if (key == "list") {
        understood = value == "forbidden" || value == "allowed";
        if (understood) e.editor.setForbiddenList(value == "forbidden");
    } else if (key == "block-downloads") {
        understood = onOffValue(r.blockDownloads);
    } else if (key == "hide-messages") {
        understood = onOffValue(r.hideMessages);
    } else if (key == "internal-browser") {
        understood = onOffValue(r.internalBrowser);
    } else if (key == "full-screen") {
        understood = onOffValue(r.fullScreen);
    } else if (key == "max-protection") {
        understood = onOffValue(r.maxProtection);
        // The form offers the switch only with a forbidden list.
        if (understood && value == "on" && !e.editor.maxProtectionEnabled()) {
            return s.refuse(msg::MaxProtectionNeedsForbiddenList);
        }
    } else if (key == "printer") {
        r.printer = value;
    } else if (key == "homepage") {
        r.homePage = value;
    } else {
        return s.usage("profile set: unknown key " + key);
    }
    if (!understood) return s.usage("profile set " + key + ": unknown value " + value);
    return status(e.editor.save());
}

int cmdProfile(Session& s, const std::vector<std::string>& args) {
    const std::string verb = args.empty() ? std::string() : args[0];
    const std::size_t n = args.size();
    const bool shapeOk = (verb == "add" && n == 2) || (verb == "rename" && n == 3) || (verb == "delete" && n == 2) ||
                         (verb == "copy" && n == 3) || (verb == "show" && n == 2) || (verb == "set" && n == 4);
    if (!shapeOk) return s.usage("profile needs add, rename, delete, copy, show or set with their arguments");
    if (verb == "add") return s.open() ? saveNew(s, std::nullopt, args[1]) : kRefused;
    const auto id = resolveProfile(s, args[1]);
    if (!id) return kRefused;
    if (verb == "copy") return saveNew(s, *id, args[2]);
    if (verb == "show") return show(s, *id);
    if (verb == "set") return set(s, *id, args[2], args[3]);
    Editing e(s);
    if (e.editor.moveTo(*id) != Outcome::Done) return kRefused;
    if (verb == "delete") return status(e.editor.deleteCurrent());
    e.editor.record().name = args[2];
    return status(e.editor.save());
}

int cmdUse(Session& s, const std::vector<std::string>& args) {
    if (args.size() != 1) return s.usage("use takes one PROFILE");
    if (const std::string_view lock = core::policy::readLocks(s.env().registry).profileInUse; !lock.empty()) {
        return s.refuse(msg::SetByPolicy, std::string(lock));
    }
    const auto id = resolveProfile(s, args[0]);
    if (!id) return kRefused;
    if (!core::UpdateField(s.db(), "Opzioni", "IDProfiloInUso", core::Value(static_cast<std::int64_t>(*id)),
                           core::kOptionsRow)) {
        return s.refuse(msg::StoreWriteFailed, s.db().lastError());
    }
    return kOk;
}

// The entries of the command line, or with "-" the lines of standard input
// (UTF-8, or UTF-16 with its mark).
std::function<bool(std::string&)> entrySource(Session& s, const std::vector<std::string>& args) {
    if (args.size() == 3 && args[2] == "-") {
        auto lines = std::make_shared<TextLines>(
            s.env().in, TextLines::Options{TextEncoding::Utf8, profiles::kMaxEntryBytes + 1, false});
        return [lines](std::string& line) {
            if (!lines->next(line)) return false;
            // Cut short, it would be another entry: over the bound, the rule refuses it.
            if (lines->lineCut()) line.resize(profiles::kMaxEntryBytes + 1, ' ');
            return true;
        };
    }
    return [&args, i = std::size_t{2}](std::string& line) mutable {
        if (i >= args.size()) return false;
        line = args[i++];
        return true;
    };
}

// Each refused line, with its number, identifier, text and entry.
void printRefusals(Session& s, const char* where, const profiles::BulkRefusals& r) {
    for (const auto& refusal : r.refusals) {
        std::string text;
        for (const auto& m : refusal.messages) {
            const std::string part = messageText(s.language(), m);
            if (!part.empty()) text += (text.empty() ? "" : " ") + part;
        }
        s.err() << where << " " << refusal.line << ": " << refusal.messages.front() << ": " << oneLine(text) << " ("
                << printable(refusal.entry) << ")\n";
    }
}

int listCommand(Session& s, const std::vector<std::string>& args, profiles::ListKind kind, const char* word) {
    if (args.size() < 3 || (args[0] != "add" && args[0] != "remove")) {
        return s.usage(std::string(word) + " needs add or remove, a PROFILE and at least one ENTRY (or -)");
    }
    const auto id = resolveProfile(s, args[1]);
    if (!id) return kRefused;
    const std::optional<bool> managed = profiles::profileManaged(s.db(), *id);
    if (!managed) return s.refuse(msg::StoreWriteFailed, s.db().lastError());
    if (*managed) return s.refuse(msg::ProfileManaged, profiles::readManagedSource(s.env().registry).path);
    const char* where = args[2] == "-" && args.size() == 3 ? "line" : "entry";
    const auto next = entrySource(s, args);
    if (args[0] == "remove") {
        const profiles::RemoveResult r = profiles::removeEntries(s.db(), kind, *id, next);
        if (r.storeFailed) return s.refuse(msg::StoreWriteFailed, r.storeError);
        printRefusals(s, where, r);
        for (const std::size_t line : r.missing) {
            s.err() << "ombrixctl: " << where << " " << line << ": not on the " << word << " list\n";
        }
        if (!r.ok()) return kRefused;
        s.out() << "removed " << r.removed << "\n";
        return kOk;
    }
    const profiles::BulkResult r = profiles::addEntries(s.db(), kind, *id, next);
    if (r.storeFailed) return s.refuse(msg::StoreWriteFailed, r.storeError);
    printRefusals(s, where, r);
    if (!r.ok()) return kRefused;
    s.out() << "added " << r.added << ", duplicates skipped " << r.duplicates;
    if (r.ignored > 0) s.out() << ", ignored " << r.ignored;
    s.out() << "\n";
    return kOk;
}

int cmdSite(Session& s, const std::vector<std::string>& args) {
    return listCommand(s, args, profiles::ListKind::Sites, "site");
}
int cmdProcess(Session& s, const std::vector<std::string>& args) {
    return listCommand(s, args, profiles::ListKind::Processes, "process");
}
int cmdWindow(Session& s, const std::vector<std::string>& args) {
    return listCommand(s, args, profiles::ListKind::WindowTitles, "window");
}

// One check of the managed profiles, as the running program makes them:
// for a task that runs it elevated where the program cannot write the store.
int cmdManaged(Session& s, const std::vector<std::string>& args) {
    if (args.size() != 1 || args[0] != "sync") return s.usage("managed needs sync");
    if (!s.open()) return kRefused;
    profiles::ManagedProfiles managed(s.db());
    const profiles::ManagedCheck r = managed.check(profiles::readManagedSource(s.env().registry));
    switch (r.outcome) {
        case profiles::ManagedCheck::Outcome::NoPolicy: s.out() << "no managed profiles\n"; return kOk;
        case profiles::ManagedCheck::Outcome::Unchanged: s.out() << "unchanged\n"; return kOk;
        case profiles::ManagedCheck::Outcome::Imported:
            s.out() << "imported, " << r.changed.size() << " profiles written or removed\n";
            for (const std::string& name : r.kept) s.out() << "kept while in use\t" << printable(name) << "\n";
            return kOk;
        case profiles::ManagedCheck::Outcome::Refused: break;
    }
    profiles::traceRefusal(r);
    s.err() << "ombrixctl: managed profiles refused, the last good set stays: " << r.reason << ": "
            << printable(r.subject) << "\n";
    return kRefused;
}

Elevation profileElevation(const std::vector<std::string>& args) {
    if (args.empty()) return Elevation::None;
    for (const char* verb : {"add", "rename", "copy", "delete", "set"}) {
        if (args[0] == verb) return Elevation::Relay;
    }
    return Elevation::None;
}

// "-" alone after the profile reads the entries from standard input.
Elevation listElevation(const std::vector<std::string>& args) {
    if (args.empty() || (args[0] != "add" && args[0] != "remove")) return Elevation::None;
    return args.size() == 3 && args[2] == "-" ? Elevation::RelayInput : Elevation::Relay;
}

}  // namespace

const std::vector<CtlCommand>& profileCommands() {
    static const std::vector<CtlCommand> commands = {
        {"profile",
         "profile add NAME | rename PROFILE NAME | copy PROFILE NAME | delete PROFILE | show PROFILE\n"
         "                | set PROFILE KEY VALUE, KEY one of mode (kiosk|nostart|normal),\n"
         "                list (forbidden|allowed), block-downloads, hide-messages, internal-browser,\n"
         "                max-protection, full-screen (on|off), printer NAME, homepage ADDRESS (\"\" for none)",
         &cmdProfile, &profileElevation},
        {"use", "use PROFILE   put PROFILE in use", &cmdUse},
        {"site",
         "site add|remove PROFILE ENTRY...|-\n"
         "                the site list; - reads the entries from standard input, one a line",
         &cmdSite, &listElevation},
        {"process",
         "process add|remove PROFILE ENTRY...|-\n"
         "                the forbidden programs (file names ending in .exe)",
         &cmdProcess, &listElevation},
        {"window", "window add|remove PROFILE ENTRY...|-\n                the forbidden window titles", &cmdWindow,
         &listElevation},
        {"managed",
         "managed sync   import the managed profiles from the file Group Policy names, when it changed",
         &cmdManaged, [](const std::vector<std::string>&) { return Elevation::Relay; }},
    };
    return commands;
}

}  // namespace ombrix::app

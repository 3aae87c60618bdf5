#include "app/ctl.h"

#include <algorithm>
#include <array>
#include <memory>
#include <ostream>
#include <utility>

#include "app/ctl_session.h"
#include "core/store_copy.h"
#include "core/store.h"
#include "ombrix_version.h"
#include "platform/system.h"
#include "platform/text.h"
#include "support/messages.h"

namespace ombrix::app {
namespace {

// The texts of the messages the command line prints, for when the language
// file beside the program is missing or lacks them: a message must never be
// a number alone.
constexpr std::array<std::pair<MessageId, std::string_view>, 45> kBuiltInTexts = {{
    {msg::StoreNotFound, "The Ombrix database was not found."},
    {msg::StoreNotFoundTitle, "Database not found"},
    {msg::ChooseStoreFolderFromMainForm, "Choose the folder that holds the Ombrix database"},
    {msg::ChooseStoreFolderFromOtherForm, "Choose the database folder"},
    {msg::PasswordBlank, "The password cannot be blank."},
    {msg::PasswordsDiffer, "The two passwords differ."},
    {msg::StartDateInvalid, "The start date is not valid."},
    {msg::StartDateHowToWrite, "Write the start date as dd/mm/yyyy, for example 01/09/2024."},
    {msg::StartDateCorrectAndRetry, "Correct the start date and try again."},
    {msg::EndDateInvalid, "The end date is not valid."},
    {msg::EndDateHowToWrite, "Write the end date as dd/mm/yyyy, for example 30/09/2024."},
    {msg::EndDateCorrectAndRetry, "Correct the end date and try again."},
    {msg::PasswordTooLong, "The password can have at most 256 characters."},
    {msg::PasswordControlCharacter, "The password holds a character that cannot be typed (a control character)."},
    {msg::StoreUnreadable, "The database cannot be read:"},
    {msg::StoreUpgradeFailed, "The database upgrade failed; the database was not changed:"},
    {msg::NotOurStore, "The file is not an Ombrix database:"},
    {msg::ConsentNotGiven, "The administrator's consent was not given: nothing was changed."},
    {msg::ElevatedRunFailed, "The command could not be run with administrator rights:"},
    {msg::PasswordFromEnvironmentNotElevated,
     "A password cannot be handed from a variable of the environment to a command run as administrator: "
     "run the command from a command prompt opened as administrator."},
    {msg::FolderAccessNotSet, "The access list of the folder could not be set:"},
    {msg::PasswordHashInvalid, "The password hash is not valid: give the one \"ombrixctl password hash\" prints. "
                               "Nothing was changed."},
    {msg::PasswordManaged, "The administrator password is managed by Group Policy: it cannot be changed on this PC."},
    {msg::ProfileManaged, "This profile is managed by Group Policy: change it in the file the policy names, not here:"},
    {msg::LogFolderNotCreated, "The log folder could not be created:"},
    {msg::LogNotOurs, "The visited-sites log is not an Ombrix log; delete it and a new one will be made:"},
    {msg::LogCannotBeOpened, "The visited-sites log cannot be opened:"},
    {msg::LogCannotBeWritten, "The visited-sites log cannot be written:"},
    {msg::LogCannotBeRead, "The visited-sites log cannot be read:"},
    {msg::TextNotTypeable, "The text holds a character that cannot be typed: a control character (a tab, a NUL) or "
                           "bytes that are not UTF-8 text."},
    {msg::EntryMatchesEveryAddress, "The entry matches every address: on a list of allowed sites it would let every "
                                    "site through. Name the site."},
    {msg::PasswordNotUtf8, "The password is not UTF-8 text: it could never be typed into the login box."},
    {msg::FileSiteListWordUnknown, "The site list of the file is neither PROIBITI nor CONSENTITI."},
    {msg::LineOfFile, "Line of the file:"},
    {msg::TextTooLong, "The text is too long: more than 64 KB."},
    {msg::ProfileStillAssigned, "The profile cannot be deleted: it is still assigned to one or more clients."},
    {msg::ProfileNameBlank, "The profile name cannot be empty."},
    {msg::ProfileNameTaken, "A profile with this name exists already. Choose another name."},
    {msg::HomePageNotAllowed, "The home page is not on the list of allowed sites and would be blocked."},
    {msg::ProcessFileNameOnly, "Give only the program's file name (for example notepad.exe), without drive or folder."},
    {msg::ProcessNameInvalid, "The process name is not valid: it must end in .exe, written in lower case."},
    {msg::MaxProtectionNeedsForbiddenList, "Maximum protection is offered only with a list of forbidden sites."},
    {msg::StoreWriteFailed, "The database cannot be written:"},
    {msg::AutostartByGuardService, "The Ombrix guard service starts Ombrix in every session on this PC: the start "
                                   "with Windows is the service's, not this option's."},
    {msg::GuardServiceFailed, "The Ombrix guard service could not do what was asked:"},
}};

}  // namespace

std::string messageText(Language& language, MessageId id) {
    std::string text = language.messageText(id);
    if (!text.empty()) return text;
    for (const auto& [known, english] : kBuiltInTexts) {
        if (known == id) return std::string(english);
    }
    return text;
}

// Messages go to standard error as "<identifier>: <text>"; nobody is there
// to pick a folder.
class Session::ConsoleDialogs final : public platform::Dialogs {
public:
    ConsoleDialogs(std::ostream& err, Language& language) : err_(err), language_(language) {}
    platform::MessageAnswer messageBox(const platform::MessageBoxRequest& r) override {
        err_ << r.messageId << ": " << (r.text.empty() ? messageText(language_, r.messageId) : r.text) << "\n";
        return r.buttons == platform::MessageButtons::YesNo ? platform::MessageAnswer::No : platform::MessageAnswer::Ok;
    }
    std::optional<std::string> browseForFolder(const std::string&) override { return std::nullopt; }

private:
    std::ostream& err_;
    Language& language_;
};

Session::Session(CtlEnvironment& env, std::optional<std::string> dbFile)
    : env_(env),
      language_(env.system.programFolder(), platform::pathSeparator(), env.system.userInterfaceLanguage()),
      dialogs_(std::make_unique<ConsoleDialogs>(env.err, language_)),
      dbFile_(std::move(dbFile)) {}

Session::~Session() = default;

std::string Session::storeFolder() const {
    if (!dbFile_) return store_.folder;
    // Windows takes either separator.
    const char* separators = platform::pathSeparator() == '\\' ? "\\/" : "/";
    const std::size_t at = dbFile_->find_last_of(separators);
    if (at == std::string::npos) return ".";
    return dbFile_->substr(0, at == 0 ? 1 : at);
}

void Session::keepStoreCopy() {
    if (!store_.connection.isOpen()) return;
    // The change is made; only what a lost store would fall back on lags.
    if (const auto failure = core::keepStoreCopy(store_.connection)) {
        env_.err << "ombrixctl: the store's copy was not kept: " << *failure << "\n";
    }
}

int Session::refuse(MessageId id, const std::string& detail) {
    env_.err << id << ": " << messageText(language_, id);
    if (!detail.empty()) env_.err << " " << detail;
    env_.err << "\n";
    return kRefused;
}

int Session::usage(const std::string& why) {
    env_.err << "ombrixctl: " << why << "\n";
    return kUsage;
}

std::string Session::locateStore() {
    if (!dbFile_ && store_.folder.empty()) {
        core::StoreEnvironment se{env_.registry, env_.files, env_.system, *dialogs_, language_};
        store_.folder = core::chooseDatabaseFolder(se);
    }
    std::string folder = storeFolder();
    core::traceInLogFolder(folder, platform::pathSeparator(), "ombrixctl");
    return folder;
}

bool Session::open(core::Database::Mode mode) {
    if (store_.connection.isOpen()) return true;
    locateStore();
    if (dbFile_ || mode == core::Database::Mode::ReadOnly) {
        const std::string file =
            dbFile_ ? *dbFile_ : core::joinPath(store_.folder, core::kDatabaseFileName, platform::pathSeparator());
        if (!env_.files.fileExists(file)) {
            refuse(msg::StoreNotFound, file);
            return false;
        }
        if (!store_.connection.open(file, mode)) {
            env_.err << "ombrixctl: cannot open " << file << ": " << store_.connection.lastError() << "\n";
            return false;
        }
        return true;
    }
    core::StoreEnvironment se{env_.registry, env_.files, env_.system, *dialogs_, language_};
    if (core::openDatabase(se, store_)) return true;
    if (!store_.connection.lastError().empty()) {
        env_.err << "ombrixctl: cannot open the database in " << store_.folder << ": "
                 << store_.connection.lastError() << "\n";
    }
    return false;
}

std::optional<long long> resolveProfile(Session& s, const std::string& argument) {
    if (!s.open()) return std::nullopt;
    std::vector<long long> candidates;
    std::string error;
    const auto lookUp = [&](const char* sql, const core::Value& key) {
        core::Statement q = s.db().prepare(sql);
        if (!q.valid() || !q.bind(1, key)) {
            error = q.valid() ? q.error() : s.db().lastError();
            return;
        }
        while (q.step()) {
            const long long id = q.column(0).toInteger();
            if (std::find(candidates.begin(), candidates.end(), id) == candidates.end()) candidates.push_back(id);
        }
        if (q.failed()) error = q.error();
    };
    const auto identifier = [](std::string_view digits) -> std::optional<long long> {
        if (digits.empty() || digits.size() > 18 || digits.find_first_not_of("0123456789") != std::string_view::npos) {
            return std::nullopt;
        }
        return std::stoll(std::string(digits));
    };
    lookUp("SELECT IDProfilo FROM Profili WHERE Profilo" OMBRIX_TEXT_EQUALS " ORDER BY rowid LIMIT 2;",
           core::Value(argument));
    const std::optional<long long> written = argument.starts_with("#") ? identifier(argument.substr(1)) : std::nullopt;
    if (error.empty() && written) {
        lookUp("SELECT IDProfilo FROM Profili WHERE IDProfilo = ? LIMIT 1;", core::Value(static_cast<std::int64_t>(*written)));
    }
    if (!error.empty()) {
        s.err() << "ombrixctl: cannot read the profiles: " << error << "\n";
        return std::nullopt;
    }
    if (candidates.size() == 1) return candidates.front();
    if (candidates.size() > 1) {
        s.err() << "ombrixctl: " << printable(argument) << " can mean profile #" << candidates[0] << " or #"
                << candidates[1] << ": name it by its identifier\n";
        return std::nullopt;
    }
    s.err() << "ombrixctl: no profile is named " << printable(argument);
    // A bare number is a name: say how an identifier is written.
    if (const std::optional<long long> id = identifier(argument)) s.err() << " (an identifier is written #" << *id << ")";
    s.err() << "\n";
    return std::nullopt;
}

namespace {

std::vector<CtlCommand> allCommands() {
    std::vector<CtlCommand> all;
    for (const auto* group : {&storeCommands(), &profileCommands(), &enforceCommands(), &passwordCommands(),
                              &scheduleCommands(), &optionCommands(), &policyCommands(), &restoreCommands(),
                              &exchangeCommands(), &installCommands(), &serviceCommands()}) {
        all.insert(all.end(), group->begin(), group->end());
    }
    return all;
}

void printUsage(std::ostream& out) {
    out << "usage: ombrixctl [--db FILE] COMMAND [ARGS]\n       ombrixctl --help | --version\ncommands:\n";
    for (const auto& c : allCommands()) out << "  " << c.usage << "\n";
    out << kProfileArgumentRule << ".\n";
}

// Results that could not be written are results lost: a script must learn it.
int outputWritten(CtlEnvironment& env, int status) {
    if (env.out.flush()) return status;
    env.err << "ombrixctl: cannot write the output\n";
    return status == kOk ? kRefused : status;
}

int usageError(CtlEnvironment& env, const std::string& why) {
    if (!why.empty()) env.err << "ombrixctl: " << why << "\n";
    printUsage(env.err);
    return kUsage;
}

}  // namespace

int runCtl(const std::vector<std::string>& args, CtlEnvironment& env) {
    if (!args.empty() && args[0] == "--elevated") return runElevatedChild(args, env);
    return dispatchCtl(args, env, false);
}

int dispatchCtl(const std::vector<std::string>& args, CtlEnvironment& env, bool elevated) {
    std::optional<std::string> dbFile;
    std::size_t i = 0;
    while (i < args.size() && args[i].rfind("--", 0) == 0) {
        if (args[i] == "--db") {
            if (i + 1 >= args.size()) return usageError(env, "--db needs a FILE");
            dbFile = args[i + 1];
            i += 2;
        } else if (args[i] == "--help") {
            printUsage(env.out);
            return outputWritten(env, kOk);
        } else if (args[i] == "--version") {
            env.out << "ombrixctl " << OMBRIX_VERSION << "\n";
            return outputWritten(env, kOk);
        } else {
            return usageError(env, "unknown option " + args[i]);
        }
    }
    if (i >= args.size()) return usageError(env, "");
    const std::string& name = args[i];
    const std::vector<std::string> rest(args.begin() + static_cast<std::ptrdiff_t>(i) + 1, args.end());
    for (const auto& c : allCommands()) {
        if (name == c.name) {
            Session session(env, dbFile);
            const Elevation how = c.elevation ? c.elevation(rest) : Elevation::Relay;
            if (!elevated && how != Elevation::None && env.elevator && platform::changesNeedConsent(env.system)) {
                return outputWritten(env, runWithConsent(session, args, how));
            }
            const int status = c.run(session, rest);
            if (status == kUsage) printUsage(env.err);
            // A write went through: the store's copy, beside it, follows.
            if (status == kOk && how != Elevation::None) session.keepStoreCopy();
            return outputWritten(env, status);
        }
    }
    return usageError(env, "unknown command " + name);
}

}  // namespace ombrix::app

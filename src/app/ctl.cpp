#include "app/ctl.h"

#include <istream>
#include <optional>
#include <ostream>

#include "core/schema.h"
#include "core/store_location.h"
#include "support/language.h"

namespace ombrix::app {
namespace {

constexpr const char* kUsageText =
    "usage: ombrixctl [--db FILE] COMMAND\n"
    "commands:\n"
    "  init FILE     write the empty database to FILE (never overwrites)\n"
    "  upgrade       bring the database up to the current structure\n"
    "  profiles      list the profiles: identifier, a tab, the name\n";

// Messages go to standard error as "<identifier>: <text>"; nobody is there
// to pick a folder.
class ConsoleDialogs final : public platform::Dialogs {
public:
    explicit ConsoleDialogs(std::ostream& err) : err_(err) {}
    platform::MessageAnswer messageBox(const platform::MessageBoxRequest& r) override {
        err_ << r.messageId << ": " << r.text << "\n";
        return r.buttons == platform::MessageButtons::YesNo ? platform::MessageAnswer::No : platform::MessageAnswer::Ok;
    }
    std::optional<std::string> browseForFolder(const std::string&) override { return std::nullopt; }

private:
    std::ostream& err_;
};

class Session {
public:
    Session(CtlEnvironment& env, std::optional<std::string> dbFile)
        : env_(env),
          language_(env.system.programFolder(), platform::kPathSeparator),
          dialogs_(env.err),
          dbFile_(std::move(dbFile)) {}

    int refuse(const char* id, const std::string& detail = {}) {
        env_.err << id << ": " << language_.TestoMessaggio(id);
        if (!detail.empty()) env_.err << " " << detail;
        env_.err << "\n";
        return kRefused;
    }

    // Opens the store: the file named by --db, else the folder the program uses.
    bool open() {
        if (dbFile_) {
            if (!env_.files.fileExists(*dbFile_)) {
                refuse("0090", *dbFile_);
                return false;
            }
            if (!store_.connection.open(*dbFile_)) {
                env_.err << "ombrixctl: cannot open " << *dbFile_ << ": " << store_.connection.lastError() << "\n";
                return false;
            }
            return true;
        }
        core::StoreEnvironment se{env_.registry, env_.files, env_.system, dialogs_, language_};
#ifdef _WIN32
        store_.folder = core::ScegliCartellaDatabase(se);
#else
        store_.folder = core::joinPath(env_.system.programFolder(), core::kDatabaseFolderName, se.separator);
#endif
        if (!core::ApriDatabase(se, store_)) {
            if (store_.connection.lastError().empty()) return false;
            env_.err << "ombrixctl: cannot open the database in " << store_.folder << ": "
                     << store_.connection.lastError() << "\n";
            return false;
        }
        return true;
    }

    core::Database& db() { return store_.connection; }
    CtlEnvironment& env() { return env_; }

private:
    CtlEnvironment& env_;
    Language language_;
    ConsoleDialogs dialogs_;
    std::optional<std::string> dbFile_;
    core::Store store_;
};

int usage(CtlEnvironment& env, const std::string& why) {
    if (!why.empty()) env.err << "ombrixctl: " << why << "\n";
    env.err << kUsageText;
    return kUsage;
}

int cmdInit(CtlEnvironment& env, const std::vector<std::string>& rest) {
    if (rest.size() != 1) return usage(env, "init takes one FILE");
    std::string error;
    if (env.files.fileExists(rest[0])) {
        env.err << "ombrixctl: " << rest[0] << " exists already; it is left as it is\n";
        return kRefused;
    }
    if (!core::createDeliveredDatabase(rest[0], &error)) {
        env.err << "ombrixctl: cannot write " << rest[0] << ": " << error << "\n";
        return kRefused;
    }
    return kOk;
}

int cmdUpgrade(Session& s, const std::vector<std::string>& rest) {
    if (!rest.empty()) return usage(s.env(), "upgrade takes no arguments");
    if (!s.open()) return kRefused;
    s.env().out << (core::AggiornaDBAVersioneCorrente(s.db()) ? "upgraded" : "up to date") << "\n";
    return kOk;
}

int cmdProfiles(Session& s, const std::vector<std::string>& rest) {
    if (!rest.empty()) return usage(s.env(), "profiles takes no arguments");
    if (!s.open()) return kRefused;
    core::Statement q = s.db().prepare("SELECT Profili.IDProfilo, Profili.Profilo FROM Profili ORDER BY rowid;");
    while (q.step()) s.env().out << q.column(0).toText() << "\t" << q.column(1).toText() << "\n";
    if (q.failed() || !q.valid()) {
        s.env().err << "ombrixctl: cannot read the profiles: " << s.db().lastError() << "\n";
        return kRefused;
    }
    return kOk;
}

}  // namespace

int runCtl(const std::vector<std::string>& args, CtlEnvironment& env) {
    std::optional<std::string> dbFile;
    std::size_t i = 0;
    while (i < args.size() && args[i].rfind("--", 0) == 0) {
        if (args[i] == "--db") {
            if (i + 1 >= args.size()) return usage(env, "--db needs a FILE");
            dbFile = args[i + 1];
            i += 2;
        } else if (args[i] == "--help") {
            env.out << kUsageText;
            return kOk;
        } else {
            return usage(env, "unknown option " + args[i]);
        }
    }
    if (i >= args.size()) return usage(env, "");
    const std::string command = args[i];
    const std::vector<std::string> rest(args.begin() + static_cast<std::ptrdiff_t>(i) + 1, args.end());
    if (command == "init") return cmdInit(env, rest);
    Session session(env, dbFile);
    if (command == "upgrade") return cmdUpgrade(session, rest);
    if (command == "profiles") return cmdProfiles(session, rest);
    return usage(env, "unknown command " + command);
}

}  // namespace ombrix::app

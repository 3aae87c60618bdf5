#include "app/ctl.h"

#include <memory>
#include <ostream>

#include "app/ctl_session.h"

namespace ombrix::app {

// Messages go to standard error as "<identifier>: <text>"; nobody is there
// to pick a folder.
class Session::ConsoleDialogs final : public platform::Dialogs {
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

Session::Session(CtlEnvironment& env, std::optional<std::string> dbFile)
    : env_(env),
      language_(env.system.programFolder(), platform::pathSeparator()),
      dialogs_(std::make_unique<ConsoleDialogs>(env.err)),
      dbFile_(std::move(dbFile)) {}

Session::~Session() = default;

int Session::refuse(const char* id, const std::string& detail) {
    env_.err << id << ": " << language_.TestoMessaggio(id);
    if (!detail.empty()) env_.err << " " << detail;
    env_.err << "\n";
    return kRefused;
}

int Session::usage(const std::string& why) {
    env_.err << "ombrixctl: " << why << "\n";
    return kUsage;
}

bool Session::open() {
    if (store_.connection.isOpen()) return true;
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
    core::StoreEnvironment se{env_.registry, env_.files, env_.system, *dialogs_, language_};
    store_.folder = core::ScegliCartellaDatabase(se);
    if (core::ApriDatabase(se, store_)) return true;
    if (!store_.connection.lastError().empty()) {
        env_.err << "ombrixctl: cannot open the database in " << store_.folder << ": "
                 << store_.connection.lastError() << "\n";
    }
    return false;
}

namespace {

std::vector<CtlCommand> allCommands() {
    std::vector<CtlCommand> all;
    for (const auto* group : {&storeCommands(), &enforceCommands(), &passwordCommands(), &scheduleCommands()}) {
        all.insert(all.end(), group->begin(), group->end());
    }
    return all;
}

void printUsage(std::ostream& out) {
    out << "usage: ombrixctl [--db FILE] COMMAND [ARGS]\ncommands:\n";
    for (const auto& c : allCommands()) out << "  " << c.usage << "\n";
}

int usageError(CtlEnvironment& env, const std::string& why) {
    if (!why.empty()) env.err << "ombrixctl: " << why << "\n";
    printUsage(env.err);
    return kUsage;
}

}  // namespace

int runCtl(const std::vector<std::string>& args, CtlEnvironment& env) {
    std::optional<std::string> dbFile;
    std::size_t i = 0;
    while (i < args.size() && args[i].rfind("--", 0) == 0) {
        if (args[i] == "--db") {
            if (i + 1 >= args.size()) return usageError(env, "--db needs a FILE");
            dbFile = args[i + 1];
            i += 2;
        } else if (args[i] == "--help") {
            printUsage(env.out);
            return kOk;
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
            const int status = c.run(session, rest);
            if (status == kUsage) printUsage(env.err);
            return status;
        }
    }
    return usageError(env, "unknown command " + name);
}

}  // namespace ombrix::app

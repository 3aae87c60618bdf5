#pragma once
// What every ombrixctl command shares: the streams, the machine, the
// language texts, and the store, opened on demand.

#include <optional>
#include <string>
#include <vector>

#include "app/ctl.h"
#include "core/store_location.h"
#include <memory>

#include "support/language.h"

namespace ombrix::app {

class Session {
public:
    Session(CtlEnvironment& env, std::optional<std::string> dbFile);
    ~Session();

    // Prints "<id>: <text>[ <detail>]" on standard error; returns kRefused.
    int refuse(const char* id, const std::string& detail = {});
    // Prints "ombrixctl: <text>" on standard error; returns kUsage.
    int usage(const std::string& why);

    // Opens the store: the file named by --db, else the folder the program
    // uses. Reports why on standard error when it cannot.
    [[nodiscard]] bool open();

    core::Database& db() { return store_.connection; }
    // The store's folder once open: the folder of the file named by --db, else the program's.
    [[nodiscard]] std::string storeFolder() const;
    // The file named by --db, if any.
    [[nodiscard]] const std::optional<std::string>& dbFile() const { return dbFile_; }
    CtlEnvironment& env() { return env_; }
    std::ostream& out() { return env_.out; }
    std::ostream& err() { return env_.err; }
    Language& language() { return language_; }

private:
    class ConsoleDialogs;
    CtlEnvironment& env_;
    Language language_;
    std::unique_ptr<ConsoleDialogs> dialogs_;
    std::optional<std::string> dbFile_;
    core::Store store_;
};

// The text of a message identifier from the language file, else the
// command line's own English text for it.
[[nodiscard]] std::string messageText(Language& language, std::string_view id);

// Text from the store as one field of one output line: control characters
// and the backslash are written as escapes (\t, \n, \r, \\, \xHH), so a
// stored value can never forge a line or a field.
[[nodiscard]] std::string printable(std::string_view text);

// One command: its name, the line of usage text, and the handler that gets
// the arguments after the name.
struct CtlCommand {
    const char* name;
    const char* usage;
    int (*run)(Session& session, const std::vector<std::string>& args);
};

// Commands by file; the dispatcher lists them in this order.
const std::vector<CtlCommand>& storeCommands();
const std::vector<CtlCommand>& enforceCommands();
const std::vector<CtlCommand>& passwordCommands();
const std::vector<CtlCommand>& scheduleCommands();
const std::vector<CtlCommand>& profileCommands();
const std::vector<CtlCommand>& restoreCommands();
const std::vector<CtlCommand>& exchangeCommands();

}  // namespace ombrix::app

#pragma once
// What every ombrixctl command shares: the streams, the machine, the
// language texts, and the store, opened on demand.

#include <optional>
#include <string>
#include <vector>

#include "app/ctl.h"
#include "core/store_location.h"
#include <memory>

#include "platform/text.h"
#include "support/language.h"
#include "support/messages.h"

namespace ombrix::app {

class Session {
public:
    Session(CtlEnvironment& env, std::optional<std::string> dbFile);
    ~Session();

    // Prints "<id>: <text>[ <detail>]" on standard error; returns kRefused.
    int refuse(MessageId id, const std::string& detail = {});
    // Prints "ombrixctl: <text>" on standard error; returns kUsage.
    int usage(const std::string& why);

    // Opens the store: the file named by --db, else the folder the program
    // uses. Reports why on standard error when it cannot. ReadOnly: the file
    // where it is or none (no folder is asked for or remembered), and nothing
    // this session runs can change it.
    [[nodiscard]] bool open(core::Database::Mode mode = core::Database::Mode::OpenExisting);

    core::Database& db() { return store_.connection; }
    // After a write: the store's copy follows it (see core/store_copy.h).
    void keepStoreCopy();
    // The store's folder once open: the folder of the file named by --db, else the program's.
    [[nodiscard]] std::string storeFolder() const;
    // The store's folder, chosen as open() chooses it, without opening the
    // store. From then on the failures' trace goes to its log folder.
    std::string locateStore();
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

// The text of a message from the language file, else the command line's own
// English text for it.
[[nodiscard]] std::string messageText(Language& language, MessageId id);

// How every command reads a profile on its command line: a name, compared
// as the store compares names (letter case ignored), or "#" and an
// identifier. Text that could mean two profiles (a profile named "#2" and the
// profile #2, or two profiles of one name written by another tool) means none.
inline constexpr const char* kProfileArgumentRule =
    "PROFILE is a profile's name (letter case ignored), or # and its identifier (#2)";
// The profile `argument` names; nullopt, with the reason on standard error,
// when it names none, could name two, or the store cannot be read.
[[nodiscard]] std::optional<long long> resolveProfile(Session& session, const std::string& argument);

// How a command line runs where changes need the administrator's consent
// (platform::changesNeedConsent) and an elevator is at hand.
enum class Elevation {
    None,        // it only reads: runs here, as the calling user
    Relay,       // it writes: runs elevated, its output and status relayed here
    RelayInput,  // the same, with standard input handed over as well
    OwnConsole,  // it writes what is typed: the elevated run asks in a console of its own
    Impossible,  // it writes what cannot be handed over safely: refused here
};

[[nodiscard]] inline Elevation readsOnly(const std::vector<std::string>&) { return Elevation::None; }

// One command: its name, the line of usage text, the handler that gets the
// arguments after the name, and how its lines elevate (null: every line is
// a write, so a command added without thought asks rather than fails).
struct CtlCommand {
    const char* name;
    const char* usage;
    int (*run)(Session& session, const std::vector<std::string>& args);
    Elevation (*elevation)(const std::vector<std::string>& args) = nullptr;
};

// Runs `args` (the whole command line) again elevated and relays what it
// printed and its exit status; says why when consent was declined or the
// run could not start.
[[nodiscard]] int runWithConsent(Session& session, const std::vector<std::string>& args, Elevation how);

// The command line of an elevated run: "--elevated", then the hidden
// options that name the relay's files and the caller's folder, then an
// ordinary command line, which runs without ever asking again.
[[nodiscard]] int runElevatedChild(const std::vector<std::string>& args, CtlEnvironment& env);

// The ordinary command line; `elevated`: this process came through the
// prompt, so nothing is asked.
[[nodiscard]] int dispatchCtl(const std::vector<std::string>& args, CtlEnvironment& env, bool elevated);

// Commands by file; the dispatcher lists them in this order.
const std::vector<CtlCommand>& storeCommands();
const std::vector<CtlCommand>& enforceCommands();
const std::vector<CtlCommand>& passwordCommands();
const std::vector<CtlCommand>& scheduleCommands();
const std::vector<CtlCommand>& profileCommands();
const std::vector<CtlCommand>& restoreCommands();
const std::vector<CtlCommand>& exchangeCommands();
const std::vector<CtlCommand>& optionCommands();
const std::vector<CtlCommand>& policyCommands();
const std::vector<CtlCommand>& installCommands();
const std::vector<CtlCommand>& serviceCommands();

}  // namespace ombrix::app

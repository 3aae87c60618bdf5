#pragma once
// ombrixctl: the command-line face of the program over the same store and
// rules. Kept apart from main() so that tests drive it with their own streams
// and machine.

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "core/desktop_lock.h"
#include "platform/elevated_run.h"
#include "platform/filesystem.h"
#include "platform/folder_access.h"
#include "platform/printers.h"
#include "platform/registry.h"
#include "platform/system.h"

namespace ombrix::app {

enum ExitStatus { kOk = 0, kRefused = 1, kUsage = 2 };

// Standard input when it is a terminal: a password is read with the echo of
// typed characters off.
class Terminal {
public:
    virtual ~Terminal() = default;
    // False when the echo cannot be switched.
    virtual bool setEcho(bool on) = 0;
};

// Runs this program again with administrator rights, through the system's
// consent prompt, for the changes a process without them may not make.
class Elevator {
public:
    using Run = platform::ElevatedRun;
    virtual ~Elevator() = default;
    // A new folder that only the calling user and administrators can open,
    // for the files handed to and from the elevated run; nullopt, with the
    // system's words in `error`, when none can be made.
    [[nodiscard]] virtual std::optional<std::string> privateFolder(std::string& error) = 0;
    // Runs this program with `args` and waits for its end. With `ownConsole`
    // the run shows a console window of its own, where it asks for what must
    // be typed; without, nothing of it shows.
    [[nodiscard]] virtual Run run(const std::vector<std::string>& args, bool ownConsole) = 0;
};

// The guard service that keeps the program running in every session, where
// the machine can have one (Windows).
class GuardControl {
public:
    enum class State { NotInstalled, Stopped, Running, Changing };
    virtual ~GuardControl() = default;
    // nullopt, with the system's words in `error`, when it cannot be asked.
    [[nodiscard]] virtual std::optional<State> state(std::string& error) = 0;
    // Start or stop, and wait until done; false with the system's words.
    [[nodiscard]] virtual bool start(std::string& error) = 0;
    [[nodiscard]] virtual bool stop(std::string& error) = 0;
    // One request over the service's channel (app/guard.h): its reply, or
    // nullopt with why (not running, not an administrator, not our server).
    [[nodiscard]] virtual std::optional<std::string> ask(const std::string& request, std::string& error) = 0;
};

struct CtlEnvironment {
    platform::Registry& registry;
    platform::FileSystem& files;
    platform::System& system;
    std::istream& in;
    std::ostream& out;
    std::ostream& err;
    Terminal* terminal = nullptr;  // null when standard input is not a terminal
    platform::Printers* printers = nullptr;  // null where the machine has none (natively)
    // The shell's own lock, as the program's start gives a locked shell back;
    // null where there is no shell (natively).
    core::DesktopLock* desktop = nullptr;
    // Null where writes run here and the system refuses what it must
    // (natively, and in tests that give no fake).
    Elevator* elevator = nullptr;
    // Where a prompt for typed input goes; null: standard error. An elevated
    // run that relays its standard error still prompts in its own console.
    std::ostream* prompts = nullptr;
    // Who may change the store's folders; null where nothing can set it.
    platform::FolderAccess* folderAccess = nullptr;
    // The guard service; null where there is none to control (natively).
    GuardControl* guard = nullptr;
};

// Runs one command line (without the program name); returns the exit status.
int runCtl(const std::vector<std::string>& args, CtlEnvironment& env);

}  // namespace ombrix::app

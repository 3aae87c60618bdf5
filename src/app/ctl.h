#pragma once
// ombrixctl: the command-line face of the program over the same store and
// rules. Kept apart from main() so that tests drive it with their own streams
// and machine.

#include <iosfwd>
#include <string>
#include <vector>

#include "core/desktop_lock.h"
#include "platform/filesystem.h"
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
};

// Runs one command line (without the program name); returns the exit status.
int runCtl(const std::vector<std::string>& args, CtlEnvironment& env);

}  // namespace ombrix::app

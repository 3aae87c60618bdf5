#pragma once
// ombrixctl: the command-line face of the program over the same store and
// rules. Kept apart from main() so that tests drive it with their own streams
// and machine.

#include <iosfwd>
#include <string>
#include <vector>

#include "platform/filesystem.h"
#include "platform/registry.h"
#include "platform/system.h"

namespace ombrix::app {

enum ExitStatus { kOk = 0, kRefused = 1, kUsage = 2 };

struct CtlEnvironment {
    platform::Registry& registry;
    platform::FileSystem& files;
    platform::System& system;
    std::istream& in;
    std::ostream& out;
    std::ostream& err;
};

// Runs one command line (without the program name); returns the exit status.
int runCtl(const std::vector<std::string>& args, CtlEnvironment& env);

}  // namespace ombrix::app

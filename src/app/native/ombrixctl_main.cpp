// ombrixctl natively: the same commands on the file-backed registry.
#include <termios.h>
#include <unistd.h>

#include <iostream>
#include <string>
#include <vector>

#include "app/ctl.h"
#include "app/ctl_streams.h"
#include "platform/file_registry.h"
#include "platform/filesystem.h"
#include "platform/folder_access.h"
#include "platform/standard_input.h"
#include "platform/system.h"

namespace {

class StdinTerminal final : public ombrix::app::Terminal {
public:
    bool setEcho(bool on) override {
        termios mode{};
        if (tcgetattr(STDIN_FILENO, &mode) != 0) return false;
        if (on) mode.c_lflag |= ECHO;
        else mode.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        return tcsetattr(STDIN_FILENO, TCSAFLUSH, &mode) == 0;
    }
};

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> args(argv + 1, argv + argc);
    StdinTerminal terminal;
    ombrix::app::StandardStreams streams(ombrix::platform::standardInput(), std::cout);
    ombrix::app::CtlEnvironment env{ombrix::platform::systemRegistry(), ombrix::platform::realFileSystem(),
                                    ombrix::platform::realSystem(), streams.in(), std::cout, std::cerr,
                                    isatty(STDIN_FILENO) ? &terminal : nullptr};
    env.folderAccess = &ombrix::platform::realFolderAccess();
    return ombrix::app::runCtl(args, env);
}

#pragma once
// Starting programs and opening addresses with the shell.

#include <string>

namespace ombrix::platform {

// The classic window styles of a started program: 0 hidden, 1 normal with
// the focus, 2 minimised, 3 maximised, 4 normal and 6 minimised without it.
inline constexpr int kNormalFocus = 1;

class Shell {
public:
    virtual ~Shell() = default;
    // The shell's default action on an address or file (ShellExecute, no verb).
    virtual bool open(const std::string& target, const std::string& workingFolder, int windowStyle) = 0;
    // Runs a command line with the given window style (the classic Shell call).
    virtual bool run(const std::string& commandLine, int windowStyle) = 0;
};

}  // namespace ombrix::platform

#pragma once
// Runs a program of ours with administrator rights, through the system's
// consent prompt, and waits for its end. The administrator's changes go this
// way when the process asking for them is not elevated.

#include <windows.h>

#include <string>
#include <string_view>

namespace ombrix::win32 {

struct ElevatedRun {
    enum class Outcome { Ended, Refused, Failed };
    Outcome outcome = Outcome::Failed;
    DWORD exitCode = 1;  // when Ended
    std::string error;   // when Failed: the system's message
};

// `parameters` is one command line (quote each argument with quoteArgument).
// `show` is the child's first show command (SW_HIDE for a console program).
// With `pumpMessages`, this thread's messages are dispatched while waiting,
// so its timers keep running; the caller disables its own windows first.
// Refused: the person at the prompt said no.
[[nodiscard]] ElevatedRun runElevated(const std::wstring& program, const std::wstring& parameters, int show,
                                      bool pumpMessages);

// One argument quoted so that CommandLineToArgvW gives it back unchanged.
[[nodiscard]] std::wstring quoteArgument(std::wstring_view argument);

}  // namespace ombrix::win32

#pragma once
// Runs a program of ours with administrator rights, through the system's
// consent prompt, and waits for its end. The administrator's changes go this
// way when the process asking for them is not elevated.

#include <windows.h>

#include <string>
#include <string_view>
#include <vector>

#include "platform/elevated_run.h"

namespace ombrix::win32 {

// Each argument is quoted so that the program reads it back unchanged.
// `show` is the child's first show command (SW_HIDE for a console program).
// With `pumpMessages`, this thread's messages are dispatched while waiting,
// so its timers keep running; the caller disables its own windows first.
[[nodiscard]] platform::ElevatedRun runElevated(const std::wstring& program, const std::vector<std::string>& arguments,
                                                int show, bool pumpMessages);

// One argument quoted so that CommandLineToArgvW gives it back unchanged.
[[nodiscard]] std::wstring quoteArgument(std::wstring_view argument);

}  // namespace ombrix::win32

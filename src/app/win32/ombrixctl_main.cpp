// ombrixctl.exe: wide arguments from the system, UTF-8 to the console.
#include <windows.h>

#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

#include "app/ctl.h"
#include "app/ctl_streams.h"
#include "app/win32/ctl_elevator_win32.h"
#include "app/win32/guard_control_win32.h"
#include "lockdown/shell_lock.h"
#include "lockdown/win32/shell_win32.h"
#include "platform/file_registry.h"
#include "platform/filesystem.h"
#include "platform/folder_access.h"
#include "platform/standard_input.h"
#include "platform/system.h"
#include "platform/win32/debugger_output.h"
#include "platform/win32/machine.h"
#include "platform/win32/wide.h"

namespace {

class ConsoleInput final : public ombrix::app::Terminal {
public:
    bool setEcho(bool on) override {
        const HANDLE in = GetStdHandle(STD_INPUT_HANDLE);
        DWORD mode = 0;
        if (!GetConsoleMode(in, &mode)) return false;
        return SetConsoleMode(in, on ? (mode | ENABLE_ECHO_INPUT) : (mode & ~static_cast<DWORD>(ENABLE_ECHO_INPUT))) != 0;
    }
};

// Nothing here runs timers: the desktop timers' later retries are the
// running program's.
class NoTimers final : public ombrix::core::Timers {
public:
    void setEnabled(ombrix::core::TimerId, bool) override {}
    bool isEnabled(ombrix::core::TimerId) const override { return false; }
};

bool stdinIsConsole() {
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(STD_INPUT_HANDLE), &mode) != 0;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    // Its failures join the program's trace: an installer's silent run
    // (upgrade, protect, restore) has no one watching either.
    ombrix::win32::sendFailuresToDebugger();
    SetConsoleOutputCP(CP_UTF8);
    std::vector<std::string> args;
    for (int i = 1; i < argc; ++i) args.push_back(ombrix::win32::fromWide(argv[i]));
    ConsoleInput console;
    // Standard input is read as it is (the seam reads the bytes, untranslated):
    // text mode would end a UTF-16 list at its first 0x1A byte (the low byte
    // of a "К") and fold the bytes CR LF inside a character; the readers tell
    // line ends themselves.
    ombrix::app::StandardStreams streams(ombrix::platform::standardInput(), std::cout);
    ombrix::app::CtlEnvironment env{ombrix::platform::systemRegistry(), ombrix::platform::realFileSystem(),
                                    ombrix::platform::realSystem(), streams.in(), std::cout, std::cerr,
                                    stdinIsConsole() ? &console : nullptr};
    const auto printers = ombrix::win32::makePrinters();
    env.printers = printers.get();
    env.folderAccess = &ombrix::platform::realFolderAccess();
    ombrix::win32::Machine& m = ombrix::win32::machine();
    ombrix::win32::ShellWindowsWin32 shellWindows;
    ombrix::win32::InputHooksWin32 hooks;
    NoTimers timers;
    ombrix::lockdown::ShellLock shell({shellWindows, hooks, m.processes(), m.clock(), m.pump(),
                                       m.shell(), m.system(), timers},
                                      {});
    env.desktop = &shell;
    ombrix::app::ElevatorWin32 elevator;
    env.elevator = &elevator;
    ombrix::win32::GuardControlWin32 guard;
    env.guard = &guard;
    return ombrix::app::runCtl(args, env);
}

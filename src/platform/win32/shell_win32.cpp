#include <windows.h>
// shellapi.h needs the types of windows.h first.
#include <shellapi.h>

#include <optional>

#include "platform/failures.h"
#include "platform/win32/handles.h"
#include "platform/win32/machine.h"
#include "platform/win32/wide.h"

namespace ombrix::win32 {
namespace {

// The classic Shell call's window styles, 0 to 6, as show states; 5 is not
// one of its named styles and shows the window as it is.
std::optional<WORD> showStateOfWindowStyle(int style) {
    switch (style) {
        case 0: return SW_HIDE;
        case 1: return SW_SHOWNORMAL;
        case 2: return SW_SHOWMINIMIZED;
        case 3: return SW_SHOWMAXIMIZED;
        case 4: return SW_SHOWNOACTIVATE;
        case 5: return SW_SHOW;
        case 6: return SW_SHOWMINNOACTIVE;
        default: return std::nullopt;
    }
}

class Win32Shell final : public platform::Shell {
public:
    bool open(const std::string& target, const std::string& workingFolder, int windowStyle) override {
        // Callers sit in timers: nothing may escape.
        return platform::guarded([&] { return openOrThrow(target, workingFolder, windowStyle); });
    }

    bool run(const std::string& commandLine, int windowStyle) override {
        return platform::guarded([&] { return runOrThrow(commandLine, windowStyle); });
    }

private:
    static bool openOrThrow(const std::string& target, const std::string& workingFolder, int windowStyle) {
        const std::optional<WORD> show = showStateOfWindowStyle(windowStyle);
        if (!show || target.empty()) return false;
        const std::wstring file = toWide(target);
        const std::wstring folder = toWide(workingFolder);
        const HINSTANCE rc = ShellExecuteW(nullptr, nullptr, file.c_str(), nullptr,
                                           folder.empty() ? nullptr : folder.c_str(), *show);
        // Values up to 32 are the call's error codes.
        return reinterpret_cast<INT_PTR>(rc) > 32;
    }

    // The command line goes to the system as it is: administrators type
    // unquoted paths with blanks and names without ".exe" as start pages,
    // and the system's own resolution is what makes those work.
    static bool runOrThrow(const std::string& commandLine, int windowStyle) {
        const std::optional<WORD> show = showStateOfWindowStyle(windowStyle);
        if (!show || commandLine.empty()) return false;
        std::wstring line = toWide(commandLine);  // CreateProcessW may write into it
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        startup.dwFlags = STARTF_USESHOWWINDOW;
        startup.wShowWindow = *show;
        PROCESS_INFORMATION info{};
        if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &info)) {
            return false;
        }
        const UniqueKernelHandle process(info.hProcess);
        const UniqueKernelHandle thread(info.hThread);
        return true;
    }
};

}  // namespace

std::unique_ptr<platform::Shell> makeShell() { return std::make_unique<Win32Shell>(); }

}  // namespace ombrix::win32

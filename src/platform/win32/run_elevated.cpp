#include "platform/win32/run_elevated.h"

#include <shellapi.h>

#include "platform/win32/handles.h"
#include "platform/win32/wide.h"

namespace ombrix::win32 {
namespace {

void waitPumping(HANDLE process) {
    while (true) {
        const DWORD r = MsgWaitForMultipleObjects(1, &process, FALSE, INFINITE, QS_ALLINPUT);
        if (r != WAIT_OBJECT_0 + 1) return;  // ended, or the wait itself failed
        MSG msg;
        while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
            if (msg.message == WM_QUIT) {
                // Left for the caller's own loop, which ends the program.
                PostQuitMessage(static_cast<int>(msg.wParam));
                WaitForSingleObject(process, INFINITE);
                return;
            }
            TranslateMessage(&msg);
            DispatchMessageW(&msg);
        }
    }
}

}  // namespace

platform::ElevatedRun runElevated(const std::wstring& program, const std::vector<std::string>& arguments, int show,
                                  bool pumpMessages) {
    std::wstring parameters;
    for (const std::string& argument : arguments) {
        if (!parameters.empty()) parameters += L' ';
        parameters += quoteArgument(toWide(argument));
    }
    SHELLEXECUTEINFOW info{};
    info.cbSize = sizeof info;
    info.fMask = SEE_MASK_NOCLOSEPROCESS | SEE_MASK_NOASYNC | SEE_MASK_FLAG_NO_UI;
    info.lpVerb = L"runas";
    info.lpFile = program.c_str();
    info.lpParameters = parameters.c_str();
    info.nShow = show;
    using platform::ElevatedRun;
    ElevatedRun run;
    if (!ShellExecuteExW(&info)) {
        const DWORD code = GetLastError();
        run.outcome = code == ERROR_CANCELLED ? ElevatedRun::Outcome::Refused : ElevatedRun::Outcome::Failed;
        run.error = systemMessage(code);
        return run;
    }
    if (!info.hProcess) {
        run.error = "no process was started";
        return run;
    }
    const UniqueKernelHandle process(info.hProcess);
    if (pumpMessages) {
        waitPumping(process.get());
    } else {
        WaitForSingleObject(process.get(), INFINITE);
    }
    DWORD code = 1;
    if (!GetExitCodeProcess(process.get(), &code)) {
        run.error = systemMessage(GetLastError());
        return run;
    }
    run.outcome = ElevatedRun::Outcome::Ended;
    run.exitCode = static_cast<int>(code);
    return run;
}

std::wstring quoteArgument(std::wstring_view argument) {
    if (!argument.empty() && argument.find_first_of(L" \t\n\v\"") == std::wstring_view::npos) {
        return std::wstring(argument);
    }
    std::wstring quoted = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t c : argument) {
        if (c == L'\\') {
            ++backslashes;
            continue;
        }
        // Backslashes count only before a quote: doubled there, and the quote escaped.
        quoted.append(c == L'"' ? backslashes * 2 + 1 : backslashes, L'\\');
        backslashes = 0;
        quoted += c;
    }
    quoted.append(backslashes * 2, L'\\');
    quoted += L'"';
    return quoted;
}

}  // namespace ombrix::win32

// ombrix.exe: the running program, or one administrator form when a second
// copy of it was started for that through the consent prompt.
#include <windows.h>

#include <commctrl.h>

#include "app/win32/administration_mode.h"
#include "app/win32/program.h"
#include "platform/failures.h"
#include "platform/win32/debugger_output.h"

namespace {

int run() {
    ombrix::win32::Program program;
    return program.run();
}

}  // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, PWSTR, int) {
    SetDllDirectoryW(L"");
    ombrix::win32::sendFailuresToDebugger();
    INITCOMMONCONTROLSEX icc{sizeof icc, ICC_STANDARD_CLASSES | ICC_WIN95_CLASSES};
    InitCommonControlsEx(&icc);
    int status = 1;
    try {
        const std::optional<int> administered = ombrix::win32::runAdministrationModeIfAsked();
        status = administered ? *administered : run();
    } catch (...) {
        ombrix::platform::recordCurrentFailure();
        status = 1;
    }
    return status;
}

#include "app/win32/elevated_starter.h"

#include <windows.h>

#include "core/store_location.h"
#include "platform/win32/run_elevated.h"
#include "platform/win32/wide.h"

namespace ombrix::win32 {

ElevatedStarterWin32::ElevatedStarterWin32(const std::string& programFolder, const std::string& programFile)
    : program_(toWide(core::joinPath(programFolder, programFile, '\\'))),
      control_(toWide(core::joinPath(programFolder, "ombrixctl.exe", '\\'))) {}

app::ElevatedOutcome ElevatedStarterWin32::runForm(app::AdminForm form) {
    return runElevated(program_, {std::string(app::kAdministerSwitch), std::string(app::adminFormName(form))},
                       SW_SHOWNORMAL, true);
}

app::ElevatedOutcome ElevatedStarterWin32::runControl(const std::vector<std::string>& arguments) {
    return runElevated(control_, arguments, SW_HIDE, true);
}

}  // namespace ombrix::win32

#include "app/win32/elevated_starter.h"

#include <windows.h>

#include "core/store_location.h"
#include "platform/win32/run_elevated.h"
#include "platform/win32/wide.h"

namespace ombrix::win32 {
namespace {

app::ElevatedOutcome outcomeOf(const ElevatedRun& run) {
    app::ElevatedOutcome outcome;
    switch (run.outcome) {
        case ElevatedRun::Outcome::Ended: outcome.kind = app::ElevatedOutcome::Kind::Ended; break;
        case ElevatedRun::Outcome::Refused: outcome.kind = app::ElevatedOutcome::Kind::Refused; break;
        case ElevatedRun::Outcome::Failed: outcome.kind = app::ElevatedOutcome::Kind::Failed; break;
    }
    outcome.exitCode = run.exitCode;
    outcome.error = run.error;
    return outcome;
}

}  // namespace

ElevatedStarterWin32::ElevatedStarterWin32(const std::string& programFolder, const std::string& programFile)
    : program_(toWide(core::joinPath(programFolder, programFile, '\\'))),
      control_(toWide(core::joinPath(programFolder, "ombrixctl.exe", '\\'))) {}

app::ElevatedOutcome ElevatedStarterWin32::runForm(app::AdminForm form) {
    const std::wstring parameters =
        toWide(app::kAdministerSwitch) + L" " + toWide(app::adminFormName(form));
    return outcomeOf(runElevated(program_, parameters, SW_SHOWNORMAL, true));
}

app::ElevatedOutcome ElevatedStarterWin32::runControl(const std::vector<std::string>& arguments) {
    std::wstring parameters;
    for (const std::string& argument : arguments) {
        if (!parameters.empty()) parameters += L' ';
        parameters += quoteArgument(toWide(argument));
    }
    return outcomeOf(runElevated(control_, parameters, SW_HIDE, true));
}

}  // namespace ombrix::win32

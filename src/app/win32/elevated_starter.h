#pragma once
// The consent prompt for the running program: another ombrix.exe showing
// one administrator form, or ombrixctl beside it, run elevated and waited
// for while this thread's messages (and so the program's timers) go on.

#include <string>
#include <vector>

#include "app/administration.h"

namespace ombrix::win32 {

class ElevatedStarterWin32 final : public app::ElevatedStarter {
public:
    // `programFolder` and `programFile`: where this program is and its file name.
    ElevatedStarterWin32(const std::string& programFolder, const std::string& programFile);
    app::ElevatedOutcome runForm(app::AdminForm form) override;
    app::ElevatedOutcome runControl(const std::vector<std::string>& arguments) override;

private:
    std::wstring program_;
    std::wstring control_;
};

}  // namespace ombrix::win32

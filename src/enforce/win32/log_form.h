#pragma once
// frmLogSiti: the administrator's view of the visited-sites log. It can
// switch the log on and off, show a date range newest first, and empty it.

#include <windows.h>

#include <functional>

#include "core/database.h"
#include "platform/clock.h"
#include "platform/dialogs.h"

namespace ombrix {
class Language;
}

namespace ombrix::win32 {

struct LogFormContext {
    core::Database& db;
    Language& language;
    platform::Dialogs& dialogs;
    platform::Clock& clock;
    bool logSwitch;  // the program-wide copy, as the form opens
    // Called after Opzioni.LogSiti changed, with the new value.
    std::function<void(bool)> onLogSwitchChanged;
};

// Modal.
void showLogForm(HWND owner, LogFormContext& context);

}  // namespace ombrix::win32

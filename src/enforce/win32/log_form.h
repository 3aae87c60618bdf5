#pragma once
// frmLogSiti: the administrator's view of the visited-sites log. It can
// switch the log on and off (in the store), show a date range newest first,
// and empty it (in the log's own file).

#include <windows.h>

#include <functional>

#include "core/database.h"
#include "enforce/log_file.h"
#include "platform/clock.h"
#include "platform/dialogs.h"

namespace ombrix {
class Language;
}

namespace ombrix::win32 {

struct LogFormContext {
    core::Database& db;  // the store, for Opzioni.LogSiti
    enforce::VisitedSitesLog& log;
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

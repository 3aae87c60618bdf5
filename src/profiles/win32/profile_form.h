#pragma once
// frmProfili: the administrator's editor of the profiles, a window over
// profiles::ProfileEditor, which holds every rule.

#include <windows.h>

#include "core/database.h"
#include "platform/dialogs.h"

namespace ombrix {
class Language;
}

namespace ombrix::win32 {

struct ProfileFormContext {
    core::Database& db;
    Language& language;
    platform::Dialogs& dialogs;
};

// Modal. The caller reads the profiles and the profile in use again afterwards.
void showProfileForm(HWND owner, ProfileFormContext& context);

}  // namespace ombrix::win32

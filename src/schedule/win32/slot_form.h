#pragma once
// frmPeriodi: the administrator's editor of the three daily time slots, the
// profile for the hours they leave, and the switch that puts them in force.

#include <windows.h>

#include "core/database.h"
#include "core/policy_locks.h"
#include "platform/dialogs.h"

namespace ombrix {
class Language;
}

namespace ombrix::win32 {

struct SlotFormContext {
    core::Database& db;
    Language& language;
    platform::Dialogs& dialogs;
    // The slots and the switch the policy key decides: shown, not changed.
    core::policy::Locks locks{};
};

// Modal. The caller reads the slots and the switch again afterwards.
void showSlotForm(HWND owner, SlotFormContext& context);

}  // namespace ombrix::win32

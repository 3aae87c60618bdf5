#pragma once
// frmPeriodi: the administrator's editor of the three daily time slots, the
// profile for the hours they leave, and the switch that puts them in force.

#include <windows.h>

#include "core/database.h"
#include "platform/dialogs.h"

namespace ombrix {
class Language;
}

namespace ombrix::win32 {

struct SlotFormContext {
    core::Database& db;
    Language& language;
    platform::Dialogs& dialogs;
};

// Modal. The caller reads the slots and the switch again afterwards.
void showSlotForm(HWND owner, SlotFormContext& context);

}  // namespace ombrix::win32

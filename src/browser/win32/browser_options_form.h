#pragma once
// frmOpzioniBrowser: the internal browser's two switches (no pop-ups, no
// printing), each saved in the store the moment its box is clicked. The
// store is the administrator's: without rights the form runs in the copy of
// the program that the consent prompt starts.

#include <windows.h>

#include "core/database.h"

namespace ombrix {
class Language;
}

namespace ombrix::win32 {

// Modal.
void showBrowserOptionsForm(HWND owner, Language& language, core::Database& store);

}  // namespace ombrix::win32

#pragma once
// frmOpzioniBrowser: the internal browser's two switches (no pop-ups, no
// printing), each saved the moment its box is clicked.

#include <windows.h>

#include "platform/registry.h"

namespace ombrix {
class Language;
}

namespace ombrix::win32 {

// Modal.
void showBrowserOptionsForm(HWND owner, Language& language, platform::Registry& registry);

}  // namespace ombrix::win32

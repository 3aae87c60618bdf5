#pragma once
// frmOpzioni: the administrator password, asked twice.

#include <windows.h>

namespace ombrix {
class Language;
}

namespace ombrix::core {
class Controller;
}

namespace ombrix::win32 {

// Modal. True when the controller stored a new password.
bool showOptionsForm(HWND owner, Language& language, core::Controller& controller);

}  // namespace ombrix::win32

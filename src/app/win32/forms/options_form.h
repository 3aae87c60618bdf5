#pragma once
// frmOpzioni: the administrator password, asked twice.

#include <windows.h>

#include <functional>
#include <string>

namespace ombrix {
class Language;
}

namespace ombrix::win32 {

// cmdSalva's work: the password and its confirmation; true when stored
// (the form closes), otherwise the reason was shown and the form stays.
using SavePassword = std::function<bool(const std::string& password, const std::string& confirmation)>;

// Modal. True when a new password was stored. While the password is
// managed (the policy key sets it) the form says so instead of asking.
bool showOptionsForm(HWND owner, Language& language, const SavePassword& save, bool passwordManaged);

}  // namespace ombrix::win32

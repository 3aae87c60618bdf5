#pragma once
// ombrix.exe "/amministra <form>": the copy of the program that the consent
// prompt starts with administrator rights to show one form that writes the
// store. No enforcement, no tray icon, no lockdown, no single-instance
// check: it opens the store, shows the form and ends.

#include <optional>

namespace ombrix::win32 {

// nullopt when the command line does not ask for the mode; otherwise the
// mode has run and this is the program's exit code.
[[nodiscard]] std::optional<int> runAdministrationModeIfAsked();

}  // namespace ombrix::win32

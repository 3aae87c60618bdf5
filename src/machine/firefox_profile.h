#pragma once
// Where Firefox keeps the user's profile, and its saved session.

#include <string>

#include "platform/filesystem.h"
#include "platform/system.h"

namespace ombrix::core {

// The profile folder named by the first "Path=" line of profiles.ini under
// `appData` (the APPDATA folder), "/" turned into the separator; "" when there is none.
[[nodiscard]] std::string firefoxProfilePath(const std::string& appData, char separator = platform::pathSeparator());

// Deletes the profile's saved session ("\sessionstore.js"), so a browser
// that was terminated does not bring its pages back. Tries a few times while
// the browser still holds the file; true when it is gone.
bool clearFirefoxSession(platform::FileSystem& files, const std::string& profileFolder,
                         char separator = platform::pathSeparator());

}  // namespace ombrix::core

#pragma once
// Terminating and finding running processes by image name: the whole name,
// letter case ignored ("chrome" never matches "chrome.exe").

#include <string_view>

#include "platform/processes.h"

namespace ombrix::enforce {

// Terminates every running process with this image name. Returns the result
// of the last termination (1: it succeeded, 0: it failed), or 0 when no
// process has that name.
int KillProcess(platform::Processes& processes, std::string_view imageName);

[[nodiscard]] bool IsProcessRunning(platform::Processes& processes, std::string_view imageName);

}  // namespace ombrix::enforce

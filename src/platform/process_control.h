#pragma once
// Terminating and finding running processes by image name: the whole name,
// letter case ignored ("chrome" never matches "chrome.exe").

#include <string_view>

#include "platform/clock.h"
#include "platform/processes.h"

namespace ombrix::platform {

// Internet Explorer's image name with a stray r. No browser is called so, yet
// closing the browsers ends a program of this name too, before Internet
// Explorer itself: a program saved under the near-miss goes with the browsers.
inline constexpr std::string_view kMisspeltInternetExplorer = "iexplorer.exe";

// Terminates every running process with this image name. Returns the result
// of the last termination (1: it succeeded, 0: it failed), or 0 when no
// process has that name.
int KillProcess(platform::Processes& processes, std::string_view imageName);

[[nodiscard]] bool IsProcessRunning(platform::Processes& processes, std::string_view imageName);

// Terminates until none is left, letting messages run between tries. A
// process that outlives 50 terminations must not hold the caller for ever.
void killUntilGone(Processes& processes, EventPump& pump, std::string_view imageName);

// A forbidden program is also known by the names its executable keeps inside
// (Processes::originalNames), compared as the image name is: a forbidden
// "gioco.exe" copied as "appunti.exe" is still "gioco.exe". A program without
// them is judged by its image name alone.
[[nodiscard]] bool isProgram(Processes& processes, const ProcessEntry& process, std::string_view name);
int KillForbiddenProcess(Processes& processes, std::string_view name);
void killForbiddenUntilGone(Processes& processes, EventPump& pump, std::string_view name);

}  // namespace ombrix::platform

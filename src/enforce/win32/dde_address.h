#pragma once
// Reading a browser's address through DDE ("WWW_GetWindowInfo"), as the
// unwired Opera blockers and the helpers TitoloChrome and IndirizzoFirefoxDDE
// did. Kept for them; no active path of the program calls these.

#include <string>
#include <string_view>

namespace ombrix::win32 {

// The first double-quoted field of the reply of `service` to topic
// "WWW_GetWindowInfo", item "0xffffffff" (the active window); "" when there is
// no such server or it does not answer within `timeoutMs`.
[[nodiscard]] std::string ddeWindowAddress(std::wstring_view service, unsigned timeoutMs = 2000) noexcept;

[[nodiscard]] inline std::string TitoloChrome() noexcept { return ddeWindowAddress(L"Chrome"); }
[[nodiscard]] inline std::string IndirizzoFirefoxDDE() noexcept { return ddeWindowAddress(L"Firefox"); }
[[nodiscard]] inline std::string IndirizzoOperaDDE() noexcept { return ddeWindowAddress(L"Opera"); }

}  // namespace ombrix::win32

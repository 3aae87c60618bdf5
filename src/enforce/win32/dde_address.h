#pragma once
// Reading a browser's address through DDE ("WWW_GetWindowInfo"), for the
// blockers no timer calls (enforce/unwired_blockers.h).

#include <string>
#include <string_view>

namespace ombrix::win32 {

// The first double-quoted field of the reply of `service` to topic
// "WWW_GetWindowInfo", item "0xffffffff" (the active window); "" when there is
// no such server or it does not answer within `timeoutMs`.
[[nodiscard]] std::string ddeWindowAddress(std::wstring_view service, unsigned timeoutMs = 2000) noexcept;

}  // namespace ombrix::win32

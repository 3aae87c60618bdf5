#pragma once
// A host name in the ASCII form browsers' policies and the network use: each
// label outside ASCII in its punycode form ("città.it" -> "xn--citt-3na.it").
// The system's conversion on Windows, libidn2 natively; nothing here is ours.

#include <optional>
#include <string>
#include <string_view>

namespace ombrix::platform {

// The host (UTF-8) lowered and in ASCII; nullopt when it is no valid name.
[[nodiscard]] std::optional<std::string> hostToAscii(std::string_view host);

}  // namespace ombrix::platform

#include <idn2.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "platform/idn.h"

namespace ombrix::platform {

std::optional<std::string> hostToAscii(std::string_view host) {
    if (host.empty()) return std::nullopt;
    const std::string input(host);
    char* output = nullptr;
    // UTS #46 mapping lowers and normalises as the browsers do.
    if (idn2_to_ascii_8z(input.c_str(), &output, IDN2_NFC_INPUT | IDN2_NONTRANSITIONAL) != IDN2_OK) {
        return std::nullopt;
    }
    const std::unique_ptr<char, decltype(&std::free)> owned(output, &std::free);
    return std::string(output);
}

}  // namespace ombrix::platform

#pragma once
// Whether the guard service is installed on this machine: it then starts the
// program in every session, in place of the Run entries. Read from the
// service's registration, which every user may read and only the service
// control manager (an administrator) writes.

#include <string>

#include "platform/registry.h"

namespace ombrix::core {

inline constexpr const char* kGuardServiceKey = "SYSTEM\\CurrentControlSet\\Services\\OmbrixGuard";

[[nodiscard]] inline bool guardServiceInstalled(platform::Registry& registry) {
    const auto image = registry.readValue(platform::RegRoot::LocalMachine, kGuardServiceKey, "ImagePath");
    return image && !image->empty();
}

// The administrator's exit when the program runs with administrator rights
// itself: the guard is asked directly to leave this session alone.
class GuardChannel {
public:
    virtual ~GuardChannel() = default;
    // True when the service agreed, or runs no more; otherwise `why` says.
    [[nodiscard]] virtual bool standDown(std::string& why) = 0;
};

}  // namespace ombrix::core

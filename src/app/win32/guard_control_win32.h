#pragma once
// The guard service through the service control manager and its channel:
// ombrixctl's `service` command, and the running program's exit when it
// holds administrator rights itself.

#include "app/ctl.h"
#include "core/guard_service.h"

namespace ombrix::win32 {

class GuardControlWin32 final : public app::GuardControl, public core::GuardChannel {
public:
    std::optional<State> state(std::string& error) override;
    bool start(std::string& error) override;
    bool stop(std::string& error) override;
    std::optional<std::string> ask(const std::string& request, std::string& error) override;
    bool standDown(std::string& why) override;
};

}  // namespace ombrix::win32

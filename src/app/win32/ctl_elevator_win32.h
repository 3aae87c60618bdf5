#pragma once
// ombrixctl's way through the consent prompt on Windows: the same
// executable, started with "runas", hidden unless it must ask for typing.

#include "app/ctl.h"

namespace ombrix::app {

class ElevatorWin32 final : public Elevator {
public:
    std::optional<std::string> privateFolder(std::string& error) override;
    Run run(const std::vector<std::string>& args, bool ownConsole) override;
};

}  // namespace ombrix::app

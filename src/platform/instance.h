#pragma once
// One program per machine session: a second start ends silently.

namespace ombrix::platform {

class InstanceGuard {
public:
    virtual ~InstanceGuard() = default;
    // Claims the program's name for this process; true when another running
    // instance holds it already.
    [[nodiscard]] virtual bool anotherInstanceRunning() = 0;
};

}  // namespace ombrix::platform

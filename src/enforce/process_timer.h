#pragma once
// The process timer (TimerId::ForbiddenProcesses): ends every forbidden
// process, and hands the first browser it ends in a tick over to the
// internal browser or the start page.

#include "enforce/timer_part.h"

namespace ombrix::enforce {

class ProcessTimer final : public TimerPart {
public:
    using TimerPart::TimerPart;
    void tick() noexcept;

private:
    bool browserHandedOver_ = false;
};

}  // namespace ombrix::enforce

#pragma once
// The task manager timer (TimerId::KillTaskManager): ends the task manager
// and the configuration tool, and keeps the program's notices on top.

#include "enforce/timer_part.h"

namespace ombrix::enforce {

class TaskManagerTimer final : public TimerPart {
public:
    using TimerPart::TimerPart;
    void tick() noexcept;
};

}  // namespace ombrix::enforce

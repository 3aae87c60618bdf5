#pragma once
// The log timer (TimerId::SiteLog): writes each address the
// browsers show, once, to the visited-sites log while the log is on.

#include "enforce/timer_part.h"

namespace ombrix::enforce {

class LogTimer final : public TimerPart {
public:
    using TimerPart::TimerPart;
    void tick() noexcept;
};

}  // namespace ombrix::enforce

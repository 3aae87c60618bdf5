#pragma once
// The window timer (TimerId::CloseWindows): closes each window whose
// title is on the profile's list, silently for titles so marked.

#include "enforce/timer_part.h"

namespace ombrix::enforce {

class WindowTimer final : public TimerPart {
public:
    using TimerPart::TimerPart;
    void tick() noexcept;
    void closeForbiddenWindows();
};

}  // namespace ombrix::enforce

#include "platform/process_view.h"

namespace ombrix::platform {

std::vector<ProcessEntry> SharedProcessView::snapshot() {
    const std::uint64_t now = clock_.tickMilliseconds();
    if (stale_ || now - takenAt_ >= maxAgeMs_) {
        view_ = system_.snapshot();
        takenAt_ = now;
        stale_ = false;
        ++taken_;
    }
    return view_;
}

bool SharedProcessView::terminate(std::uint32_t id) {
    // Whether it ended or was already gone, the view no longer holds.
    stale_ = true;
    return system_.terminate(id);
}

}  // namespace ombrix::platform

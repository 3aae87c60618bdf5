#pragma once
// What the browser window's progress bar shows for one progress event of
// the page: how far along, and the same as "nn%".

#include <string>

namespace ombrix::browser {

struct ProgressShown {
    int percent = 0;      // 0 to 100
    std::string caption;  // "nn%", or empty when the bar is reset
    bool operator==(const ProgressShown&) const = default;
};

// The control's "done" (a negative progress) and an event without a
// maximum reset the bar; anything past the maximum is 100%.
[[nodiscard]] ProgressShown progressShown(long long progress, long long progressMax);

}  // namespace ombrix::browser

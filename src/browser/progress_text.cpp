#include "browser/progress_text.h"

#include <algorithm>

namespace ombrix::browser {

ProgressShown progressShown(long long progress, long long progressMax) {
    if (progress < 0 || progressMax <= 0) return {};
    // Both are the control's 32-bit counts: no product of them overflows here.
    const auto percent = static_cast<int>(std::min<long long>(100, progress * 100 / progressMax));
    return {percent, std::to_string(percent) + "%"};
}

}  // namespace ombrix::browser

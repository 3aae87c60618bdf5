#include "core/clock_time.h"

namespace ombrix::core {
namespace {

// Two digits at `at`, or -1.
int twoDigits(std::string_view s, std::size_t at) {
    if (at + 2 > s.size()) return -1;
    const char a = s[at], b = s[at + 1];
    if (a < '0' || a > '9' || b < '0' || b > '9') return -1;
    return (a - '0') * 10 + (b - '0');
}

}  // namespace

std::optional<int> clockTimeOfDay(std::string_view t) {
    if (t.size() != 5 && t.size() != 8) return std::nullopt;
    const int h = twoDigits(t, 0), m = twoDigits(t, 3);
    int s = 0;
    if (t[2] != ':') return std::nullopt;
    if (t.size() == 8) {
        if (t[5] != ':') return std::nullopt;
        s = twoDigits(t, 6);
    }
    if (h < 0 || h > 23 || m < 0 || m > 59 || s < 0 || s > 59) return std::nullopt;
    return h * 3600 + m * 60 + s;
}

}  // namespace ombrix::core

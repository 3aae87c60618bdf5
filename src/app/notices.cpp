#include "app/notices.h"

namespace ombrix::core {

long long NoticeCountdown::elapsedSeconds(std::uint64_t nowMs) const {
    const std::uint64_t ms = nowMs >= loadedAtMs_ ? nowMs - loadedAtMs_ : 0;
    return static_cast<long long>((ms + 500) / 1000);
}

std::string NoticeCountdown::caption(std::uint64_t nowMs) const {
    return "OK (" + std::to_string(11 - elapsedSeconds(nowMs)) + ")";
}

bool NoticeLife::show(std::uint64_t nowMs) {
    if (countdown_) return false;
    countdown_.emplace(nowMs);
    return true;
}

std::string NoticeLife::caption(std::uint64_t nowMs) const { return countdown_ ? countdown_->caption(nowMs) : ""; }

bool NoticeLife::tick(std::uint64_t nowMs) {
    if (!countdown_ || !countdown_->shouldClose(nowMs)) return false;
    countdown_.reset();
    return true;
}

std::string closingText(const std::string& text, int secondOfMinute) {
    const int dots = ((secondOfMinute % 10) + 10) % 10;
    return text + std::string(static_cast<std::size_t>(dots), '.');
}

}  // namespace ombrix::core

#pragma once
// The timing rules of the two small notice forms.

#include <cstdint>
#include <optional>
#include <string>

namespace ombrix::core {

// frmMessaggio: the OK button counts down from 11 and the form closes itself
// on the first tick after more than 10 whole seconds.
class NoticeCountdown {
public:
    explicit NoticeCountdown(std::uint64_t loadedAtMs) : loadedAtMs_(loadedAtMs) {}
    // Whole seconds since load, rounded to the nearest.
    [[nodiscard]] long long elapsedSeconds(std::uint64_t nowMs) const;
    // "OK (n)" with n = 11 - elapsed.
    [[nodiscard]] std::string caption(std::uint64_t nowMs) const;
    [[nodiscard]] bool shouldClose(std::uint64_t nowMs) const { return elapsedSeconds(nowMs) > 10; }

private:
    std::uint64_t loadedAtMs_;
};

// frmMessaggio's life: the first notice loads it and starts the countdown;
// a notice while it is shown changes the text, not the countdown, so a
// steady stream of notices still closes it about 10 s after it was loaded.
// OK or the countdown closes it, and the next notice loads it again.
class NoticeLife {
public:
    // A notice arrives; true when it loads the form (its timer starts).
    bool show(std::uint64_t nowMs);
    [[nodiscard]] bool loaded() const { return countdown_.has_value(); }
    [[nodiscard]] std::string caption(std::uint64_t nowMs) const;
    // The timer's tick: true when the form closes itself now.
    bool tick(std::uint64_t nowMs);
    void closed() { countdown_.reset(); }

private:
    std::optional<NoticeCountdown> countdown_;
};

inline constexpr std::uint32_t kNoticeTickMs = 500;
inline constexpr std::uint32_t kClosingTickMs = 300;

// frmChiusuraInCorso: the text, then as many dots as the last digit of the
// time of day's seconds.
[[nodiscard]] std::string closingText(const std::string& text, int secondOfMinute);

}  // namespace ombrix::core

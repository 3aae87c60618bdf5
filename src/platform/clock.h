#pragma once
// The time of day and a millisecond tick, so tests can move time.

#include <cstdint>

namespace ombrix::platform {

struct LocalTime {
    int year = 2000, month = 1, day = 1;
    int hour = 0, minute = 0, second = 0;
};

class Clock {
public:
    virtual ~Clock() = default;
    [[nodiscard]] virtual LocalTime now() = 0;
    // Milliseconds since some fixed moment (GetTickCount64).
    [[nodiscard]] virtual std::uint64_t tickMilliseconds() = 0;
};

// Lets pending window messages run (timers included) inside a long handler.
class EventPump {
public:
    virtual ~EventPump() = default;
    virtual void doEvents() = 0;
};

}  // namespace ombrix::platform

#pragma once
// Synthesised keyboard input (keybd_event).

#include <cstdint>

namespace ombrix::platform {

inline constexpr std::uint32_t kKeyExtended = 1;  // KEYEVENTF_EXTENDEDKEY
inline constexpr std::uint32_t kKeyUp = 2;        // KEYEVENTF_KEYUP

class KeyboardInput {
public:
    virtual ~KeyboardInput() = default;
    virtual void keyEvent(std::uint8_t virtualKey, std::uint32_t flags) = 0;
};

}  // namespace ombrix::platform

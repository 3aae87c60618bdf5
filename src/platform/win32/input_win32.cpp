#include <windows.h>

#include "platform/win32/machine.h"

namespace ombrix::win32 {
namespace {

// The scan code stays 0: the browsers that receive these synthesised keys
// read the virtual key only.
class Win32KeyboardInput final : public platform::KeyboardInput {
public:
    void keyEvent(std::uint8_t virtualKey, std::uint32_t flags) override {
        keybd_event(virtualKey, 0, static_cast<DWORD>(flags), 0);
    }
};

}  // namespace

std::unique_ptr<platform::KeyboardInput> makeKeyboardInput() { return std::make_unique<Win32KeyboardInput>(); }

}  // namespace ombrix::win32

#include <windows.h>

#include <array>

#include "platform/standard_input.h"

namespace ombrix::platform {
namespace {

// Whether a whole line waits in the console's input: the key-down of Enter
// among the events not yet read (pasted lines sit there as key events).
bool consoleLineWaiting(HANDLE console) {
    DWORD count = 0;
    if (!GetNumberOfConsoleInputEvents(console, &count) || count == 0) return false;
    std::array<INPUT_RECORD, 512> events{};
    DWORD seen = 0;
    if (!PeekConsoleInputW(console, events.data(), static_cast<DWORD>(events.size()), &seen)) return false;
    for (DWORD i = 0; i < seen; ++i) {
        const INPUT_RECORD& e = events[i];
        if (e.EventType == KEY_EVENT && e.Event.KeyEvent.bKeyDown && e.Event.KeyEvent.wVirtualKeyCode == VK_RETURN) {
            return true;
        }
    }
    return false;
}

class StandardInputWin32 final : public StandardInput {
public:
    std::size_t read(char* buffer, std::size_t size) override {
        DWORD got = 0;
        const DWORD asked = size > 1u << 30 ? 1u << 30 : static_cast<DWORD>(size);
        // A pipe whose writer has gone (ERROR_BROKEN_PIPE) is the end of the input.
        if (!ReadFile(GetStdHandle(STD_INPUT_HANDLE), buffer, asked, &got, nullptr)) return 0;
        return got;
    }
    bool waiting() override {
        const HANDLE in = GetStdHandle(STD_INPUT_HANDLE);
        switch (GetFileType(in)) {
            case FILE_TYPE_DISK:
                return true;
            case FILE_TYPE_PIPE: {
                DWORD available = 0;
                // A pipe that cannot be peeked has lost its writer: its end is there.
                if (!PeekNamedPipe(in, nullptr, 0, nullptr, &available, nullptr)) return true;
                return available > 0;
            }
            case FILE_TYPE_CHAR: {
                DWORD mode = 0;
                if (GetConsoleMode(in, &mode)) return consoleLineWaiting(in);
                return true;  // NUL and the like: their end comes at once
            }
            default:
                return false;
        }
    }
};

}  // namespace

StandardInput& standardInput() {
    static StandardInputWin32 input;
    return input;
}

}  // namespace ombrix::platform

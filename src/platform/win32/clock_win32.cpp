#include <windows.h>

#include "platform/win32/machine.h"

namespace ombrix::win32 {
namespace {

class Win32Clock final : public platform::Clock {
public:
    platform::LocalTime now() override {
        SYSTEMTIME t{};
        GetLocalTime(&t);
        return {t.wYear, t.wMonth, t.wDay, t.wHour, t.wMinute, t.wSecond};
    }
    std::uint64_t tickMilliseconds() override { return GetTickCount64(); }
};

// At most this many messages per call: a window that posts itself a message
// for each one it handles must not keep the caller here for ever.
constexpr int kMaxMessagesPerPump = 1000;

class Win32EventPump final : public platform::EventPump {
public:
    void doEvents() override {
        MSG msg{};
        for (int i = 0; i < kMaxMessagesPerPump && PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE); ++i) {
            if (msg.message == WM_QUIT) {
                // The quit belongs to the main message loop: give it back and stop.
                PostQuitMessage(static_cast<int>(msg.wParam));
                return;
            }
            TranslateMessage(&msg);
            DispatchMessageW(&msg);
        }
    }
};

}  // namespace

std::unique_ptr<platform::Clock> makeClock() { return std::make_unique<Win32Clock>(); }
std::unique_ptr<platform::EventPump> makeEventPump() { return std::make_unique<Win32EventPump>(); }

}  // namespace ombrix::win32

#include "platform/win32/registry_watch.h"

#include "platform/failures.h"
#include "platform/win32/wide.h"

namespace ombrix::win32 {
namespace {

constexpr UINT kChanged = WM_APP + 1;
constexpr wchar_t kWindowClass[] = L"OmbrixRegistryWatch";

}  // namespace

RegistryWatch::RegistryWatch(std::string_view path, std::function<void()> changed) : changed_(std::move(changed)) {
    const std::wstring wide = toWide(path);
    HKEY key = nullptr;
    // Opened for notification only. A key nobody configured yet is made, so
    // that its first value is seen too; only an elevated process may.
    LSTATUS status = RegOpenKeyExW(HKEY_LOCAL_MACHINE, wide.c_str(), 0, KEY_NOTIFY, &key);
    if (status == ERROR_FILE_NOT_FOUND) {
        status = RegCreateKeyExW(HKEY_LOCAL_MACHINE, wide.c_str(), 0, nullptr, 0, KEY_NOTIFY, nullptr, &key, nullptr);
    }
    if (status != ERROR_SUCCESS) {
        platform::recordFailure("a registry key is not watched", path, platform::SystemError{static_cast<unsigned long>(status)});
        return;
    }
    key_.reset(key);
    event_.reset(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    WNDCLASSEXW cls{};
    cls.cbSize = sizeof cls;
    cls.lpfnWndProc = &RegistryWatch::windowProc;
    cls.hInstance = GetModuleHandleW(nullptr);
    cls.lpszClassName = kWindowClass;
    RegisterClassExW(&cls);  // fails harmlessly when a second watch registers it again
    window_.reset(CreateWindowExW(0, kWindowClass, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, cls.hInstance, nullptr));
    if (!event_ || !window_) {
        platform::recordFailure("a registry key is not watched", path, platform::SystemError{GetLastError()});
        return;
    }
    SetWindowLongPtrW(window_.get(), GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    if (!arm() || !RegisterWaitForSingleObject(&wait_, event_.get(), &RegistryWatch::signalled, window_.get(),
                                               INFINITE, WT_EXECUTEDEFAULT)) {
        wait_ = nullptr;
        platform::recordFailure("a registry key is not watched", path, platform::SystemError{GetLastError()});
    }
}

// The pool's wait goes first, waiting for a call in progress, so nothing
// posts to a window that is gone.
RegistryWatch::~RegistryWatch() {
    if (wait_ != nullptr) UnregisterWaitEx(wait_, INVALID_HANDLE_VALUE);
    if (window_) SetWindowLongPtrW(window_.get(), GWLP_USERDATA, 0);
}

bool RegistryWatch::arm() {
    const LSTATUS status = RegNotifyChangeKeyValue(
        key_.get(), TRUE, REG_NOTIFY_CHANGE_NAME | REG_NOTIFY_CHANGE_LAST_SET, event_.get(), TRUE);
    if (status == ERROR_SUCCESS) return true;
    SetLastError(static_cast<DWORD>(status));
    return false;
}

void CALLBACK RegistryWatch::signalled(void* context, BOOLEAN) {
    PostMessageW(static_cast<HWND>(context), kChanged, 0, 0);
}

LRESULT CALLBACK RegistryWatch::windowProc(HWND window, UINT msg, WPARAM wp, LPARAM lp) {
    if (msg != kChanged) return DefWindowProcW(window, msg, wp, lp);
    auto* self = reinterpret_cast<RegistryWatch*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (self == nullptr) return 0;
    // Asked again before the key is read, so a change made while it is read is not missed.
    platform::guarded([&] {
        if (!self->arm()) platform::recordFailure("a registry key is no longer watched", {}, platform::SystemError{GetLastError()});
        if (self->changed_) self->changed_();
    });
    return 0;
}

}  // namespace ombrix::win32

#pragma once
// Tells when anything under a key of the local machine changes (a value
// written or deleted, a subkey made or removed), the way Group Policy's
// refresh arrives: the system signals an event, a thread of the pool posts
// to a message-only window of ours, and the call comes on this thread as it
// reads its messages (a modal box's loop included). Changes that come close
// together may arrive as one call.

#include <windows.h>

#include <functional>
#include <string_view>

#include "platform/win32/handles.h"

namespace ombrix::win32 {

class RegistryWatch {
public:
    // `path` under HKEY_LOCAL_MACHINE. Nothing is watched when the key can
    // be neither opened nor made (the failure is traced).
    RegistryWatch(std::string_view path, std::function<void()> changed);
    ~RegistryWatch();
    RegistryWatch(const RegistryWatch&) = delete;
    RegistryWatch& operator=(const RegistryWatch&) = delete;

    [[nodiscard]] bool watching() const { return wait_ != nullptr; }

private:
    static LRESULT CALLBACK windowProc(HWND window, UINT msg, WPARAM wp, LPARAM lp);
    static void CALLBACK signalled(void* context, BOOLEAN timedOut);
    // Asks for the next change; the system forgets the request once it signals.
    bool arm();

    std::function<void()> changed_;
    UniqueHkey key_;
    UniqueKernelHandle event_;
    UniqueWindow window_;
    HANDLE wait_ = nullptr;
};

}  // namespace ombrix::win32

#pragma once
// The single-instance guard: a named mutex in the session's namespace.

#include <string>

#include "platform/instance.h"

#include <windows.h>

#include "platform/win32/handles.h"

namespace ombrix::platform {

class NamedMutexInstance final : public InstanceGuard {
public:
    explicit NamedMutexInstance(const wchar_t* name = L"Local\\Ombrix.SingleInstance");
    bool anotherInstanceRunning() override;

private:
    std::wstring name_;
    win32::UniqueKernelHandle mutex_;
};

}  // namespace ombrix::platform

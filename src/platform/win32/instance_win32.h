#pragma once
// The single-instance guard: a named mutex in the session's namespace.

#include <string>

#include "platform/instance.h"

#include <windows.h>

namespace ombrix::platform {

class NamedMutexInstance final : public InstanceGuard {
public:
    explicit NamedMutexInstance(const wchar_t* name = L"Local\\Ombrix.SingleInstance");
    ~NamedMutexInstance() override;
    NamedMutexInstance(const NamedMutexInstance&) = delete;
    NamedMutexInstance& operator=(const NamedMutexInstance&) = delete;
    bool anotherInstanceRunning() override;

private:
    std::wstring name_;
    HANDLE mutex_ = nullptr;
};

}  // namespace ombrix::platform

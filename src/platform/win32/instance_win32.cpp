#include <windows.h>

#include "platform/win32/instance_win32.h"

namespace ombrix::platform {

NamedMutexInstance::NamedMutexInstance(const wchar_t* name) : name_(name) {}

NamedMutexInstance::~NamedMutexInstance() {
    if (mutex_) CloseHandle(mutex_);
}

bool NamedMutexInstance::anotherInstanceRunning() {
    if (mutex_) return false;
    mutex_ = CreateMutexW(nullptr, FALSE, name_.c_str());
    const bool exists = GetLastError() == ERROR_ALREADY_EXISTS;
    if (exists && mutex_) {
        CloseHandle(mutex_);
        mutex_ = nullptr;
    }
    return exists;
}

}  // namespace ombrix::platform

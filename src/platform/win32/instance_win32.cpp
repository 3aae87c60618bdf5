#include <windows.h>

#include "platform/win32/instance_win32.h"

#include <utility>

namespace ombrix::platform {

NamedMutexInstance::NamedMutexInstance(const wchar_t* name) : name_(name) {}

bool NamedMutexInstance::anotherInstanceRunning() {
    if (mutex_) return false;
    win32::UniqueKernelHandle mutex(CreateMutexW(nullptr, FALSE, name_.c_str()));
    const bool exists = GetLastError() == ERROR_ALREADY_EXISTS;
    // The first instance holds the name for its whole life; a second one lets go.
    if (!exists) mutex_ = std::move(mutex);
    return exists;
}

}  // namespace ombrix::platform

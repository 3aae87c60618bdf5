#include "platform/win32/debugger_output.h"

#include <windows.h>

#include <sddl.h>

#include <cstdio>

#include "platform/failures.h"
#include "platform/trace_file.h"
#include "platform/win32/handles.h"
#include "platform/win32/wide.h"

namespace ombrix::win32 {
namespace {

void toDebugger(const char* where, const char* what) noexcept {
    // On the stack: the failure may be that memory ran out.
    char line[640];
    std::snprintf(line, sizeof line, "Ombrix: %s: %s\n", where, what);
    wchar_t wide[640];
    if (MultiByteToWideChar(CP_UTF8, 0, line, -1, wide, static_cast<int>(std::size(wide))) > 0) {
        OutputDebugStringW(wide);
    }
}

// Appending only (FILE_APPEND_DATA): each line is one write that lands whole
// at the end, whoever else appends at once (the program in two sessions, an
// elevated ombrixctl). Shared for deleting too, so that a rotation elsewhere
// can move the file meanwhile: the line then ends the older generation.
bool appendToFile(const std::filesystem::path& file, std::string_view bytes) noexcept {
    const UniqueKernelHandle out = adoptInvalidOnFailure(
        CreateFileW(file.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                    OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    DWORD written = 0;
    return out && WriteFile(out.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) &&
           written == bytes.size();
}

bool replace(const std::filesystem::path& from, const std::filesystem::path& to) noexcept {
    return MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING) != 0;
}

// A rotation holds it a few milliseconds; one that waits longer rotates all
// the same, since the holder is stuck.
constexpr DWORD kRotationWaitMilliseconds = 500;

// One rotation at a time among the program and ombrixctl in every session:
// a mutex in the global namespace. Everyone may wait on it and release it,
// at any integrity level, so that whichever process makes it (the pupil's
// program, an elevated ombrixctl) the others can take it.
void oneRotationAtATime(void (*work)(void*), void* context) noexcept {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    (void)ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:(A;;0x00100001;;;WD)S:(ML;;NW;;;LW)",
                                                               SDDL_REVISION_1, &descriptor, nullptr);
    const UniqueLocal freed(descriptor);
    SECURITY_ATTRIBUTES attributes{sizeof attributes, descriptor, FALSE};
    const UniqueKernelHandle mutex(CreateMutexExW(descriptor != nullptr ? &attributes : nullptr,
                                                  L"Global\\OmbrixTraceRotation", 0,
                                                  SYNCHRONIZE | MUTEX_MODIFY_STATE));
    // Abandoned by a process that ended mid-rotation: taken, and the size
    // check under it finds what that process left.
    const DWORD waited = mutex ? WaitForSingleObject(mutex.get(), kRotationWaitMilliseconds) : WAIT_FAILED;
    work(context);
    if (waited == WAIT_OBJECT_0 || waited == WAIT_ABANDONED) ReleaseMutex(mutex.get());
}

}  // namespace

void sendFailuresToDebugger() noexcept {
    platform::setFailureSink(&toDebugger);
    try {
        platform::setTraceSystem({&appendToFile, &replace, &oneRotationAtATime, &systemMessage});
    } catch (...) {
        // Left to the standard library's: the trace still works.
    }
}

}  // namespace ombrix::win32

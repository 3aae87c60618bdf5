#include "platform/win32/debugger_output.h"

#include <windows.h>

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

// Appending only (FILE_APPEND_DATA): each write lands whole at the end, even
// with the program and an elevated ombrixctl writing at once. Shared for
// deleting too, so that a rotation elsewhere can move the file meanwhile.
bool appendToFile(const std::filesystem::path& file, std::string_view bytes) noexcept {
    const UniqueKernelHandle out = adoptInvalidOnFailure(
        CreateFileW(file.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                    OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    DWORD written = 0;
    return out && WriteFile(out.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) &&
           written == bytes.size();
}

// Without MOVEFILE_REPLACE_EXISTING: fails when `to` exists.
bool moveAside(const std::filesystem::path& from, const std::filesystem::path& to) noexcept {
    return MoveFileExW(from.c_str(), to.c_str(), 0) != 0;
}

}  // namespace

void sendFailuresToDebugger() noexcept {
    platform::setFailureSink(&toDebugger);
    try {
        platform::setTraceSystem({&appendToFile, &moveAside, &systemMessage});
    } catch (...) {
        // Left to the standard library's: the trace still works.
    }
}

}  // namespace ombrix::win32

#include "platform/win32/debugger_output.h"

#include <windows.h>

#include <cstdio>

#include "platform/failures.h"

namespace ombrix::win32 {
namespace {

void toDebugger(const char* where, const char* what) noexcept {
    // On the stack: the failure may be that memory ran out.
    char line[320];
    std::snprintf(line, sizeof line, "Ombrix: %s: %s\n", where, what);
    wchar_t wide[320];
    if (MultiByteToWideChar(CP_UTF8, 0, line, -1, wide, static_cast<int>(std::size(wide))) > 0) {
        OutputDebugStringW(wide);
    }
}

}  // namespace

void sendFailuresToDebugger() noexcept { platform::setFailureSink(&toDebugger); }

}  // namespace ombrix::win32

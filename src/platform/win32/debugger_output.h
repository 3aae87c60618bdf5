#pragma once
// Where the Windows programs' failures go: every failure they record and
// carry on after reaches the debugger's output (OutputDebugStringW), where a
// debugger or a system monitor on the pupil's PC shows it; and the trace
// file (platform/trace_file.h) is written through the system's own calls,
// with the system's texts for error codes (systemMessage).

namespace ombrix::win32 {

void sendFailuresToDebugger() noexcept;

}  // namespace ombrix::win32

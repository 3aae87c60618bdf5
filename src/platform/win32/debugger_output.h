#pragma once
// Sends every failure the program records and carries on after to the
// debugger's output (OutputDebugStringW), where a debugger or a system
// monitor on the pupil's PC shows it.

namespace ombrix::win32 {

void sendFailuresToDebugger() noexcept;

}  // namespace ombrix::win32

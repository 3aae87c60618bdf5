#pragma once
// The trace on disk. Every failure the program carries on after
// (platform/failures.h) is also one line of a text file that a support
// person can open on the PC without a debugger:
//
//   2025-03-07 14:03:22.125<TAB>ombrix<TAB>controller.cpp:86 core::Controller::protectFolders<TAB>
//   the access list of a folder was not set: C:\Ombrix\DataBase\Registro: Access is denied.
//
// (one line): the local time, the program that wrote it (ombrix, ombrixctl),
// the place, the failure. Control characters in it are escaped (\n, \t,
// \xHH: see escapedControls in platform/text.h), so one failure is one
// line; lines end in CR LF.
//
// The file is ombrix-trace.txt in the folder set below: the store's log
// folder, which the pupil's session may write. When a line would take it
// past kTraceBytes it becomes ombrix-trace.txt.1, that one .2, and the
// oldest goes: three generations at most. Whoever rotates checks the size
// again under a lock all processes share, so two processes that both saw
// the file full rotate it once. A file that cannot be rotated takes no more
// lines: the trace never outgrows its bound. Before a folder is set nothing is
// written (the ring and the debugger have every failure all the same).
// Writing never fails the caller and never records a failure of its own: a
// line that cannot be written is dropped.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace ombrix::platform {

inline constexpr std::string_view kTraceFileName = "ombrix-trace.txt";
inline constexpr std::uintmax_t kTraceBytes = 1024 * 1024;

// The trace goes to <folder>/ombrix-trace.txt from now on, each line naming
// `program`; an empty folder sends it nowhere. The folder is not made here:
// a missing one drops the lines, as one that cannot be written does.
void setTraceFolder(std::string_view folder, std::string_view program);
// The file the trace goes to now; empty when none.
[[nodiscard]] std::string traceFile();
// The last `count` lines of the trace `file` (its generation .1 first, when
// the file alone has fewer), oldest first, without their line ends. Reads
// no more than the end of each file, whatever its size.
[[nodiscard]] std::vector<std::string> lastTraceLines(std::string_view file, std::size_t count);
// A smaller bound, for tests; the program never calls it.
void setTraceBytesForTests(std::uintmax_t bytes);

// What the trace asks of the system. The defaults use the standard library;
// the Windows programs set the system's own (win32::sendFailuresToDebugger):
// appends that two processes cannot interleave, and a lock that every
// process of every session shares.
struct TraceSystem {
    // Appends to the file, making it when missing.
    bool (*append)(const std::filesystem::path& file, std::string_view bytes) noexcept;
    // Renames `from` to `to`, replacing `to`.
    bool (*move)(const std::filesystem::path& from, const std::filesystem::path& to) noexcept;
    // Runs work(context) while no other process runs a rotation; runs it
    // all the same when the lock cannot be had.
    void (*oneRotationAtATime)(void (*work)(void*), void* context) noexcept;
    // The system's text for an error code.
    std::string (*errorText)(unsigned long code);
};
void setTraceSystem(const TraceSystem& system);
// The calls in use.
[[nodiscard]] TraceSystem traceSystem();

// For platform/failures.cpp.
[[nodiscard]] std::string systemErrorText(unsigned long code);
enum class TraceWrite { Written, NoFolder, Failed };
TraceWrite writeTrace(std::string_view where, std::string_view function, std::string_view what) noexcept;

}  // namespace ombrix::platform

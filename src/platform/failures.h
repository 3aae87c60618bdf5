#pragma once
// Failures the program carries on after. Enforcement must go on when one
// step fails, and nothing may escape into a window procedure, a hook or a
// system callback; but a failure swallowed without a trace would make every
// problem in the field invisible. Each one is kept, with the place it
// happened, in a small ring of the newest (which a test or a diagnostic can
// read), handed to a sink (the debugger's output in the Windows programs)
// and written as one line to the trace file (platform/trace_file.h).
//
// What may go in: the trace file lies in a folder every user of the PC may
// read. A failure's sentence is the code's own (TraceText: a literal). Its
// subject names what failed: a file or folder, an address, a profile's or a
// column's name, a count, the store's or the system's message. Never a
// password, nor anything else a person typed (the login box, the options'
// password boxes, the keys of a keyboard or of the on-screen one): pass what
// the failure is about, never the input that was being handled.

#include <cstddef>
#include <source_location>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace ombrix::platform {

struct Failure {
    std::string where;  // "file.cpp:123"
    std::string what;   // "sentence: subject (error N: the system's text)", or an exception's what()
};

inline constexpr std::size_t kFailuresKept = 64;

// A failure's sentence, written at the call: only a constant converts to it,
// so nothing read or typed can become one, and it is one line.
class TraceText {
public:
    consteval TraceText(const char* text) : text_(text) {
        for (const char* c = text; *c != '\0'; ++c) {
            if (static_cast<unsigned char>(*c) < 0x20 || *c == 0x7f) throw "a trace's sentence is one line";
        }
    }
    [[nodiscard]] constexpr std::string_view text() const { return text_; }

private:
    const char* text_;
};

// The system's error code of a failed call (GetLastError(), errno); 0 for none.
// The trace adds the system's text for it.
struct SystemError {
    unsigned long code = 0;
};

// Records the exception being handled. Call it only inside a catch block.
// Its what() is kept: only the standard library's exceptions reach here
// (the program's own code throws none), and theirs name at most a path.
void recordCurrentFailure(std::source_location at = std::source_location::current()) noexcept;
// Records a failure that is no exception (a write the store refused).
void recordFailure(TraceText what, std::string_view subject = {}, SystemError error = {},
                   std::source_location at = std::source_location::current()) noexcept;

// The kept failures, oldest first. Any thread may record: the ring locks.
[[nodiscard]] std::vector<Failure> recentFailures();

// Where failures go besides the ring and the trace file; null for nowhere.
// It is called outside the ring's lock, on the thread that failed.
using FailureSink = void (*)(const char* where, const char* what) noexcept;
void setFailureSink(FailureSink sink) noexcept;

// Runs `f`; when it throws, the failure is recorded and a value-initialised
// result (nothing, for void) comes back instead.
template <typename F>
auto guarded(F&& f, std::source_location at = std::source_location::current()) noexcept
    -> std::invoke_result_t<F&> {
    using Result = std::invoke_result_t<F&>;
    try {
        return f();
    } catch (...) {
        recordCurrentFailure(at);
    }
    if constexpr (!std::is_void_v<Result>) return Result{};
}

// The same, with the result a failure gives.
template <typename F, typename R>
R guarded(F&& f, R onFailure, std::source_location at = std::source_location::current()) noexcept {
    try {
        return f();
    } catch (...) {
        recordCurrentFailure(at);
    }
    return onFailure;
}

}  // namespace ombrix::platform

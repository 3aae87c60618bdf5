#pragma once
// Failures the program carries on after. Enforcement must go on when one
// step fails, and nothing may escape into a window procedure, a hook or a
// system callback; but a failure swallowed without a trace would make every
// problem in the field invisible. Each one is kept, with the place it
// happened, in a small ring of the newest (which a test or a diagnostic can
// read), and handed to a sink: the debugger's output in the Windows program.

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
    std::string what;   // the exception's what(), or "unknown"
};

inline constexpr std::size_t kFailuresKept = 64;

// Records the exception being handled. Call it only inside a catch block.
void recordCurrentFailure(std::source_location at = std::source_location::current()) noexcept;
// Records a failure that is no exception (a write the store refused).
void recordFailure(std::string_view what, std::source_location at = std::source_location::current()) noexcept;

// The kept failures, oldest first. Any thread may record: the ring locks.
[[nodiscard]] std::vector<Failure> recentFailures();

// Where failures go besides the ring; null for nowhere. It is called outside
// the ring's lock, on the thread that failed.
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

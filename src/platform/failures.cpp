#include "platform/failures.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <exception>
#include <mutex>
#include <string_view>

#include "platform/trace_file.h"

namespace ombrix::platform {
namespace {

// Fixed buffers: recording never allocates, so it cannot fail in turn.
// (Only the system's error text and the trace file's line do, and a failure
// there drops them.)
template <std::size_t N>
struct Text {
    std::array<char, N> chars{};
    std::size_t size = 0;
    bool full = false;

    // Appends as much as fits, cut before a UTF-8 sequence rather than inside one.
    void add(std::string_view text) {
        if (full) return;
        std::size_t n = std::min(text.size(), N - 1 - size);
        if (n < text.size()) {
            full = true;
            while (n > 0 && (static_cast<unsigned char>(text[n]) & 0xC0) == 0x80) --n;
        }
        std::memcpy(chars.data() + size, text.data(), n);
        size += n;
        chars[size] = '\0';
    }
    [[nodiscard]] std::string_view view() const { return {chars.data(), size}; }
};

struct Entry {
    Text<48> where;
    Text<512> what;
};

struct Ring {
    std::mutex lock;
    std::array<Entry, kFailuresKept> entries;
    std::size_t next = 0;   // where the next entry goes
    std::size_t count = 0;  // entries in use
    FailureSink sink = nullptr;
};

Ring& ring() {
    static Ring instance;
    return instance;
}

// "core::Controller::protectFolders" out of the compiler's whole signature.
std::string_view functionName(std::string_view full) {
    std::size_t open = full.find('(');
    while (open != std::string_view::npos && full.substr(open).starts_with("(anonymous namespace)")) {
        open = full.find('(', open + 1);
    }
    full = full.substr(0, open);
    if (const auto space = full.rfind(' '); space != std::string_view::npos) full.remove_prefix(space + 1);
    if (full.starts_with("ombrix::")) full.remove_prefix(8);
    return full;
}

// Once per process: the debugger hears that the trace file cannot be written.
std::atomic<bool> traceFailureNoted{false};

void record(const std::source_location& at, std::string_view what, std::string_view subject,
            SystemError error) noexcept {
    Entry entry;
    // The file's own name is enough to find it; the build's folders are noise.
    std::string_view file = at.file_name();
    if (const auto slash = file.find_last_of("/\\"); slash != std::string_view::npos) file.remove_prefix(slash + 1);
    char line[16];
    std::snprintf(line, sizeof line, ":%u", static_cast<unsigned>(at.line()));
    entry.where.add(file);
    entry.where.add(line);
    entry.what.add(what);
    if (!subject.empty()) {
        entry.what.add(": ");
        entry.what.add(subject);
    }
    if (error.code != 0) {
        char code[32];
        std::snprintf(code, sizeof code, " (error %lu: ", error.code);
        entry.what.add(code);
        try {
            entry.what.add(systemErrorText(error.code));
        } catch (...) {
            entry.what.add("?");
        }
        entry.what.add(")");
    }

    Ring& r = ring();
    FailureSink sink = nullptr;
    {
        const std::lock_guard<std::mutex> hold(r.lock);
        r.entries[r.next] = entry;
        r.next = (r.next + 1) % kFailuresKept;
        if (r.count < kFailuresKept) ++r.count;
        sink = r.sink;
    }
    if (sink != nullptr) sink(entry.where.chars.data(), entry.what.chars.data());
    if (writeTrace(entry.where.view(), functionName(at.function_name()), entry.what.view()) == TraceWrite::Failed &&
        sink != nullptr && !traceFailureNoted.exchange(true)) {
        sink(kTraceFileName.data(), "cannot be written: failures go to the debugger only");
    }
}

}  // namespace

void recordCurrentFailure(std::source_location at) noexcept {
    try {
        throw;
    } catch (const std::exception& e) {
        record(at, e.what(), {}, {});
    } catch (...) {
        record(at, "unknown", {}, {});
    }
}

void recordFailure(TraceText what, std::string_view subject, SystemError error, std::source_location at) noexcept {
    record(at, what.text(), subject, error);
}

std::vector<Failure> recentFailures() {
    Ring& r = ring();
    const std::lock_guard<std::mutex> hold(r.lock);
    std::vector<Failure> out;
    out.reserve(r.count);
    const std::size_t first = (r.next + kFailuresKept - r.count) % kFailuresKept;
    for (std::size_t i = 0; i < r.count; ++i) {
        const Entry& e = r.entries[(first + i) % kFailuresKept];
        out.push_back({std::string(e.where.view()), std::string(e.what.view())});
    }
    return out;
}

void setFailureSink(FailureSink sink) noexcept {
    Ring& r = ring();
    const std::lock_guard<std::mutex> hold(r.lock);
    r.sink = sink;
}

}  // namespace ombrix::platform

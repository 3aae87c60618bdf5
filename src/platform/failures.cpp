#include "platform/failures.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <exception>
#include <mutex>
#include <string_view>

namespace ombrix::platform {
namespace {

// Fixed buffers: recording never allocates, so it cannot fail in turn.
struct Entry {
    std::array<char, 48> where{};
    std::array<char, 208> what{};
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

// Copies as much of `text` as fits, cut before a UTF-8 sequence rather than
// inside one.
template <std::size_t N>
void copyCut(std::array<char, N>& out, std::string_view text) {
    std::size_t n = std::min(text.size(), N - 1);
    if (n < text.size()) {
        while (n > 0 && (static_cast<unsigned char>(text[n]) & 0xC0) == 0x80) --n;
    }
    std::memcpy(out.data(), text.data(), n);
    out[n] = '\0';
}

void record(const std::source_location& at, std::string_view what) noexcept {
    Entry entry;
    // The file's own name is enough to find it; the build's folders are noise.
    std::string_view file = at.file_name();
    if (const auto slash = file.find_last_of("/\\"); slash != std::string_view::npos) file.remove_prefix(slash + 1);
    std::snprintf(entry.where.data(), entry.where.size(), "%.*s:%u", static_cast<int>(file.size()), file.data(),
                  static_cast<unsigned>(at.line()));
    copyCut(entry.what, what);

    Ring& r = ring();
    FailureSink sink = nullptr;
    {
        const std::lock_guard<std::mutex> hold(r.lock);
        r.entries[r.next] = entry;
        r.next = (r.next + 1) % kFailuresKept;
        if (r.count < kFailuresKept) ++r.count;
        sink = r.sink;
    }
    if (sink != nullptr) sink(entry.where.data(), entry.what.data());
}

}  // namespace

void recordCurrentFailure(std::source_location at) noexcept {
    try {
        throw;
    } catch (const std::exception& e) {
        record(at, e.what());
    } catch (...) {
        record(at, "unknown");
    }
}

void recordFailure(std::string_view what, std::source_location at) noexcept { record(at, what); }

std::vector<Failure> recentFailures() {
    Ring& r = ring();
    const std::lock_guard<std::mutex> hold(r.lock);
    std::vector<Failure> out;
    out.reserve(r.count);
    const std::size_t first = (r.next + kFailuresKept - r.count) % kFailuresKept;
    for (std::size_t i = 0; i < r.count; ++i) {
        const Entry& e = r.entries[(first + i) % kFailuresKept];
        out.push_back({e.where.data(), e.what.data()});
    }
    return out;
}

void setFailureSink(FailureSink sink) noexcept {
    Ring& r = ring();
    const std::lock_guard<std::mutex> hold(r.lock);
    r.sink = sink;
}

}  // namespace ombrix::platform

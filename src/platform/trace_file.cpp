#include "platform/trace_file.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <mutex>
#include <system_error>

#include "platform/files.h"
#include "platform/text.h"

namespace ombrix::platform {
namespace {

namespace fs = std::filesystem;

// How much of the end of a file lastTraceLines reads: many lines, never a
// planted file whole.
constexpr std::uintmax_t kTailBytes = 64 * 1024;

bool appendWithLibrary(const fs::path& file, std::string_view bytes) noexcept {
    try {
        std::ofstream out(file, std::ios::binary | std::ios::app);
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        out.flush();
        return static_cast<bool>(out);
    } catch (...) {
        return false;
    }
}

bool moveWithLibrary(const fs::path& from, const fs::path& to) noexcept {
    std::error_code ec;
    fs::rename(from, to, ec);
    return !ec;
}

// Within one process the trace's own lock is enough.
void directly(void (*work)(void*), void* context) noexcept { work(context); }

std::string errorTextOfLibrary(unsigned long code) { return std::system_category().message(static_cast<int>(code)); }

struct Trace {
    std::mutex lock;
    fs::path file;  // empty: nowhere
    std::string program;
    std::uintmax_t bound = kTraceBytes;
    TraceSystem system{&appendWithLibrary, &moveWithLibrary, &directly, &errorTextOfLibrary};
};

// Never destroyed: a failure recorded while the process ends still finds it.
Trace& trace() {
    static Trace* const instance = new Trace;
    return *instance;
}

fs::path generation(const fs::path& file, int n) {
    fs::path g = file;
    g += "." + std::to_string(n);
    return g;
}

// "2025-03-07 14:03:22.125", the local time; under the trace's lock, since
// localtime's result is shared.
std::string localTimeNow() {
    const auto now = std::chrono::system_clock::now();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
    const std::tm* local = std::localtime(&seconds);
    if (local == nullptr) return "(no local time)";
    char text[80];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d.%03d", local->tm_year + 1900, local->tm_mon + 1,
                  local->tm_mday, local->tm_hour, local->tm_min, local->tm_sec, static_cast<int>(ms));
    return text;
}

bool overBound(const Trace& t, std::size_t lineBytes) {
    std::error_code ec;
    const std::uintmax_t size = fs::file_size(t.file, ec);
    return !ec && size > 0 && size + lineBytes > t.bound;
}

// Whether a line of `lineBytes` fits, after a rotation if it takes one: the
// oldest generation goes, .1 becomes .2, the file .1. Another process may
// have rotated while this one waited for the lock: the size is checked
// again under it, so the file is rotated once, not twice.
bool makeRoom(Trace& t, std::size_t lineBytes) {
    if (!overBound(t, lineBytes)) return true;
    struct Rotation {
        Trace& t;
        std::size_t lineBytes;
    } rotation{t, lineBytes};
    t.system.oneRotationAtATime(
        [](void* context) noexcept {
            const Rotation& r = *static_cast<Rotation*>(context);
            try {
                if (!overBound(r.t, r.lineBytes)) return;
                (void)r.t.system.move(generation(r.t.file, 1), generation(r.t.file, 2));  // none yet, at first
                (void)r.t.system.move(r.t.file, generation(r.t.file, 1));
            } catch (...) {
                // Not rotated: the line is dropped below.
            }
        },
        &rotation);
    return !overBound(t, lineBytes);
}

std::vector<std::string> tailLines(const fs::path& file) {
    std::vector<std::string> lines;
    std::ifstream in(file, std::ios::binary);
    if (!in) return lines;
    in.seekg(0, std::ios::end);
    const std::streamoff size = in.tellg();
    if (size <= 0) return lines;
    const std::streamoff from = std::max<std::streamoff>(0, size - static_cast<std::streamoff>(kTailBytes));
    in.seekg(from);
    std::string bytes(static_cast<std::size_t>(size - from), '\0');
    in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(in.gcount()));
    std::size_t start = 0;
    if (from > 0) {  // a line cut by the tail is not shown
        const std::size_t first = bytes.find('\n');
        if (first == std::string::npos) return lines;
        start = first + 1;
    }
    while (start < bytes.size()) {
        std::size_t end = bytes.find('\n', start);
        if (end == std::string::npos) end = bytes.size();
        std::string line = bytes.substr(start, end - start);
        if (!line.empty() && line.back() == '\r') line.pop_back();
        lines.push_back(std::move(line));
        start = end + 1;
    }
    return lines;
}

}  // namespace

void setTraceFolder(std::string_view folder, std::string_view program) {
    Trace& t = trace();
    const std::lock_guard<std::mutex> hold(t.lock);
    t.file = folder.empty() ? fs::path() : pathFromUtf8(folder) / pathFromUtf8(kTraceFileName);
    t.program = std::string(program);
}

std::string traceFile() {
    Trace& t = trace();
    const std::lock_guard<std::mutex> hold(t.lock);
    return t.file.empty() ? std::string() : pathToUtf8(t.file);
}

std::vector<std::string> lastTraceLines(std::string_view file, std::size_t count) {
    const fs::path path = pathFromUtf8(file);
    std::vector<std::string> lines = tailLines(path);
    if (lines.size() < count) {
        std::vector<std::string> older = tailLines(generation(path, 1));
        lines.insert(lines.begin(), older.begin(), older.end());
    }
    if (lines.size() > count) lines.erase(lines.begin(), lines.end() - static_cast<std::ptrdiff_t>(count));
    return lines;
}

void setTraceBytesForTests(std::uintmax_t bytes) {
    Trace& t = trace();
    const std::lock_guard<std::mutex> hold(t.lock);
    t.bound = bytes;
}

void setTraceSystem(const TraceSystem& system) {
    Trace& t = trace();
    const std::lock_guard<std::mutex> hold(t.lock);
    t.system = system;
}

TraceSystem traceSystem() {
    Trace& t = trace();
    const std::lock_guard<std::mutex> hold(t.lock);
    return t.system;
}

std::string systemErrorText(unsigned long code) { return traceSystem().errorText(code); }

TraceWrite writeTrace(std::string_view where, std::string_view function, std::string_view what) noexcept {
    // A failure while the trace writes (on this thread) is not written: the
    // trace never feeds on itself.
    thread_local bool writing = false;
    if (writing) return TraceWrite::Failed;
    writing = true;
    TraceWrite result = TraceWrite::Failed;
    try {
        Trace& t = trace();
        const std::lock_guard<std::mutex> hold(t.lock);
        if (t.file.empty()) {
            result = TraceWrite::NoFolder;
        } else {
            const std::string line = localTimeNow() + "\t" + t.program + "\t" + escapedControls(where) + " " +
                                     escapedControls(function) + "\t" + escapedControls(what) + "\r\n";
            std::error_code ec;
            if (fs::is_directory(t.file.parent_path(), ec)) {
                if (makeRoom(t, line.size()) && t.system.append(t.file, line)) result = TraceWrite::Written;
            }
        }
    } catch (...) {
        result = TraceWrite::Failed;
    }
    writing = false;
    return result;
}

}  // namespace ombrix::platform

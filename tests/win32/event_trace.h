#pragma once
// The events programs reported, as Wine's event log writes them to its debug
// output: the Win32 and end-to-end tests run with that output copied to the
// file OMBRIX_EVENT_TRACE names (with_event_trace.sh). Each ReportEventW call
// is one line with its arguments (advapi's fixme), then one line per
// insertion string (the eventlog channel), all on the calling thread.

#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "win32/helpers.h"

namespace ombrix::test {

struct TracedEvent {
    unsigned long type = 0;  // EVENTLOG_ERROR_TYPE, _WARNING_TYPE, _INFORMATION_TYPE
    unsigned long id = 0;
    bool user = false;                 // a SID was given
    std::vector<std::string> strings;  // as Wine writes them: non-ASCII as \xxxx
};

// Every event traced so far, in order; none when the trace is not on.
inline std::vector<TracedEvent> tracedEvents() {
    const char* path = std::getenv("OMBRIX_EVENT_TRACE");
    if (path == nullptr) return {};
    std::vector<TracedEvent> events;
    std::map<std::string, std::size_t> lastOfThread;
    constexpr std::string_view call = ":advapi:ReportEventW (";
    constexpr std::string_view piece = ":eventlog:ReportEventW L\"";
    std::string trace = readWholeFile(path).value_or("");
    trace.erase(trace.rfind('\n') == std::string::npos ? 0 : trace.rfind('\n') + 1);  // a line still being written
    for (const std::string& line : splitLines(trace)) {
        const std::string thread = line.substr(0, line.find(':'));
        if (const auto at = line.find(call); at != std::string::npos) {
            // handle, type, category, identifier, SID, count, ...
            std::vector<std::string> field;
            std::size_t from = at + call.size();
            for (std::size_t comma; (comma = line.find(',', from)) != std::string::npos; from = comma + 1) {
                field.push_back(line.substr(from, comma - from));
            }
            if (field.size() < 5) continue;
            lastOfThread[thread] = events.size();
            events.push_back({std::stoul(field[1], nullptr, 16), std::stoul(field[3], nullptr, 16),
                              field[4].find_first_not_of('0') != std::string::npos, {}});
        } else if (const auto text = line.find(piece); text != std::string::npos && lastOfThread.count(thread)) {
            const std::size_t end = line.rfind('"');
            const std::size_t begin = text + piece.size();
            events[lastOfThread[thread]].strings.push_back(end > begin ? line.substr(begin, end - begin) : "");
        }
    }
    return events;
}

}  // namespace ombrix::test

#pragma once
// The events programs reported, read from Wine's debug output in the file
// OMBRIX_EVENT_TRACE names (with_event_trace.sh): each ReportEventW call is a
// line with its arguments, then a line per string, on the calling thread.

#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "win32/helpers.h"

namespace ombrix::test {

struct TracedEvent {
    unsigned long id = 0;
    std::vector<std::string> strings;  // as Wine writes them: non-ASCII as \xxxx
};

inline std::vector<TracedEvent> tracedEvents() {
    const char* path = std::getenv("OMBRIX_EVENT_TRACE");
    std::string trace = path ? readWholeFile(path).value_or("") : "";
    trace.erase(trace.rfind('\n') + 1);  // a line still being written (npos + 1: none whole)
    std::vector<TracedEvent> events;
    std::map<std::string, std::size_t> lastOfThread;
    for (const std::string& line : splitLines(trace)) {
        const std::string thread = line.substr(0, line.find(':'));
        if (const auto at = line.find(":advapi:ReportEventW ("); at != std::string::npos) {
            std::vector<std::string> field;  // handle, type, category, identifier, SID, ...
            for (std::size_t from = at + 22, end; (end = line.find(',', from)) != std::string::npos; from = end + 1)
                field.push_back(line.substr(from, end - from));
            if (field.size() < 5) continue;
            lastOfThread[thread] = events.size();
            events.push_back({std::stoul(field[3], nullptr, 16), {}});
        } else if (const auto text = line.find(":eventlog:ReportEventW L\"");
                   text != std::string::npos && lastOfThread.count(thread)) {
            events[lastOfThread[thread]].strings.push_back(line.substr(text + 25, line.rfind('"') - text - 25));
        }
    }
    return events;
}

}  // namespace ombrix::test

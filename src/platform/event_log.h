#pragma once
// The system's event log, where a school's tools collect what happened on
// each PC: the program's own source in the Application log. What each event
// means, and its data, is the core's (core/events.h); this only writes.

#include <cstdint>
#include <string>
#include <vector>

namespace ombrix::platform {

enum class EventLevel { Information, Warning, Error };

class EventLog {
public:
    virtual ~EventLog() = default;
    // Writes one event: its identifier and its insertion strings (UTF-8),
    // in the order the message file numbers them. False when the system
    // refused it; never throws.
    virtual bool report(EventLevel level, std::uint32_t id, const std::vector<std::string>& strings) = 0;
};

}  // namespace ombrix::platform

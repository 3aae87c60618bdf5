#pragma once
// The system's event log, recording each event written.

#include <string>
#include <vector>

#include "platform/event_log.h"

namespace ombrix::test {

class FakeEventLog final : public platform::EventLog {
public:
    struct Written {
        platform::EventLevel level;
        std::uint32_t id;
        std::vector<std::string> strings;
        bool operator==(const Written&) const = default;
    };
    std::vector<Written> written;

    bool report(platform::EventLevel level, std::uint32_t id, const std::vector<std::string>& strings) override {
        written.push_back({level, id, strings});
        return true;
    }
};

}  // namespace ombrix::test

#pragma once
// Running processes: a snapshot of image names, and termination.

#include <cstdint>
#include <string>
#include <vector>

namespace ombrix::platform {

struct ProcessEntry {
    std::uint32_t id = 0;
    std::string imageName;  // e.g. "chrome.exe", as the system reports it
};

class Processes {
public:
    virtual ~Processes() = default;
    // Empty when the snapshot cannot be taken.
    [[nodiscard]] virtual std::vector<ProcessEntry> snapshot() = 0;
    // Terminates with exit code 0; false when it could not (gone, access denied).
    virtual bool terminate(std::uint32_t id) = 0;
};

}  // namespace ombrix::platform

#pragma once
// Running processes: a snapshot of image names, the names a program keeps
// inside its executable, and termination.

#include <cstdint>
#include <string>
#include <vector>

namespace ombrix::platform {

struct ProcessEntry {
    std::uint32_t id = 0;
    std::string imageName;  // e.g. "chrome.exe", as the system reports it
    // When it started, in the system's units; 0 when unknown. With the id it
    // tells a process from a later one that was given the same id.
    std::uint64_t startTime = 0;
};

class Processes {
public:
    virtual ~Processes() = default;
    // Empty when the snapshot cannot be taken.
    [[nodiscard]] virtual std::vector<ProcessEntry> snapshot() = 0;
    // Terminates with exit code 0; false when it could not (gone, access denied).
    virtual bool terminate(std::uint32_t id) = 0;
    // The names its executable keeps in its version resource (the original
    // file name, the internal name), which renaming the file does not change:
    // none when it has no version resource or cannot be read. Reading opens
    // the executable, so a caller asks once per process.
    [[nodiscard]] virtual std::vector<std::string> originalNames(const ProcessEntry&) { return {}; }
};

}  // namespace ombrix::platform

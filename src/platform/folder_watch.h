#pragma once
// Being woken when a folder's files change: the managed profiles' folder,
// which may be a share. A share's notifications may never come, so the
// caller waits with a time-out and looks again when it passes.

#include <chrono>
#include <memory>
#include <string_view>

namespace ombrix::platform {

class FolderWatch {
public:
    virtual ~FolderWatch() = default;
    // Watches `folder` (its files' names, sizes and times) from now on,
    // instead of the folder watched before; false when it cannot be
    // watched, and then only the time-out wakes.
    virtual bool watch(std::string_view folder) = 0;
    enum class Wake { Changed, TimedOut, Stopped };
    // Blocks until a change, the time-out or stop().
    virtual Wake wait(std::chrono::milliseconds timeout) = 0;
    // From any thread: every wait from now on returns Stopped at once.
    virtual void stop() = 0;
};

// The system's: a change notification on Windows; natively, where only tests
// and the command line run, the time-out and stop() alone.
std::unique_ptr<FolderWatch> makeFolderWatch();

}  // namespace ombrix::platform

#include "platform/process_control.h"

#include <string>

#include "platform/text.h"

namespace ombrix::platform {
namespace {

// The system's image names are fixed-width fields: a NUL ends the name.
std::string_view imageNameOf(const platform::ProcessEntry& p) {
    const std::string_view name = p.imageName;
    return name.substr(0, name.find('\0'));
}

}  // namespace

int KillProcess(platform::Processes& processes, std::string_view imageName) {
    const std::string wanted = lowerText(imageName);
    int result = 0;
    for (const auto& p : processes.snapshot()) {
        if (lowerText(imageNameOf(p)) == wanted) result = processes.terminate(p.id) ? 1 : 0;
    }
    return result;
}

bool IsProcessRunning(platform::Processes& processes, std::string_view imageName) {
    const std::string wanted = lowerText(imageName);
    for (const auto& p : processes.snapshot()) {
        if (lowerText(imageNameOf(p)) == wanted) return true;
    }
    return false;
}

void killUntilGone(Processes& processes, EventPump& pump, std::string_view imageName) {
    constexpr int kAttempts = 50;
    for (int attempt = 0; attempt < kAttempts && IsProcessRunning(processes, imageName); ++attempt) {
        pump.doEvents();
        KillProcess(processes, imageName);
    }
}

}  // namespace ombrix::platform

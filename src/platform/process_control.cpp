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

// Windows' own programs name their language file ("NOTEPAD.EXE.MUI") when
// the version is read through it.
bool sameName(std::string_view kept, std::string_view wanted) {
    if (equalsNoCase(kept, wanted)) return true;
    constexpr std::string_view kMui = ".mui";
    return kept.size() > kMui.size() && equalsNoCase(kept.substr(kept.size() - kMui.size()), kMui) &&
           equalsNoCase(kept.substr(0, kept.size() - kMui.size()), wanted);
}

}  // namespace

bool isProgram(Processes& processes, const ProcessEntry& process, std::string_view name) {
    if (equalsNoCase(imageNameOf(process), name)) return true;
    for (const auto& kept : processes.originalNames(process)) {
        if (sameName(kept, name)) return true;
    }
    return false;
}

int KillForbiddenProcess(Processes& processes, std::string_view name) {
    int result = 0;
    for (const auto& p : processes.snapshot()) {
        if (isProgram(processes, p, name)) result = processes.terminate(p.id) ? 1 : 0;
    }
    return result;
}

void killForbiddenUntilGone(Processes& processes, EventPump& pump, std::string_view name) {
    constexpr int kAttempts = 50;
    const auto running = [&] {
        for (const auto& p : processes.snapshot()) {
            if (isProgram(processes, p, name)) return true;
        }
        return false;
    };
    for (int attempt = 0; attempt < kAttempts && running(); ++attempt) {
        pump.doEvents();
        KillForbiddenProcess(processes, name);
    }
}

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

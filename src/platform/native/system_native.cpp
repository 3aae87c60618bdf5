#include <cstdlib>
#include <filesystem>
#include <system_error>

#include <unistd.h>

#include "platform/system.h"
#include "platform/files.h"

namespace ombrix::platform {
namespace {

class NativeSystem final : public System {
public:
    int windowsMajorVersion() override { return 0; }
    int windowsMinorVersion() override { return 0; }
    std::string environment(std::string_view name) override {
        const char* value = std::getenv(std::string(name).c_str());
        return value ? value : "";
    }
    std::string programFolder() override {
        std::error_code ec;
        const auto exe = std::filesystem::read_symlink("/proc/self/exe", ec);
        if (ec) return ".";
        return pathToUtf8(exe.parent_path());
    }
    std::string programFileName() override {
        std::error_code ec;
        const auto exe = std::filesystem::read_symlink("/proc/self/exe", ec);
        return ec ? std::string() : pathToUtf8(exe.filename());
    }
    bool elevated() override { return geteuid() == 0; }
};

}  // namespace

System& realSystem() {
    static NativeSystem instance;
    return instance;
}

char pathSeparator() { return '/'; }

char timeSeparator() { return ':'; }

}  // namespace ombrix::platform

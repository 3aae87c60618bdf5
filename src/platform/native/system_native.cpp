#include <cctype>
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
    std::uint16_t userInterfaceLanguage() override {
        // The first of these that is set names the messages' language, as
        // every program of the system reads them.
        for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
            const std::string locale = environment(name);
            if (locale.empty()) continue;
            return locale.rfind("it", 0) == 0 && (locale.size() == 2 || !std::isalpha(static_cast<unsigned char>(locale[2])))
                       ? 0x0410
                       : 0x0409;
        }
        return 0x0409;
    }
};

}  // namespace

System& realSystem() {
    static NativeSystem instance;
    return instance;
}

char pathSeparator() { return '/'; }

char timeSeparator() { return ':'; }

}  // namespace ombrix::platform

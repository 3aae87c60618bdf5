#include <filesystem>
#include <system_error>

#include "platform/filesystem.h"
#include "platform/files.h"

namespace ombrix::platform {
namespace {

class StdFileSystem final : public FileSystem {
public:
    bool fileExists(std::string_view path) override {
        std::error_code ec;
        return std::filesystem::is_regular_file(pathFromUtf8(path), ec);
    }
    bool createDirectory(std::string_view path) override {
        std::error_code ec;
        const auto p = pathFromUtf8(path);
        std::filesystem::create_directory(p, ec);
        return std::filesystem::is_directory(p, ec);
    }
    bool copyFile(std::string_view from, std::string_view to) override {
        std::error_code ec;
        std::filesystem::copy_file(pathFromUtf8(from), pathFromUtf8(to),
                                   std::filesystem::copy_options::overwrite_existing, ec);
        return !ec;
    }
    bool removeFile(std::string_view path) override {
        std::error_code ec;
        return std::filesystem::remove(pathFromUtf8(path), ec) && !ec;
    }
};

}  // namespace

FileSystem& realFileSystem() {
    static StdFileSystem instance;
    return instance;
}

}  // namespace ombrix::platform

#include <algorithm>
#include <filesystem>
#include <fstream>
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
    bool moveFile(std::string_view from, std::string_view to) override {
        std::error_code ec;
        std::filesystem::rename(pathFromUtf8(from), pathFromUtf8(to), ec);
        return !ec;
    }
    BoundedRead readFile(std::string_view path, std::size_t limit) override {
        // A folder opens as a stream on some systems: only a file is read.
        std::error_code ec;
        if (!std::filesystem::is_regular_file(pathFromUtf8(path), ec)) return {};
        std::ifstream in(pathFromUtf8(path), std::ios::binary);
        if (!in) return {};
        // Read in pieces up to one byte past the limit: a file that holds
        // more is told whatever its size said a moment before.
        std::string bytes;
        char piece[16 * 1024];
        while (in && bytes.size() <= limit) {
            in.read(piece, static_cast<std::streamsize>(std::min(sizeof piece, limit + 1 - bytes.size())));
            bytes.append(piece, static_cast<std::size_t>(in.gcount()));
        }
        if (in.bad()) return {};
        if (bytes.size() > limit) return {BoundedRead::Outcome::TooLarge, {}};
        return {BoundedRead::Outcome::Read, std::move(bytes)};
    }
};

}  // namespace

FileSystem& realFileSystem() {
    static StdFileSystem instance;
    return instance;
}

}  // namespace ombrix::platform

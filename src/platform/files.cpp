#include "platform/files.h"

#include <fstream>
#include <iterator>
#include <system_error>

namespace ombrix {

std::filesystem::path pathFromUtf8(std::string_view utf8) {
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

std::string pathToUtf8(const std::filesystem::path& path) {
    const std::u8string s = path.u8string();
    return std::string(s.begin(), s.end());
}

std::optional<std::string> readWholeFile(std::string_view path) {
    // A folder opens as a stream on some systems and then throws on the
    // first read: only a file is read.
    std::error_code ec;
    if (!std::filesystem::is_regular_file(pathFromUtf8(path), ec)) return std::nullopt;
    std::ifstream in(pathFromUtf8(path), std::ios::binary);
    if (!in) return std::nullopt;
    try {
        std::string data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        if (in.bad()) return std::nullopt;
        return data;
    } catch (const std::ios_base::failure&) {
        return std::nullopt;
    }
}

std::optional<std::uintmax_t> fileSize(std::string_view path) {
    std::error_code ec;
    const auto p = pathFromUtf8(path);
    if (!std::filesystem::is_regular_file(p, ec)) return std::nullopt;
    const auto size = std::filesystem::file_size(p, ec);
    if (ec) return std::nullopt;
    return size;
}

bool writeWholeFile(std::string_view path, std::string_view bytes) {
    const auto target = pathFromUtf8(path);
    auto temp = target;
    temp += ".tmp";
    {
        std::ofstream out(temp, std::ios::binary | std::ios::trunc);
        if (!out) return false;
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        out.flush();
        if (!out) {
            std::error_code ignored;
            std::filesystem::remove(temp, ignored);
            return false;
        }
    }
    std::error_code ec;
    std::filesystem::rename(temp, target, ec);
    if (ec) {
        std::error_code ignored;
        std::filesystem::remove(temp, ignored);
        return false;
    }
    return true;
}

}  // namespace ombrix

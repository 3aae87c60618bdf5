#include "platform/files.h"

#include <fstream>
#include <random>
#include <sstream>
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
    namespace fs = std::filesystem;
    const fs::path target = pathFromUtf8(path);
    std::error_code ec;
    // Only a file is replaced: a device, a pipe, a link or a folder stays.
    const fs::file_status status = fs::symlink_status(target, ec);
    if (fs::exists(status) && !fs::is_regular_file(status)) return false;
    // The new file beside the target, so that the rename stays on its disk,
    // under a name of 128 random bits that no other program's file has (one
    // that is there all the same is never written over).
    std::random_device random;
    fs::path temp;
    for (int attempt = 0;; ++attempt) {
        if (attempt == 8) return false;
        std::ostringstream name;
        name << '.' << pathToUtf8(target.filename()) << '.' << std::hex;
        for (int i = 0; i < 4; ++i) name << random();
        name << ".tmp";
        temp = target.parent_path() / pathFromUtf8(name.str());
        if (!fs::exists(fs::symlink_status(temp, ec))) break;
    }
    bool written = false;
    {
        std::ofstream out(temp, std::ios::binary | std::ios::trunc);
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        out.flush();
        written = static_cast<bool>(out);
    }
    if (written) fs::rename(temp, target, ec);
    if (!written || ec) {
        std::error_code ignored;
        fs::remove(temp, ignored);
        return false;
    }
    return true;
}

}  // namespace ombrix

#pragma once
// Whole-file reads and writes by UTF-8 path, on every platform.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace ombrix {

[[nodiscard]] std::filesystem::path pathFromUtf8(std::string_view utf8);
[[nodiscard]] std::string pathToUtf8(const std::filesystem::path& path);
[[nodiscard]] std::optional<std::string> readWholeFile(std::string_view path);
[[nodiscard]] std::optional<std::uintmax_t> fileSize(std::string_view path);
// Writes through a new file and a rename, so a failure leaves the old file.
// Refuses (false) a target that is there but is not a file (a device, a pipe,
// a link, a folder); writes over no other file than the target.
[[nodiscard]] bool writeWholeFile(std::string_view path, std::string_view bytes);

}  // namespace ombrix

#pragma once
// Reading the language file and the language settings file. Both are INI
// files in Windows-1252; every value comes back as UTF-8.

#include <cstddef>
#include <string>
#include <string_view>

namespace ombrix::ini {

// Files up to this size are read as the platform's profile reader reads them;
// larger ones by a plain line scan.
inline constexpr std::size_t kPlatformReaderLimit = 64000;
// Characters the platform reader is offered: values are cut to one less.
inline constexpr std::size_t kPlatformReaderBuffer = 512;

// The profile reader for files within the limit: section and key (UTF-8,
// letter case ignored), value cut at 511 characters, surrounding quotes
// removed. Returns the value's bytes as they stand in the file.
using ProfileReader = std::string (*)(const std::string& path, const std::string& section,
                                      const std::string& key);

// Reads the file the way the platform reader does, on any platform.
[[nodiscard]] std::string portableProfileString(const std::string& path, const std::string& section,
                                                const std::string& key);
// Same rules over text already in memory (raw bytes).
[[nodiscard]] std::string profileStringFromText(std::string_view fileText, std::string_view section,
                                                std::string_view key);

// The scan used for large files: the first line, in any section, that begins
// with the key (exact case); the rest after the key and "=", less its first
// and last character. Raw bytes.
[[nodiscard]] std::string scanByKeyFromText(std::string_view fileText, std::string_view key);

// The platform's own reader: the system call on Windows, the portable one elsewhere.
[[nodiscard]] ProfileReader systemProfileReader();

// The INI reader of the program: picks the path by file size; "" for a
// missing file, section or key.
[[nodiscard]] std::string readValue(const std::string& path, const std::string& section,
                                    const std::string& key, ProfileReader smallFileReader = systemProfileReader());

}  // namespace ombrix::ini

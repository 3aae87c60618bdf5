#include "platform/ini.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

#include "platform/files.h"
#include "platform/text.h"

namespace ombrix::ini {
namespace {

std::string_view trimSpace(std::string_view s) {
    auto blank = [](char c) { return c == ' ' || c == '\t'; };
    while (!s.empty() && blank(s.front())) s.remove_prefix(1);
    while (!s.empty() && blank(s.back())) s.remove_suffix(1);
    return s;
}

// Lines as the platform reader sees them: split at LF, CR dropped at the end.
std::vector<std::string_view> splitLines(std::string_view text) {
    std::vector<std::string_view> lines;
    std::size_t start = 0;
    while (start <= text.size()) {
        std::size_t end = text.find('\n', start);
        if (end == std::string_view::npos) end = text.size();
        std::string_view line = text.substr(start, end - start);
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        lines.push_back(line);
        if (end == text.size()) break;
        start = end + 1;
    }
    return lines;
}

// A name from the file (code page bytes) against one asked for (UTF-8),
// letter case ignored as the platform ignores it.
bool sameName(std::string_view fromFile, std::string_view asked) {
    return equalsNoCase(cp1252ToUtf8(fromFile), asked);
}

}  // namespace

std::string profileStringFromText(std::string_view fileText, std::string_view section, std::string_view key) {
    bool inSection = false;
    for (std::string_view line : splitLines(fileText)) {
        line = trimSpace(line);
        if (line.empty() || line.front() == ';') continue;
        if (line.front() == '[') {
            std::string_view name = line.substr(1);
            const std::size_t close = name.find(']');
            if (close != std::string_view::npos) name = name.substr(0, close);
            // Only the first section of a name counts.
            if (inSection) return {};
            inSection = sameName(trimSpace(name), section);
            continue;
        }
        if (!inSection) continue;
        const std::size_t eq = line.find('=');
        const std::string_view name = trimSpace(line.substr(0, eq));
        if (!sameName(name, key)) continue;
        std::string_view value = eq == std::string_view::npos ? std::string_view{} : trimSpace(line.substr(eq + 1));
        if (value.size() > 1 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front()) {
            value = value.substr(1, value.size() - 2);
        }
        if (value.size() > kPlatformReaderBuffer - 1) value = value.substr(0, kPlatformReaderBuffer - 1);
        return std::string(value);
    }
    return {};
}

std::string scanByKeyFromText(std::string_view fileText, std::string_view key) {
    std::size_t start = 0;
    while (start < fileText.size()) {
        // A line ends at CR, LF or CR LF, as the classic line reader ends it.
        std::size_t end = fileText.find_first_of("\r\n", start);
        if (end == std::string_view::npos) end = fileText.size();
        const std::string_view line = fileText.substr(start, end - start);
        if (line.substr(0, key.size()) == key) {
            const std::string_view rest = line.size() > key.size() + 1 ? line.substr(key.size() + 1) : std::string_view{};
            if (rest.size() < 2) return {};
            return std::string(rest.substr(1, rest.size() - 2));
        }
        start = end;
        if (start < fileText.size() && fileText[start] == '\r') ++start;
        if (start < fileText.size() && fileText[start] == '\n') ++start;
    }
    return {};
}

std::string portableProfileString(const std::string& path, const std::string& section, const std::string& key) {
    const auto text = readWholeFile(path);
    if (!text) return {};
    return profileStringFromText(*text, section, key);
}

std::string readValue(const std::string& path, const std::string& section, const std::string& key,
                      ProfileReader smallFileReader) {
    const auto size = fileSize(path);
    if (!size) return {};
    if (*size <= kPlatformReaderLimit) return cp1252ToUtf8(smallFileReader(path, section, key));
    const auto text = readWholeFile(path);
    if (!text) return {};
    return cp1252ToUtf8(scanByKeyFromText(*text, utf8ToCp1252(key)));
}

}  // namespace ombrix::ini

// The INI reader on any file text: the profile-reader rules and the line
// scan for large files. No crash, no hang, no read out of bounds; a value
// never exceeds what the reader promises.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/ini.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view all(reinterpret_cast<const char*>(data), size);
    // The first line names the section and key to look up; the rest is the file.
    const std::size_t cut = all.find('\n');
    const std::string_view head = cut == std::string_view::npos ? all : all.substr(0, cut);
    const std::string_view text = cut == std::string_view::npos ? std::string_view() : all.substr(cut + 1);
    const std::size_t eq = head.find('=');
    const std::string_view section = head.substr(0, eq);
    const std::string_view key = eq == std::string_view::npos ? std::string_view("0001") : head.substr(eq + 1);

    const std::string value = ombrix::ini::profileStringFromText(text, section, key);
    if (value.size() >= ombrix::ini::kPlatformReaderBuffer) std::abort();
    const std::string scanned = ombrix::ini::scanByKeyFromText(text, key);
    if (scanned.size() > text.size()) std::abort();
    return 0;
}

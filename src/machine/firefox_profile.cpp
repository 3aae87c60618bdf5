#include "machine/firefox_profile.h"

#include "platform/files.h"
#include "platform/text.h"

namespace ombrix::core {

std::string firefoxProfilePath(const std::string& appData, char separator) {
    if (appData.empty()) return {};
    const std::string sep(1, separator);
    const std::string base = appData + sep + "Mozilla" + sep + "Firefox" + sep;
    const auto ini = readWholeFile(base + "profiles.ini");
    if (!ini) return {};
    std::size_t start = 0;
    while (start < ini->size()) {
        std::size_t end = ini->find_first_of("\r\n", start);
        if (end == std::string::npos) end = ini->size();
        const std::string line = ini->substr(start, end - start);
        if (lowerText(line.substr(0, 5)) == "path=") {
            const std::string path = replaceAll(line.substr(5), "/", sep);
            return path.empty() ? std::string() : base + path;
        }
        start = end + 1;
    }
    return {};
}

bool clearFirefoxSession(platform::FileSystem& files, const std::string& profileFolder, char separator) {
    if (profileFolder.empty()) return true;
    const std::string session = profileFolder + separator + "sessionstore.js";
    for (int attempt = 0; attempt < 5 && files.fileExists(session); ++attempt) files.removeFile(session);
    return !files.fileExists(session);
}

}  // namespace ombrix::core

#include "machine/firefox_prefs.h"

#include "platform/files.h"
#include "platform/text.h"

namespace ombrix::core {
namespace {

std::vector<std::string_view> linesOf(std::string_view text) {
    std::vector<std::string_view> lines;
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t end = text.find_first_of("\r\n", start);
        if (end == std::string_view::npos) end = text.size();
        lines.push_back(text.substr(start, end - start));
        start = end + (text.compare(end, 2, "\r\n") == 0 ? 2 : 1);
    }
    return lines;
}

std::string prefsPath(const std::string& folder, char separator) { return folder + separator + "prefs.js"; }

bool rewritePrefs(const std::string& folder, char separator, const std::vector<std::string_view>& prefixes,
                  const std::vector<std::string>& appended) {
    if (folder.empty()) return false;
    const std::string path = prefsPath(folder, separator);
    const auto text = readWholeFile(path);
    if (!text) return false;
    return writeWholeFile(path, commentOutAndAppend(*text, prefixes, appended));
}

}  // namespace

std::string commentOutAndAppend(std::string_view prefs, const std::vector<std::string_view>& prefixes,
                                const std::vector<std::string>& appended) {
    std::string joined;
    for (const auto line : linesOf(prefs)) {
        if (!joined.empty()) joined += "\r\n";
        joined += line;
    }
    // A line made a comment before gains one more "//": harmless, and the
    // file says how often it was replaced.
    for (const auto prefix : prefixes) joined = replaceAll(joined, prefix, "//" + std::string(prefix));
    for (const auto& line : appended) joined += "\r\n" + line;
    return joined;
}

bool setFirefoxHomePage(const std::string& profileFolder, const std::string& address, char separator) {
    return rewritePrefs(profileFolder, separator, {kFirefoxHomePagePref},
                        {std::string(kFirefoxHomePagePref) + "\"" + address + "\");"});
}

bool ClearFirefoxHomePage(const std::string& profileFolder, char separator) {
    return rewritePrefs(profileFolder, separator, {kFirefoxHomePagePref}, {});
}

bool disableFirefoxCloseTabsWarning(const std::string& profileFolder, char separator) {
    return rewritePrefs(profileFolder, separator,
                        {"user_pref(\"browser.tabs.warnOnClose\",", "user_pref(\"browser.tabs.remote.autostart\",",
                         "user_pref(\"browser.sessionstore.resume_from_crash\","},
                        {"user_pref(\"browser.tabs.warnOnClose\",false);",
                         "user_pref(\"browser.tabs.remote.autostart\",false);",
                         "user_pref(\"browser.tabs.remote.autostart.2\",false);",
                         "user_pref(\"browser.sessionstore.resume_from_crash\",false);"});
}

std::string HomePageFirefox(const std::string& profileFolder, char separator) {
    if (profileFolder.empty()) return {};
    const auto text = readWholeFile(prefsPath(profileFolder, separator));
    if (!text) return {};
    std::string found;
    for (const auto line : linesOf(*text)) {
        const std::string_view trimmed = trimBlanks(line);
        if (trimmed.substr(0, kFirefoxHomePagePref.size()) != kFirefoxHomePagePref) continue;
        // user_pref("browser.startup.homepage","ADDRESS"); split at its quotes.
        std::vector<std::string_view> fields;
        std::size_t start = 0;
        for (std::size_t q; (q = trimmed.find('"', start)) != std::string_view::npos; start = q + 1) {
            fields.push_back(trimmed.substr(start, q - start));
        }
        fields.push_back(trimmed.substr(start));
        found = fields.size() > 3 ? std::string(fields[3]) : std::string();
    }
    return found;
}

}  // namespace ombrix::core

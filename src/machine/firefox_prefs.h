#pragma once
// The user's Firefox preferences file (prefs.js): the home page, the warning
// on closing tabs and the session restore. Every routine leaves the file as
// it was when it cannot read or write it; a missing file is never created.

#include <string>
#include <string_view>
#include <vector>

#include "platform/system.h"

namespace ombrix::core {

inline constexpr std::string_view kFirefoxHomePagePref = "user_pref(\"browser.startup.homepage\",";

// prefs.js's text with its lines joined by CR LF, every occurrence of each
// prefix preceded by "//", and each appended line added after a CR LF.
[[nodiscard]] std::string commentOutAndAppend(std::string_view prefs, const std::vector<std::string_view>& prefixes,
                                              const std::vector<std::string>& appended);

// Makes `address` Firefox's home page; false when prefs.js was not rewritten.
bool setFirefoxHomePage(const std::string& profileFolder, const std::string& address,
                                  char separator = platform::pathSeparator());
// Makes every line that sets the home page a comment: Firefox's own then counts.
bool ClearFirefoxHomePage(const std::string& profileFolder, char separator = platform::pathSeparator());
// No warning on closing tabs, no session restore after a crash.
bool disableFirefoxCloseTabsWarning(const std::string& profileFolder, char separator = platform::pathSeparator());
// The home page in force: the quoted address of the last line that sets it
// (lines made comments do not count); "" when there is none.
[[nodiscard]] std::string HomePageFirefox(const std::string& profileFolder,
                                          char separator = platform::pathSeparator());

}  // namespace ombrix::core

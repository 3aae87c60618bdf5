#pragma once
// The three lists of a profile as the enforcement reads them from the store,
// in the order the store returns them, and the names and titles the
// profile's switches add to them.

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/database.h"
#include "enforce/site_list.h"

namespace ombrix::enforce {

// The `Sito` values of a profile, empty and Null ones left out, compiled.
[[nodiscard]] SiteList loadSiteList(core::Database& db, long long profileId);

// `SitiProibiti` of the profile (Null reads false); nullopt when the profile
// has no row or the store cannot be read.
[[nodiscard]] std::optional<bool> readSitiProibiti(core::Database& db, long long profileId);

// The forbidden image names and window titles of a profile (Null reads "").
[[nodiscard]] std::vector<std::string> loadProcessNames(core::Database& db, long long profileId);
[[nodiscard]] std::vector<std::string> loadWindowTitles(core::Database& db, long long profileId);

// The six browsers the process timer hands over for.
inline constexpr std::array<std::string_view, 6> kInternalBrowserOnly = {
    "iexplore.exe", "firefox.exe", "opera.exe", "safari.exe", "chrome.exe", "microsoftedge.exe"};
// Browsers whose address is not read: forbidden while a site list is enforced.
inline constexpr std::array<std::string_view, 3> kUnreadBrowsers = {"opera.exe", "safari.exe", "microsoftedge.exe"};

// Window titles: the download dialog, the system clock dialogs, and the
// browser prompts that follow a forced close (silent: "_***_" in front).
inline constexpr std::string_view kSilentMark = "_***_";
inline constexpr std::string_view kDownloadTitle = "Download";
inline constexpr std::array<std::string_view, 2> kClockTitles = {"Data e ora", "Proprietà - Data e ora"};
inline constexpr std::array<std::string_view, 6> kBrowserPromptTitles = {
    "_***_Ripristinare le pagine?",      "_***_Estensioni non supportate disattivate",
    "_***_Restore pages?",               "_***_Unsupported extensions disabled",
    "_***_¿Quieres restaurar las páginas?", "_***_Extensiones no admitidas inhabilitadas"};

}  // namespace ombrix::enforce

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

// What a loader read, or the store's message when it could not read: an
// empty list and a list that could not be read must never look alike, or a
// damaged store would silently stop the filtering.
template <typename T>
struct Loaded {
    T value{};
    std::string error;  // empty when the read succeeded
    [[nodiscard]] bool ok() const { return error.empty(); }
};

// The `Sito` values of a profile, empty and Null ones left out, compiled,
// each whole: cut shorter, an entry of an allowed list would let more pages
// through. A value holding a NUL (written by another tool) makes the list
// unreadable (an error naming it), never an entry cut at the NUL.
[[nodiscard]] Loaded<SiteList> loadSiteList(core::Database& db, long long profileId);

// `SitiProibiti` of the profile (Null reads false); nullopt when the profile
// has no row.
[[nodiscard]] Loaded<std::optional<bool>> readForbiddenListSwitch(core::Database& db, long long profileId);

// The forbidden image names and window titles of a profile (Null reads ""),
// cut at the 255 characters the store's columns hold: longer text (written
// by another tool) would only make matching cost more. No image name is
// longer, and a title cut shorter only forbids more windows.
[[nodiscard]] Loaded<std::vector<std::string>> loadProcessNames(core::Database& db, long long profileId);
[[nodiscard]] Loaded<std::vector<std::string>> loadWindowTitles(core::Database& db, long long profileId);

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

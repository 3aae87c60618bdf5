#pragma once
// The switches of the profile in use, read whenever a profile is put in use.

#include <string>
#include <string_view>
#include <vector>

#include "core/database.h"

namespace ombrix::core {

struct ProfileSwitches {
    std::string printer;           // StampantePredefinita: printer to make the default
    std::string homePage;          // PaginaPredefinita: the home page
    bool blockDownloads = false;   // BloccaDownload
    bool kiosk = false;            // Kiosk
    bool startDisabled = false;    // TastoStartDisabilitato
    bool internalBrowser = false;  // UtilizzaBrowserInterno
    bool hideMessages = false;     // NascondiMessaggiNotifica
    bool maxProtection = false;    // ProtezioneMassima
    bool fullScreen = false;       // ApriPaginaInizialeATuttoSchermo

    bool operator==(const ProfileSwitches&) const = default;
};

// The columns of Profili the switches are read from and written to, in the
// order of switchesAt and switchValues.
inline constexpr const char* kSwitchColumns[] = {"Kiosk",
                                                 "TastoStartDisabilitato",
                                                 "BloccaDownload",
                                                 "NascondiMessaggiNotifica",
                                                 "UtilizzaBrowserInterno",
                                                 "ProtezioneMassima",
                                                 "ApriPaginaInizialeATuttoSchermo",
                                                 "StampantePredefinita",
                                                 "PaginaPredefinita"};

// The switches from a row whose kSwitchColumns start at column `first`;
// null columns read as off or empty.
[[nodiscard]] ProfileSwitches switchesAt(const Statement& q, int first);
void appendSwitchValues(const ProfileSwitches& s, std::vector<Value>& into);

struct AppliedProfile {
    ProfileSwitches switches;
    // A home page (an address or a program) is to be opened by TimerId::LaunchHomePage.
    bool homePagePending = false;
    // The store could not be read (another process held it locked): the
    // switches say nothing. Empty when read, or when the profile has no row.
    std::string unreadable;
};

// Reads the switches of a profile; a missing profile (0 is none) leaves every
// switch off and nothing pending. Null columns read as empty or false. A home
// page, trimmed, not empty sets the pending flag.
[[nodiscard]] AppliedProfile readProfileSwitches(Database& db, long long profileId);

// Whether a home page names a program to run rather than an address: it
// ends in ".exe" or ".bat", in any case, blanks around it aside. The one
// test for the editor's save, the import and the start of the home page,
// so a page saved as an address is never run as a program.
[[nodiscard]] bool homePageIsProgram(std::string_view page);

// The lists of the profile in use and their timers (the enforcement).
class ProfileLists {
public:
    virtual ~ProfileLists() = default;
    // The profile just put in use and its switches.
    virtual void setProfile(long long profileId, const ProfileSwitches& switches) = 0;
    virtual void loadSites(long long profileId) = 0;
    virtual void loadForbiddenProcesses() = 0;
    virtual void loadForbiddenWindows() = 0;
    // Forgets the last address seen, so the next one is logged again.
    virtual void forgetLastAddress() = 0;
    // The internal browser is no longer to be used (shutdown).
    virtual void clearInternalBrowser() {}
    // The program is shutting down: the loads that follow enforce nothing.
    // Anywhere else profile 0 is a profile without a row, whose empty allowed
    // list blocks every page.
    virtual void liftForShutdown() = 0;
};

}  // namespace ombrix::core

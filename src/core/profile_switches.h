#pragma once
// The switches of the profile in use, read whenever a profile is put in use.

#include <string>

#include "core/database.h"

namespace ombrix::core {

struct ProfileSwitches {
    std::string stampantePredefinita;           // StampantePredefinita: printer to make the default
    std::string paginaPredefinita;              // PaginaPredefinita: the home page
    bool bloccaDownload = false;                // BloccaDownload
    bool kiosk = false;                         // Kiosk
    bool tastoStartDisabilitato = false;        // TastoStartDisabilitato
    bool utilizzaBrowserInterno = false;        // UtilizzaBrowserInterno
    bool nascondiMessaggiNotifica = false;      // NascondiMessaggiNotifica
    bool protezioneMassima = false;             // ProtezioneMassima
    bool apriPaginaInizialeATuttoSchermo = false;  // ApriPaginaInizialeATuttoSchermo
};

struct AppliedProfile {
    ProfileSwitches switches;
    // A home page (an address or a program) is to be opened by tmrLanciaPaginaIniziale.
    bool homePagePending = false;
};

// Reads the switches of a profile; a missing profile (0 is none) leaves every
// switch off and nothing pending. Null columns read as empty or false. A home
// page, trimmed, not empty sets the pending flag.
[[nodiscard]] AppliedProfile readProfileSwitches(Database& db, long long profileId);

// Whether a home page names a program to run (".exe" or ".bat" at the end)
// rather than an address.
[[nodiscard]] bool homePageIsProgram(const std::string& page);

}  // namespace ombrix::core

#pragma once
// Where Group Policy (or a management service importing the administrative
// templates in policy/) leaves the machine's settings, and the names of the
// values the program reads there. The templates name the same key and values;
// a test holds the two together, so a value is added here and in
// policy/ombrix.admx at once.
//
// Texts are REG_SZ, switches REG_DWORD 0 or 1. A value that is missing means
// "not configured": the store's setting applies.

#include <array>
#include <string_view>

namespace ombrix::core::policy {

// Under the local machine's root: only administrators (and Group Policy,
// which runs as the system) can write it.
inline constexpr std::string_view kPolicyKey = "SOFTWARE\\Policies\\Ombrix";

// The administrator password as a stored hash ("pbkdf2-sha256$...").
inline constexpr std::string_view kAdminPasswordHash = "AdminPasswordHash";

// An exchange file, or a folder of them, whose profiles are managed; an
// optional SHA-256 (hex) that the file must match.
inline constexpr std::string_view kManagedProfilesPath = "ManagedProfilesPath";
inline constexpr std::string_view kManagedProfilesSha256 = "ManagedProfilesSha256";

// The profile in use, by name.
inline constexpr std::string_view kProfileInUse = "ProfileInUse";

// The time slots: the switch, three slots (times "HH:MM" or "HH:MM:SS",
// 24-hour; a profile by name) and the profile for the hours no slot covers.
inline constexpr std::string_view kTimeSlots = "TimeSlots";
inline constexpr std::string_view kSlot1From = "Slot1From";
inline constexpr std::string_view kSlot1To = "Slot1To";
inline constexpr std::string_view kSlot1Profile = "Slot1Profile";
inline constexpr std::string_view kSlot2From = "Slot2From";
inline constexpr std::string_view kSlot2To = "Slot2To";
inline constexpr std::string_view kSlot2Profile = "Slot2Profile";
inline constexpr std::string_view kSlot3From = "Slot3From";
inline constexpr std::string_view kSlot3To = "Slot3To";
inline constexpr std::string_view kSlot3Profile = "Slot3Profile";
inline constexpr std::string_view kFallbackProfile = "FallbackProfile";
// Each slot's three values: its start, its end, its profile.
inline constexpr std::array<std::array<std::string_view, 3>, 3> kSlotValueNames{{{kSlot1From, kSlot1To, kSlot1Profile},
                                                                               {kSlot2From, kSlot2To, kSlot2Profile},
                                                                               {kSlot3From, kSlot3To, kSlot3Profile}}};

// Machine-wide switches.
inline constexpr std::string_view kAutostart = "Autostart";
inline constexpr std::string_view kOnScreenKeyboard = "OnScreenKeyboard";
inline constexpr std::string_view kVisitedSitesLog = "VisitedSitesLog";

// Every value above: what the templates must cover, no more and no less.
inline constexpr std::array kAllValueNames = {
    kAdminPasswordHash, kManagedProfilesPath, kManagedProfilesSha256, kProfileInUse, kTimeSlots,
    kSlot1From,         kSlot1To,             kSlot1Profile,          kSlot2From,    kSlot2To,
    kSlot2Profile,      kSlot3From,           kSlot3To,               kSlot3Profile, kFallbackProfile,
    kAutostart,         kOnScreenKeyboard,    kVisitedSitesLog,
};

}  // namespace ombrix::core::policy

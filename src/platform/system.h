#pragma once
// Facts about the machine and the running program.

#include <cstdint>
#include <string>
#include <string_view>

namespace ombrix::platform {

class System {
public:
    virtual ~System() = default;
    [[nodiscard]] virtual int windowsMajorVersion() = 0;
    [[nodiscard]] virtual int windowsMinorVersion() = 0;
    // Empty when the variable is not set.
    [[nodiscard]] virtual std::string environment(std::string_view name) = 0;
    // The folder of the running executable, without a trailing separator
    // (except for a drive root such as "C:\").
    [[nodiscard]] virtual std::string programFolder() = 0;
    // The running executable's file name ("ombrix.exe"), as it is on disk:
    // an administrator may have renamed it.
    [[nodiscard]] virtual std::string programFileName() = 0;
    // True when the process holds administrator rights in full (an elevated
    // token): only then may it write the protected store.
    [[nodiscard]] virtual bool elevated() = 0;
    // The user's display language, as Windows identifies languages (0x0410
    // Italian, 0x0409 English). Natively, from the locale's environment
    // variables: Italian or English only.
    [[nodiscard]] virtual std::uint16_t userInterfaceLanguage() = 0;
};

// Whether the administrator's changes must go through the consent prompt:
// the process is not elevated, or the tests ask it to act as a standard
// user's (OMBRIX_AS_STANDARD_USER=1). The variable can only add a prompt,
// never take one away.
[[nodiscard]] inline bool changesNeedConsent(System& system) {
    return !system.elevated() || system.environment("OMBRIX_AS_STANDARD_USER") == "1";
}

// The running machine. Natively the Windows version reads as 0.
System& realSystem();

// The separator this platform puts between folder and file names.
[[nodiscard]] char pathSeparator();

// The time separator of the thread's locale (":" where it has none of one
// character); natively always ":".
[[nodiscard]] char timeSeparator();

}  // namespace ombrix::platform

#pragma once
// The system's printers as the default-printer routine and the profile
// editor see them: the "windows" and "PrinterPorts" sections of the user's
// profile, and the spooler.

#include <string>
#include <string_view>
#include <vector>

namespace ombrix::platform {

class Printers {
public:
    virtual ~Printers() = default;
    // A value of the user's profile (GetProfileString); "" when missing.
    [[nodiscard]] virtual std::string profileString(std::string_view section, std::string_view key) = 0;
    // Writes the "windows" section's "Device" ("name,driver,port") and tells
    // every top-level window that the section changed. False when not written.
    virtual bool writeDefaultDevice(std::string_view device) = 0;
    // Reads the printer's level-2 information and writes it back, so that the
    // spooler takes the new default. False when the printer cannot be opened.
    virtual bool rewriteSettings(std::string_view printer) = 0;
    // The printers installed here, local and connected, in the spooler's
    // order; empty when there are none or the spooler cannot be asked.
    [[nodiscard]] virtual std::vector<std::string> installed() = 0;
};

}  // namespace ombrix::platform

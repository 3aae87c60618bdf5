#pragma once
// The system's file dialogs, to pick a file to write or to read. A filter is
// written as the classic common dialog took it: "Description|pattern".

#include <optional>
#include <string>
#include <string_view>

namespace ombrix::platform {

class FileDialogs {
public:
    virtual ~FileDialogs() = default;
    // The save dialog, starting with `initialName`; nullopt when cancelled.
    // It never asks about replacing a file: the caller does.
    virtual std::optional<std::string> saveFileName(std::string_view filter, std::string_view initialName) = 0;
    // The open dialog with an empty name; nullopt when cancelled.
    virtual std::optional<std::string> openFileName(std::string_view filter) = 0;
};

}  // namespace ombrix::platform

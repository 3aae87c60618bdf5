#pragma once
// The common file dialogs (GetSaveFileNameW, GetOpenFileNameW), owned by one
// window so that they block it while they are open.

#include <windows.h>

#include "platform/file_dialogs.h"

namespace ombrix::win32 {

class Win32FileDialogs final : public platform::FileDialogs {
public:
    explicit Win32FileDialogs(HWND owner) : owner_(owner) {}
    std::optional<std::string> saveFileName(std::string_view filter, std::string_view initialName) override;
    std::optional<std::string> openFileName(std::string_view filter) override;

private:
    HWND owner_;
};

}  // namespace ombrix::win32

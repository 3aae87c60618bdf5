#include "platform/win32/file_dialogs_win32.h"

#include <commdlg.h>

#include <algorithm>
#include <string>
#include <vector>

#include "platform/failures.h"
#include "platform/win32/wide.h"

namespace ombrix::win32 {
namespace {

// "Name|pattern" as the dialog takes it: each part ended by NUL, then one more.
std::wstring filterList(std::string_view filter) {
    std::wstring out = toWide(filter);
    for (wchar_t& c : out) {
        if (c == L'|') c = L'\0';
    }
    out.push_back(L'\0');
    out.push_back(L'\0');
    return out;
}

std::optional<std::string> run(HWND owner, std::string_view filter, std::string_view initialName, bool save) {
    const std::wstring filters = filterList(filter);
    // Room for a long path; the initial name is cut to fit.
    std::vector<wchar_t> name(32768, L'\0');
    const std::wstring initial = toWide(initialName).substr(0, name.size() - 1);
    std::copy(initial.begin(), initial.end(), name.begin());
    OPENFILENAMEW ofn{};
    ofn.lStructSize = sizeof(ofn);
    ofn.hwndOwner = owner && IsWindow(owner) ? owner : nullptr;
    ofn.lpstrFilter = filters.c_str();
    ofn.nFilterIndex = 1;
    ofn.lpstrFile = name.data();
    ofn.nMaxFile = static_cast<DWORD>(name.size());
    ofn.lpstrDefExt = L"OX";
    // The program's working folder stays where it was; the replace question
    // is the caller's.
    ofn.Flags = OFN_NOCHANGEDIR | OFN_HIDEREADONLY | OFN_EXPLORER | OFN_PATHMUSTEXIST;
    const BOOL chosen = save ? GetSaveFileNameW(&ofn) : GetOpenFileNameW(&ofn);
    if (!chosen) {
        if (const DWORD error = CommDlgExtendedError()) {
            // Its own codes (CDERR_...), not the system's: no text to look up.
            platform::recordFailure("the common file dialog failed", "code " + std::to_string(error));
        }
        return std::nullopt;
    }
    return fromWide(name.data());
}

}  // namespace

std::optional<std::string> Win32FileDialogs::saveFileName(std::string_view filter, std::string_view initialName) {
    return platform::guarded([&] { return run(owner_, filter, initialName, true); });
}

std::optional<std::string> Win32FileDialogs::openFileName(std::string_view filter) {
    return platform::guarded([&] { return run(owner_, filter, {}, false); });
}

}  // namespace ombrix::win32

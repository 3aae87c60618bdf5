#include <windows.h>
// shlobj.h needs the types of windows.h first.
#include <shlobj.h>

#include <vector>

#include "platform/failures.h"
#include "platform/win32/handles.h"
#include "platform/win32/machine.h"
#include "platform/win32/wide.h"

namespace ombrix::win32 {
namespace {

UINT iconStyle(platform::MessageIcon icon) {
    switch (icon) {
        case platform::MessageIcon::Exclamation: return MB_ICONEXCLAMATION;
        case platform::MessageIcon::Critical: return MB_ICONERROR;
        case platform::MessageIcon::Information: break;
    }
    return MB_ICONINFORMATION;
}

}  // namespace

HWND Win32Dialogs::liveOwner() const { return owner_ && IsWindow(owner_) ? owner_ : nullptr; }

platform::MessageAnswer Win32Dialogs::messageBox(const platform::MessageBoxRequest& request) {
    const bool question = request.buttons == platform::MessageButtons::YesNo;
    int answer = 0;
    try {
        // The form in front (an editor over the main form) owns the box, so
        // the box blocks that form and shows above it.
        const HWND active = GetActiveWindow();
        const HWND owner = active ? active : liveOwner();
        UINT style = iconStyle(request.icon) | (question ? MB_YESNO : MB_OK);
        // Without an owner the box still blocks the program's other windows.
        if (!owner) style |= MB_TASKMODAL;
        // Over a form kept on top, the box must be on top too to be seen.
        if (owner && (GetWindowLongW(owner, GWL_EXSTYLE) & WS_EX_TOPMOST)) style |= MB_TOPMOST;
        answer = MessageBoxW(owner, toWide(request.text).c_str(), toWide(request.title).c_str(), style);
    } catch (...) {
        platform::recordCurrentFailure();
        answer = 0;  // callers sit in window procedures and timers: nothing may escape
    }
    if (!question) return platform::MessageAnswer::Ok;
    // A question nobody could see is not a yes.
    return answer == IDYES ? platform::MessageAnswer::Yes : platform::MessageAnswer::No;
}

std::optional<std::string> Win32Dialogs::browseForFolder(const std::string& prompt) {
    // The folder browser needs COM on this thread; a thread that has it
    // already (in any model) keeps it as it is.
    const ComApartment com = ComApartment::enter(COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE);
    return platform::guarded([&] { return browse(prompt); });
}

std::optional<std::string> Win32Dialogs::browse(const std::string& prompt) const {
    const std::wstring title = toWide(prompt);
    std::vector<wchar_t> displayName(MAX_PATH, L'\0');
    BROWSEINFOW info{};
    info.hwndOwner = liveOwner();
    info.pszDisplayName = displayName.data();
    info.lpszTitle = title.c_str();
    info.ulFlags = BIF_RETURNONLYFSDIRS;
    const UniqueCoTaskMem<PIDLIST_ABSOLUTE> chosen(SHBrowseForFolderW(&info));
    if (!chosen) return std::nullopt;
    std::vector<wchar_t> path(1024, L'\0');
    if (!SHGetPathFromIDListW(chosen.get(), path.data())) return std::nullopt;
    path.back() = L'\0';
    const std::wstring folder(path.data());
    if (folder.empty()) return std::nullopt;
    return fromWide(folder);
}

}  // namespace ombrix::win32

#include "support/win32/keep_on_top.h"

namespace ombrix::win32 {

void keepOnTop(HWND window, Above above) {
    if (!window || !IsWindowVisible(window) || IsIconic(window)) return;
    bool raise = (GetWindowLongPtrW(window, GWL_EXSTYLE) & WS_EX_TOPMOST) == 0;
    for (HWND w = GetWindow(window, GW_HWNDPREV); w && !raise; w = GetWindow(w, GW_HWNDPREV)) {
        if (!IsWindowVisible(w)) continue;
        DWORD process = 0;
        GetWindowThreadProcessId(w, &process);
        raise = above == Above::Any || process != GetCurrentProcessId();
    }
    if (raise) SetWindowPos(window, HWND_TOPMOST, 0, 0, 0, 0, SWP_NOSIZE | SWP_NOMOVE | SWP_SHOWWINDOW | SWP_NOACTIVATE);
}

}  // namespace ombrix::win32

// metrokiller [/s]: closes the shell's Start surface (the Start menu of the
// classic shells, the Start screen of 6.2 and 6.3, the Start window of 10)
// when one is open, and ends. It never shows anything; /s is accepted as
// the lockdown passes it. Exit code: 0 a surface was closed, 1 none was
// open, 2 one stayed open.
//
// Detected by the shell's own windows: a visible popup menu ("#32768") of
// the process that owns the task bar, the Start menu host ("DV2ControlHost"),
// the Start screen ("ImmersiveLauncher") and the Start window of 10
// ("Windows.UI.Core.CoreWindow" titled "Start"). A menu or the menu host is
// closed with Escape posted to it (its menu loop reads it; a posted key never
// passes the program's own keyboard filter); the immersive surfaces are
// dismissed by giving the foreground to the desktop.
#include <windows.h>

#include <string>
#include <vector>

namespace {

std::wstring classOf(HWND w) {
    wchar_t name[128] = {};
    GetClassNameW(w, name, 128);
    return name;
}

std::wstring titleOf(HWND w) {
    wchar_t text[128] = {};
    GetWindowTextW(w, text, 128);
    return text;
}

enum class Kind { Menu, Immersive };
struct Surface {
    HWND window;
    Kind kind;
};

std::vector<Surface> openSurfaces() {
    struct Search {
        DWORD shell = 0;
        std::vector<Surface> found;
    } search;
    if (HWND taskbar = FindWindowW(L"Shell_TrayWnd", nullptr)) GetWindowThreadProcessId(taskbar, &search.shell);
    EnumWindows(
        [](HWND w, LPARAM lp) -> BOOL {
            auto& s = *reinterpret_cast<Search*>(lp);
            if (!IsWindowVisible(w)) return TRUE;
            const std::wstring cls = classOf(w);
            DWORD process = 0;
            GetWindowThreadProcessId(w, &process);
            if ((cls == L"#32768" && s.shell != 0 && process == s.shell) || cls == L"DV2ControlHost") {
                s.found.push_back({w, Kind::Menu});
            } else if (cls == L"ImmersiveLauncher" ||
                       (cls == L"Windows.UI.Core.CoreWindow" && titleOf(w) == L"Start")) {
                s.found.push_back({w, Kind::Immersive});
            }
            return TRUE;
        },
        reinterpret_cast<LPARAM>(&search));
    return search.found;
}

void close(const Surface& s) {
    if (s.kind == Kind::Menu) {
        PostMessageW(s.window, WM_KEYDOWN, VK_ESCAPE, 0);
        PostMessageW(s.window, WM_KEYUP, VK_ESCAPE, 0xC0000001);
        return;
    }
    HWND desktop = FindWindowW(L"Progman", nullptr);
    SetForegroundWindow(desktop ? desktop : GetDesktopWindow());
}

}  // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, PWSTR, int) {
    std::vector<Surface> open = openSurfaces();
    if (open.empty()) return 1;
    // One Escape closes one level of a menu: a submenu takes a few rounds.
    for (int round = 0; round < 8 && !open.empty(); ++round) {
        for (const Surface& s : open) close(s);
        for (int wait = 0; wait < 25 && !openSurfaces().empty(); ++wait) Sleep(20);
        open = openSurfaces();
    }
    return open.empty() ? 0 : 2;
}

// window_recorder --log FILE [--title T] [ARG...]
//
// Log lines (UTF-8, one event each, the file reopened per line so a test can
// read it while the program runs):
//   start PID | show USESHOWWINDOW WSHOWWINDOW | cwd FOLDER | arg TEXT
//   creating TICK (GetTickCount64 as its window is made) | close
//   key VK (a key pressed while it has the focus, in decimal)
//   char UNIT (a character typed, its UTF-16 unit in decimal) | focus lost
#include <windows.h>
#include <shellapi.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

std::wstring g_log;

std::string utf8(const std::wstring& w) {
    const int n = WideCharToMultiByte(CP_UTF8, 0, w.data(), static_cast<int>(w.size()), nullptr, 0, nullptr, nullptr);
    std::string out(static_cast<std::size_t>(n), '\0');
    WideCharToMultiByte(CP_UTF8, 0, w.data(), static_cast<int>(w.size()), out.data(), n, nullptr, nullptr);
    return out;
}

void record(const std::string& line) {
    if (FILE* f = g_log.empty() ? nullptr : _wfopen(g_log.c_str(), L"ab")) {
        std::fputs((line + "\n").c_str(), f);
        std::fclose(f);
    }
}

LRESULT CALLBACK windowProc(HWND hwnd, UINT msg, WPARAM wp, LPARAM lp) {
    switch (msg) {
        case WM_CLOSE:
            record("close");
            DestroyWindow(hwnd);
            return 0;
        case WM_KEYDOWN:
        case WM_SYSKEYDOWN:
            record("key " + std::to_string(wp));
            return DefWindowProcW(hwnd, msg, wp, lp);
        case WM_CHAR:
            record("char " + std::to_string(wp));
            return 0;
        case WM_KILLFOCUS:
            record("focus lost");
            return DefWindowProcW(hwnd, msg, wp, lp);
        case WM_TIMER:  // a forgotten recorder does not outlive the test run by much
            DestroyWindow(hwnd);
            return 0;
        case WM_DESTROY:
            PostQuitMessage(0);
            return 0;
        default:
            return DefWindowProcW(hwnd, msg, wp, lp);
    }
}

}  // namespace

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE, PWSTR, int) {
    const wchar_t* const className = L"OmbrixWindowRecorder";
    std::wstring title = L"Ombrix window recorder";
    std::vector<std::wstring> extra;
    int argc = 0;
    LPWSTR* argv = CommandLineToArgvW(GetCommandLineW(), &argc);
    for (int i = 1; argv && i < argc; ++i) {
        const std::wstring a = argv[i];
        const bool hasValue = i + 1 < argc;
        if (a == L"--log" && hasValue) {
            g_log = argv[++i];
        } else if (a == L"--title" && hasValue) {
            title = argv[++i];
        } else {
            extra.push_back(a);
        }
    }
    LocalFree(argv);

    record("start " + std::to_string(GetCurrentProcessId()));
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    GetStartupInfoW(&startup);
    const bool useShow = startup.dwFlags & STARTF_USESHOWWINDOW;
    record("show " + std::string(useShow ? "1" : "0") + " " + std::to_string(startup.wShowWindow));
    wchar_t cwd[MAX_PATH] = {};
    GetCurrentDirectoryW(MAX_PATH, cwd);
    record("cwd " + utf8(cwd));
    for (const auto& a : extra) record("arg " + utf8(a));

    WNDCLASSW wc{};
    wc.lpfnWndProc = windowProc;
    wc.hInstance = instance;
    wc.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    wc.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_WINDOW + 1);
    wc.lpszClassName = className;
    if (!RegisterClassW(&wc)) return 1;
    record("creating " + std::to_string(GetTickCount64()));
    HWND hwnd = CreateWindowExW(0, className, title.c_str(), WS_OVERLAPPEDWINDOW, 80, 80, 420, 180, nullptr,
                                nullptr, instance, nullptr);
    if (!hwnd) return 1;
    // The first show takes the state the starter asked for, as any program's does.
    const int cmdShow = useShow ? startup.wShowWindow : SW_SHOWNORMAL;
    ShowWindow(hwnd, cmdShow);
    if (cmdShow == SW_SHOWNORMAL || cmdShow == SW_SHOWMAXIMIZED || cmdShow == SW_SHOW) SetForegroundWindow(hwnd);
    SetTimer(hwnd, 1, 60000, nullptr);

    MSG msg;
    while (GetMessageW(&msg, nullptr, 0, 0) > 0) {
        TranslateMessage(&msg);
        DispatchMessageW(&msg);
    }
    return 0;
}

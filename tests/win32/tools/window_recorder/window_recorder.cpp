// window_recorder --log FILE [--title T] [ARG...]
// Log lines (UTF-8, the file reopened per line so a test reads it as it runs):
//   start PID | show USESHOWWINDOW WSHOWWINDOW | arg TEXT
//   creating TICK (GetTickCount64 as its window is made) | close | focus lost
//   key VK (pressed while it has the focus) | char UNIT (typed, a UTF-16 unit), in decimal
#include <windows.h>
#include <shellapi.h>

#include <cstdio>
#include <string>

namespace {

std::wstring g_log;

void record(const std::string& prefix, const std::wstring& text = {}) {
    std::string out(text.size() * 3, '\0');
    out.resize(static_cast<std::size_t>(WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                                            out.data(), static_cast<int>(out.size()), nullptr, nullptr)));
    if (FILE* f = g_log.empty() ? nullptr : _wfopen(g_log.c_str(), L"ab")) {
        std::fputs((prefix + out + "\n").c_str(), f);
        std::fclose(f);
    }
}

LRESULT CALLBACK windowProc(HWND hwnd, UINT msg, WPARAM wp, LPARAM lp) {
    switch (msg) {
        case WM_CLOSE:
            record("close");
            [[fallthrough]];
        case WM_TIMER:  // a forgotten recorder does not outlive the test run by much
            DestroyWindow(hwnd);
            return 0;
        case WM_KEYDOWN:
        case WM_SYSKEYDOWN: record("key " + std::to_string(wp)); break;
        case WM_CHAR: record("char " + std::to_string(wp)); return 0;
        case WM_KILLFOCUS: record("focus lost"); break;
        case WM_DESTROY: PostQuitMessage(0); return 0;
    }
    return DefWindowProcW(hwnd, msg, wp, lp);
}

}  // namespace

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE, PWSTR, int) {
    std::wstring title = L"Ombrix window recorder";
    int argc = 0;
    LPWSTR* argv = CommandLineToArgvW(GetCommandLineW(), &argc);
    for (int i = 1; argv && i < argc; ++i) {  // the log first: the arguments are logged in the next loop
        const std::wstring a = argv[i];
        if ((a == L"--log" || a == L"--title") && i + 1 < argc) (a == L"--log" ? g_log : title) = argv[++i];
    }
    record("start " + std::to_string(GetCurrentProcessId()));
    STARTUPINFOW startup{};
    GetStartupInfoW(&startup);
    const bool useShow = startup.dwFlags & STARTF_USESHOWWINDOW;
    record("show " + std::string(useShow ? "1" : "0") + " " + std::to_string(startup.wShowWindow));
    for (int i = 1; argv && i < argc; ++i) {
        const std::wstring a = argv[i];
        if ((a == L"--log" || a == L"--title") && i + 1 < argc) ++i;
        else record("arg ", a);
    }
    LocalFree(argv);
    const WNDCLASSW wc{0, windowProc, 0, 0, instance, nullptr, LoadCursorW(nullptr, IDC_ARROW),
                       HBRUSH(COLOR_WINDOW + 1), nullptr, L"OmbrixWindowRecorder"};
    if (!RegisterClassW(&wc)) return 1;
    record("creating " + std::to_string(GetTickCount64()));
    HWND hwnd = CreateWindowExW(0, wc.lpszClassName, title.c_str(), WS_OVERLAPPEDWINDOW, 80, 80, 420, 180, nullptr,
                                nullptr, instance, nullptr);
    if (!hwnd) return 1;
    // The first show takes the state the starter asked for, as any program's does.
    const int cmdShow = useShow ? startup.wShowWindow : SW_SHOWNORMAL;
    ShowWindow(hwnd, cmdShow);
    if (cmdShow == SW_SHOWNORMAL || cmdShow == SW_SHOWMAXIMIZED || cmdShow == SW_SHOW) SetForegroundWindow(hwnd);
    SetTimer(hwnd, 1, 60000, nullptr);
    MSG msg;
    while (GetMessageW(&msg, nullptr, 0, 0) > 0) TranslateMessage(&msg), DispatchMessageW(&msg);
    return 0;
}

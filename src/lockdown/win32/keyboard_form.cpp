#include "lockdown/win32/keyboard_form.h"

#include <shellapi.h>

#include <string>
#include <vector>

#include "platform/failures.h"
#include "platform/win32/wide.h"
#include "support/language.h"

namespace ombrix::win32 {
namespace {

constexpr wchar_t kClassName[] = L"OmbrixTastiera";
constexpr UINT kPressMessage = WM_APP + 71;    // lParam: the client point pressed
constexpr UINT kReapplyMessage = WM_APP + 72;  // the hook saw the mouse move or click
constexpr int kFirstKeyId = 100;
constexpr int kKeyPoints = 11;
constexpr COLORREF kKeyFace = RGB(255, 255, 255);
constexpr COLORREF kKeyText = RGB(0, 0, 0);
static_assert(lockdown::kPlacementFlags == (SWP_NOACTIVATE | SWP_SHOWWINDOW));

KeyboardForm* g_keyboard = nullptr;

int screenDpi() {
    const WindowDc screen(nullptr);
    const int dpi = screen ? GetDeviceCaps(screen.get(), LOGPIXELSY) : 96;
    return dpi > 0 ? dpi : 96;
}

// The task bar's height as the shell reports it; a shell that reports a bar
// of no height (as some do) is measured by its window instead.
int taskbarHeight() {
    APPBARDATA bar{};
    bar.cbSize = sizeof bar;
    bar.hWnd = FindWindowW(L"Shell_TrayWnd", nullptr);
    int height = 0;
    if (SHAppBarMessage(ABM_GETTASKBARPOS, &bar)) height = lockdown::taskbarHeight(bar.rc.top, bar.rc.bottom);
    RECT r{};
    if (height == 0 && bar.hWnd && IsWindowVisible(bar.hWnd) && GetWindowRect(bar.hWnd, &r)) {
        height = lockdown::taskbarHeight(r.top, r.bottom);
    }
    return height;
}

}  // namespace

KeyboardForm::KeyboardForm(Language& language) : language_(language) {
    WNDCLASSW wc{};
    wc.lpfnWndProc = &KeyboardForm::windowProc;
    wc.hInstance = GetModuleHandleW(nullptr);
    wc.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    wc.hbrBackground = GetSysColorBrush(COLOR_BTNFACE);
    wc.lpszClassName = kClassName;
    RegisterClassW(&wc);
    g_keyboard = this;
}

KeyboardForm::~KeyboardForm() {
    hook_.reset();
    window_.reset();
    if (g_keyboard == this) g_keyboard = nullptr;
}

void KeyboardForm::load() {
    if (window_) return;
    texts_.translate([&](const std::string& section, const std::string& key) {
        return language_.formValue(section, key);
    });
    const std::wstring title = toWide(texts_.title());
    window_.reset(CreateWindowExW(WS_EX_TOPMOST | WS_EX_NOACTIVATE | WS_EX_APPWINDOW, kClassName, title.c_str(),
                                  WS_POPUP | WS_CAPTION | WS_SYSMENU | WS_MINIMIZEBOX | WS_MAXIMIZEBOX, 0, 0, 0, 0,
                                  nullptr, nullptr, GetModuleHandleW(nullptr), this));
    if (!window_) {
        platform::recordFailure("the on-screen keyboard could not be made", {}, {GetLastError()});
        return;
    }
    const auto keys = lockdown::onScreenKeys();
    for (std::size_t i = 0; i < keys.size(); ++i) {
        CreateWindowExW(0, L"STATIC", L"", WS_CHILD | WS_VISIBLE | WS_BORDER | SS_CENTER | SS_CENTERIMAGE, 0, 0, 0,
                        0, window_.get(), reinterpret_cast<HMENU>(static_cast<INT_PTR>(kFirstKeyId + i)),
                        GetModuleHandleW(nullptr), nullptr);
    }
    showCase();
}

void KeyboardForm::show() {
    load();
    if (!window_) return;
    // Its own slot: emptied first, as every hook's.
    hook_.reset();
    hook_.reset(SetWindowsHookExW(WH_MOUSE_LL, &KeyboardForm::mouseHook, GetModuleHandleW(nullptr), 0));
    if (!hook_) {
        platform::recordFailure("the on-screen keyboard's mouse hook could not be installed", {}, {GetLastError()});
    }
    if (IsIconic(window_.get())) ShowWindow(window_.get(), SW_SHOWNOACTIVATE);
    taskbarHeight_ = -1;
    place();
    look();
}

void KeyboardForm::hide() {
    hook_.reset();
    pressSwallowed_ = false;
    if (window_) ShowWindow(window_.get(), SW_HIDE);
    keysOnScreen_ = {};
}

void KeyboardForm::reapply() {
    reapplyPosted_ = false;
    if (!window_ || !IsWindowVisible(window_.get()) || IsIconic(window_.get())) return;
    place();
    look();
}

void KeyboardForm::place() {
    if (taskbarHeight_ < 0) taskbarHeight_ = taskbarHeight();
    const lockdown::Placement p = lockdown::keyboardPlacement(GetSystemMetrics(SM_CXSCREEN),
                                                              GetSystemMetrics(SM_CYSCREEN), taskbarHeight_, screenDpi());
    // Put back on every mouse event: a keyboard already in its place and in
    // front is left alone, so nothing under it repaints.
    RECT now{};
    if (GetWindowRect(window_.get(), &now) && now.left == p.left && now.top == p.top &&
        now.right - now.left == p.width && now.bottom - now.top == p.height && GetTopWindow(nullptr) == window_.get()) {
        return;
    }
    SetWindowPos(window_.get(), HWND_TOPMOST, p.left, p.top, p.width, p.height, lockdown::kPlacementFlags);
}

void KeyboardForm::look() {
    const int dpi = screenDpi();
    if (!font_ || dpi != fontDpi_) {
        NONCLIENTMETRICSW metrics{};
        metrics.cbSize = sizeof metrics;
        SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0);
        LOGFONTW lf = metrics.lfMessageFont;
        lf.lfHeight = -MulDiv(kKeyPoints, dpi, 72);
        lf.lfWidth = 0;
        font_.reset(CreateFontIndirectW(&lf));
        fontDpi_ = dpi;
    }
    for (std::size_t i = 0; i < lockdown::onScreenKeys().size(); ++i) {
        HWND label = GetDlgItem(window_.get(), kFirstKeyId + static_cast<int>(i));
        if (reinterpret_cast<HFONT>(SendMessageW(label, WM_GETFONT, 0, 0)) != font_.get()) {
            SendMessageW(label, WM_SETFONT, reinterpret_cast<WPARAM>(font_.get()), TRUE);
        }
    }
}

void KeyboardForm::layoutKeys() {
    RECT client{};
    GetClientRect(window_.get(), &client);
    const auto keys = lockdown::onScreenKeys();
    for (std::size_t i = 0; i < keys.size(); ++i) {
        const lockdown::KeyBox b = lockdown::keyBox(keys[i], client.right, client.bottom);
        MoveWindow(GetDlgItem(window_.get(), kFirstKeyId + static_cast<int>(i)), b.left, b.top, b.width, b.height,
                   TRUE);
    }
}

// toUpperCase and toLowerCase: every label takes the caption of the case.
void KeyboardForm::showCase() {
    const auto keys = lockdown::onScreenKeys();
    for (std::size_t i = 0; i < keys.size(); ++i) {
        const std::string caption(texts_.caption(keys[i], case_.upper()));
        SetWindowTextW(GetDlgItem(window_.get(), kFirstKeyId + static_cast<int>(i)), toWide(caption).c_str());
    }
}

void KeyboardForm::noteKeysOnScreen() {
    RECT client{};
    if (!IsWindowVisible(window_.get()) || IsIconic(window_.get()) || !GetClientRect(window_.get(), &client)) {
        keysOnScreen_ = {};
        return;
    }
    MapWindowPoints(window_.get(), nullptr, reinterpret_cast<POINT*>(&client), 2);
    keysOnScreen_ = client;
}

void KeyboardForm::press(int x, int y) {
    RECT client{};
    GetClientRect(window_.get(), &client);
    const auto index = lockdown::keyAt(x, y, client.right, client.bottom);
    if (!index) return;
    const bool wasUpper = case_.upper();
    const auto stroke = case_.press(lockdown::onScreenKeys()[*index]);
    if (case_.upper() != wasUpper) showCase();
    if (!stroke) return;
    // The layout of the window that will receive the key, not this one's.
    const HKL layout = GetKeyboardLayout(GetWindowThreadProcessId(GetForegroundWindow(), nullptr));
    const SHORT scan = stroke->virtualKey != 0 || stroke->character > 0xFFFF
                           ? SHORT{-1}
                           : VkKeyScanExW(static_cast<WCHAR>(stroke->character), layout);
    std::vector<INPUT> inputs;
    for (const lockdown::KeyInput& k : lockdown::keyInputs(*stroke, scan)) {
        INPUT in{};
        in.type = INPUT_KEYBOARD;
        in.ki.wVk = k.virtualKey;
        in.ki.wScan = k.virtualKey == 0 ? static_cast<WORD>(k.unit) : 0;
        in.ki.dwFlags = (k.virtualKey == 0 ? KEYEVENTF_UNICODE : 0) | (k.up ? KEYEVENTF_KEYUP : 0);
        inputs.push_back(in);
    }
    SendInput(static_cast<UINT>(inputs.size()), inputs.data(), sizeof(INPUT));
}

LRESULT CALLBACK KeyboardForm::mouseHook(int code, WPARAM wp, LPARAM lp) {
    KeyboardForm* form = g_keyboard;
    if (code != HC_ACTION || !form || !form->hook_ || !form->window_) return CallNextHookEx(nullptr, code, wp, lp);
    const POINT pt = reinterpret_cast<const MSLLHOOKSTRUCT*>(lp)->pt;
    // The look and the place are put back from the message loop, once for
    // any number of events that came meanwhile.
    if (!form->reapplyPosted_) {
        form->reapplyPosted_ = PostMessageW(form->window_.get(), kReapplyMessage, 0, 0) != FALSE;
    }
    if (wp == WM_LBUTTONDOWN && PtInRect(&form->keysOnScreen_, pt)) {
        form->pressSwallowed_ = true;
        PostMessageW(form->window_.get(), kPressMessage, 0,
                     MAKELPARAM(pt.x - form->keysOnScreen_.left, pt.y - form->keysOnScreen_.top));
        return 1;
    }
    if (wp == WM_LBUTTONUP && form->pressSwallowed_) {
        form->pressSwallowed_ = false;
        return 1;
    }
    return CallNextHookEx(nullptr, code, wp, lp);
}

LRESULT CALLBACK KeyboardForm::windowProc(HWND window, UINT msg, WPARAM wp, LPARAM lp) {
    if (msg == WM_NCCREATE) {
        SetWindowLongPtrW(window, GWLP_USERDATA,
                          reinterpret_cast<LONG_PTR>(reinterpret_cast<CREATESTRUCTW*>(lp)->lpCreateParams));
    }
    auto* form = reinterpret_cast<KeyboardForm*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (!form || !form->window_) return DefWindowProcW(window, msg, wp, lp);
    return platform::guarded([&] { return form->handle(msg, wp, lp); }, LRESULT{0});
}

LRESULT KeyboardForm::handle(UINT msg, WPARAM wp, LPARAM lp) {
    HWND w = window_.get();
    switch (msg) {
        case WM_MOUSEACTIVATE:
            return MA_NOACTIVATE;
        case kPressMessage:
            press(static_cast<short>(LOWORD(lp)), static_cast<short>(HIWORD(lp)));
            return 0;
        case kReapplyMessage:
            reapply();
            return 0;
        case WM_CLOSE:
            // The user's close only puts the keyboard away.
            ShowWindow(w, SW_SHOWMINNOACTIVE);
            return 0;
        case WM_SIZE:
            if (wp == SIZE_MAXIMIZED) {
                ShowWindow(w, SW_SHOWNOACTIVATE);
                place();
            }
            layoutKeys();
            noteKeysOnScreen();
            return 0;
        case WM_WINDOWPOSCHANGED:
            noteKeysOnScreen();
            break;
        case WM_SETTINGCHANGE:
        case WM_DISPLAYCHANGE:
            taskbarHeight_ = -1;  // the task bar may have moved or grown
            break;
        case WM_CTLCOLORSTATIC:
            SetTextColor(reinterpret_cast<HDC>(wp), kKeyText);
            SetBkColor(reinterpret_cast<HDC>(wp), kKeyFace);
            return reinterpret_cast<LRESULT>(GetStockObject(WHITE_BRUSH));
        case WM_DESTROY:
            hook_.reset();
            keysOnScreen_ = {};
            break;
        default:
            break;
    }
    return DefWindowProcW(w, msg, wp, lp);
}

}  // namespace ombrix::win32

// A stand-in for an external browser, for the tests of the address readers
// and the site blockers. Copied and started as chrome.exe, msedge.exe or
// firefox.exe, it shows what Ombrix sees of that browser: a hidden first
// window and a visible second one of the browser's class, holding an address
// edit labelled with the accessible name the readers look for, the current
// address in it, and tabs that Ctrl+W closes.
//
//   chrome.exe [--name TEXT] [--help TEXT] [--one-window] [--record FILE] [URL]
//
// A URL on the command line is an address the browser is asked to open; a
// second start hands it to the running one, as browsers do. The test drives
// the running stand-in with WM_COPYDATA (dwData 1, UTF-8 lines):
//   show URL     the current tab shows URL
//   tab URL      a new tab shows URL
//   type TEXT    the user types TEXT in the address edit (focus in the edit)
//   focus | blur the keyboard focus into or out of the address edit
//   ctrlw back | close | ignore | show URL
//                what the next Ctrl+W does (queued; with none queued Ctrl+W
//                closes the tab, and the window with the last tab)
//   name TEXT    the label, and so the accessible name, becomes TEXT
//   activate     comes to the foreground
//   quit         closes
// The record file (default <exe>.record beside the
// program) gets one UTF-8 line per event: "open URL", "ctrl+w ACTION", "exit".
#include <windows.h>
#include <oleacc.h>
#include <shellapi.h>

#include <cstdio>
#include <deque>
#include <string>
#include <vector>

namespace {

constexpr ULONG_PTR kCommandData = 1;
constexpr int kEditId = 101;
constexpr int kPageButtonId = 102;
constexpr const wchar_t* kKindProperty = L"OmbrixBrowserStandin";

struct State {
    std::wstring stem;  // chrome, msedge, firefox
    std::wstring className;
    std::wstring name;  // the edit's label
    std::wstring help;  // empty: the edit's own help
    std::wstring record;
    bool oneWindow = false;
    std::vector<std::wstring> tabs;  // the last one is shown
    std::deque<std::wstring> ctrlW;  // scripted Ctrl+W actions
    HWND hidden = nullptr;
    HWND main = nullptr;
    HWND label = nullptr;
    HWND edit = nullptr;
    HWND page = nullptr;
    WNDPROC editProc = nullptr;
};
State g;

std::string utf8(const std::wstring& w) {
    if (w.empty()) return {};
    const int n = WideCharToMultiByte(CP_UTF8, 0, w.data(), static_cast<int>(w.size()), nullptr, 0, nullptr, nullptr);
    std::string out(static_cast<std::size_t>(n), '\0');
    WideCharToMultiByte(CP_UTF8, 0, w.data(), static_cast<int>(w.size()), out.data(), n, nullptr, nullptr);
    return out;
}

std::wstring wide(const std::string& s) {
    if (s.empty()) return {};
    const int n = MultiByteToWideChar(CP_UTF8, 0, s.data(), static_cast<int>(s.size()), nullptr, 0);
    std::wstring out(static_cast<std::size_t>(n), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, s.data(), static_cast<int>(s.size()), out.data(), n);
    return out;
}

void record(const std::wstring& line) {
    if (FILE* f = _wfopen(g.record.c_str(), L"ab")) {
        std::fputs((utf8(line) + "\n").c_str(), f);
        std::fclose(f);
    }
}

std::wstring current() { return g.tabs.empty() ? std::wstring() : g.tabs.back(); }

void showCurrent() {
    SetWindowTextW(g.edit, current().c_str());
    SetWindowTextW(g.main, (current().empty() ? g.stem : current() + L" - " + g.stem).c_str());
    const std::wstring page = L"Tab " + std::to_wstring(g.tabs.size()) + L": " + current();
    SetWindowTextW(g.page, page.c_str());
}

void closeBrowser() {
    if (g.main != nullptr) DestroyWindow(g.main);
}

void onCtrlW() {
    std::wstring action = L"tab";
    if (!g.ctrlW.empty()) {
        action = g.ctrlW.front();
        g.ctrlW.pop_front();
    }
    record(L"ctrl+w " + action);
    if (action == L"ignore") return;
    if (action == L"close") {
        closeBrowser();
    } else if (action == L"back" || action == L"tab") {
        if (g.tabs.size() > 1) {
            g.tabs.pop_back();
            showCurrent();
        } else if (action == L"tab") {
            closeBrowser();
        }
    } else if (action.rfind(L"show ", 0) == 0) {
        if (g.tabs.empty()) g.tabs.emplace_back();
        g.tabs.back() = action.substr(5);
        showCurrent();
    }
}

void openAddress(const std::wstring& url) {
    record(L"open " + url);
    g.tabs.push_back(url);
    showCurrent();
}

bool runCommand(const std::wstring& line) {
    const auto space = line.find(L' ');
    const std::wstring verb = line.substr(0, space);
    const std::wstring arg = space == std::wstring::npos ? std::wstring() : line.substr(space + 1);
    if (verb == L"show") {
        if (g.tabs.empty()) g.tabs.emplace_back();
        g.tabs.back() = arg;
        showCurrent();
    } else if (verb == L"tab") {
        g.tabs.push_back(arg);
        showCurrent();
    } else if (verb == L"open") {
        openAddress(arg);
    } else if (verb == L"type") {
        SetFocus(g.edit);
        SetWindowTextW(g.edit, arg.c_str());
    } else if (verb == L"focus") {
        SetFocus(g.edit);
    } else if (verb == L"blur") {
        SetFocus(GetDlgItem(g.main, kPageButtonId));
    } else if (verb == L"ctrlw") {
        g.ctrlW.push_back(arg);
    } else if (verb == L"name") {
        g.name = arg;
        InvalidateRect(g.label, nullptr, TRUE);
    } else if (verb == L"activate") {
        SetForegroundWindow(g.main);
    } else if (verb == L"quit") {
        closeBrowser();
    } else {
        return false;
    }
    return true;
}

// The edit's accessible object with the name (and help text) of our
// choosing, as a browser gives its address bar; everything else is the
// system's own object for the edit. Released, never deleted from outside,
// like every COM object.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
class HelpAccessible final : public IAccessible {
public:
    HelpAccessible(IAccessible* inner, std::wstring name, std::wstring help)
        : inner_(inner), name_(std::move(name)), help_(std::move(help)) {}
    ~HelpAccessible() { inner_->Release(); }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override {
        if (out == nullptr) return E_POINTER;
        if (riid == IID_IUnknown || riid == IID_IDispatch || riid == IID_IAccessible) {
            *out = static_cast<IAccessible*>(this);
            AddRef();
            return S_OK;
        }
        *out = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(InterlockedIncrement(&refs_)); }
    ULONG STDMETHODCALLTYPE Release() override {
        const LONG n = InterlockedDecrement(&refs_);
        if (n == 0) delete this;
        return static_cast<ULONG>(n);
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* n) override { return inner_->GetTypeInfoCount(n); }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT i, LCID l, ITypeInfo** t) override { return inner_->GetTypeInfo(i, l, t); }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID r, LPOLESTR* n, UINT c, LCID l, DISPID* d) override {
        return inner_->GetIDsOfNames(r, n, c, l, d);
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID d, REFIID r, LCID l, WORD f, DISPPARAMS* p, VARIANT* v, EXCEPINFO* e,
                                     UINT* a) override {
        return inner_->Invoke(d, r, l, f, p, v, e, a);
    }
    HRESULT STDMETHODCALLTYPE get_accParent(IDispatch** p) override { return inner_->get_accParent(p); }
    HRESULT STDMETHODCALLTYPE get_accChildCount(LONG* n) override { return inner_->get_accChildCount(n); }
    HRESULT STDMETHODCALLTYPE get_accChild(VARIANT c, IDispatch** p) override { return inner_->get_accChild(c, p); }
    HRESULT STDMETHODCALLTYPE get_accName(VARIANT c, BSTR* s) override {
        if (s == nullptr) return E_POINTER;
        if (c.vt != VT_I4 || c.lVal != CHILDID_SELF) return inner_->get_accName(c, s);
        *s = SysAllocStringLen(name_.data(), static_cast<UINT>(name_.size()));
        return *s != nullptr ? S_OK : E_OUTOFMEMORY;
    }
    HRESULT STDMETHODCALLTYPE get_accValue(VARIANT c, BSTR* s) override { return inner_->get_accValue(c, s); }
    HRESULT STDMETHODCALLTYPE get_accDescription(VARIANT c, BSTR* s) override {
        return inner_->get_accDescription(c, s);
    }
    HRESULT STDMETHODCALLTYPE get_accRole(VARIANT c, VARIANT* r) override { return inner_->get_accRole(c, r); }
    HRESULT STDMETHODCALLTYPE get_accState(VARIANT c, VARIANT* s) override { return inner_->get_accState(c, s); }
    HRESULT STDMETHODCALLTYPE get_accHelp(VARIANT c, BSTR* s) override {
        if (s == nullptr) return E_POINTER;
        if (c.vt != VT_I4 || c.lVal != CHILDID_SELF || help_.empty()) return inner_->get_accHelp(c, s);
        *s = SysAllocStringLen(help_.data(), static_cast<UINT>(help_.size()));
        return *s != nullptr ? S_OK : E_OUTOFMEMORY;
    }
    HRESULT STDMETHODCALLTYPE get_accHelpTopic(BSTR* f, VARIANT c, LONG* t) override {
        return inner_->get_accHelpTopic(f, c, t);
    }
    HRESULT STDMETHODCALLTYPE get_accKeyboardShortcut(VARIANT c, BSTR* s) override {
        return inner_->get_accKeyboardShortcut(c, s);
    }
    HRESULT STDMETHODCALLTYPE get_accFocus(VARIANT* c) override { return inner_->get_accFocus(c); }
    HRESULT STDMETHODCALLTYPE get_accSelection(VARIANT* c) override { return inner_->get_accSelection(c); }
    HRESULT STDMETHODCALLTYPE get_accDefaultAction(VARIANT c, BSTR* s) override {
        return inner_->get_accDefaultAction(c, s);
    }
    HRESULT STDMETHODCALLTYPE accSelect(LONG f, VARIANT c) override { return inner_->accSelect(f, c); }
    HRESULT STDMETHODCALLTYPE accLocation(LONG* x, LONG* y, LONG* w, LONG* h, VARIANT c) override {
        return inner_->accLocation(x, y, w, h, c);
    }
    HRESULT STDMETHODCALLTYPE accNavigate(LONG d, VARIANT s, VARIANT* e) override {
        return inner_->accNavigate(d, s, e);
    }
    HRESULT STDMETHODCALLTYPE accHitTest(LONG x, LONG y, VARIANT* c) override { return inner_->accHitTest(x, y, c); }
    HRESULT STDMETHODCALLTYPE accDoDefaultAction(VARIANT c) override { return inner_->accDoDefaultAction(c); }
    HRESULT STDMETHODCALLTYPE put_accName(VARIANT c, BSTR s) override { return inner_->put_accName(c, s); }
    HRESULT STDMETHODCALLTYPE put_accValue(VARIANT c, BSTR s) override { return inner_->put_accValue(c, s); }

private:
    LONG refs_ = 1;
    IAccessible* inner_;
    std::wstring name_;
    std::wstring help_;
};
#pragma GCC diagnostic pop

LRESULT CALLBACK editProc(HWND hwnd, UINT msg, WPARAM wp, LPARAM lp) {
    if (msg == WM_GETOBJECT && static_cast<LONG>(lp) == OBJID_CLIENT) {
        IAccessible* inner = nullptr;
        if (SUCCEEDED(CreateStdAccessibleObject(hwnd, OBJID_CLIENT, IID_IAccessible, reinterpret_cast<void**>(&inner)))) {
            auto* wrapper = new HelpAccessible(inner, g.name, g.help);
            const LRESULT result = LresultFromObject(IID_IAccessible, wp, static_cast<IAccessible*>(wrapper));
            wrapper->Release();
            return result;
        }
    }
    return CallWindowProcW(g.editProc, hwnd, msg, wp, lp);
}

LRESULT CALLBACK windowProc(HWND hwnd, UINT msg, WPARAM wp, LPARAM lp) {
    switch (msg) {
        case WM_COPYDATA: {
            const auto* data = reinterpret_cast<const COPYDATASTRUCT*>(lp);
            if (hwnd != g.main || data == nullptr || data->dwData != kCommandData) return FALSE;
            const std::wstring text = wide(std::string(static_cast<const char*>(data->lpData), data->cbData));
            bool ok = true;
            std::size_t start = 0;
            while (start <= text.size()) {
                auto end = text.find(L'\n', start);
                if (end == std::wstring::npos) end = text.size();
                const std::wstring line = text.substr(start, end - start);
                if (!line.empty()) ok = runCommand(line) && ok;
                start = end + 1;
            }
            return ok ? TRUE : FALSE;
        }
        case WM_SIZE:
            if (hwnd == g.main) {
                const int width = LOWORD(lp);
                MoveWindow(g.label, 10, 10, width - 20, 20, TRUE);
                MoveWindow(g.edit, 10, 32, width - 20, 24, TRUE);
                MoveWindow(g.page, 10, 70, width - 130, 24, TRUE);
                MoveWindow(GetDlgItem(hwnd, kPageButtonId), width - 110, 66, 100, 28, TRUE);
            }
            return 0;
        case WM_DRAWITEM: {
            const auto* item = reinterpret_cast<const DRAWITEMSTRUCT*>(lp);
            if (item->hwndItem != g.label) return FALSE;
            FillRect(item->hDC, &item->rcItem, GetSysColorBrush(COLOR_BTNFACE));
            SetBkMode(item->hDC, TRANSPARENT);
            const HGDIOBJ old = SelectObject(item->hDC, GetStockObject(DEFAULT_GUI_FONT));
            RECT r = item->rcItem;
            DrawTextW(item->hDC, g.name.c_str(), -1, &r, DT_LEFT | DT_VCENTER | DT_SINGLELINE | DT_NOPREFIX);
            SelectObject(item->hDC, old);
            return TRUE;
        }
        case WM_CLOSE:
            DestroyWindow(hwnd);
            return 0;
        case WM_DESTROY:
            if (hwnd == g.main) {
                RemovePropW(hwnd, kKindProperty);
                PostQuitMessage(0);
            }
            return 0;
        default:
            return DefWindowProcW(hwnd, msg, wp, lp);
    }
}

// A running stand-in of the same name, to hand the address to.
HWND runningTwin(ATOM kind) {
    HWND w = nullptr;
    while ((w = FindWindowExW(nullptr, w, g.className.c_str(), nullptr)) != nullptr) {
        if (reinterpret_cast<ULONG_PTR>(GetPropW(w, kKindProperty)) == kind) return w;
    }
    return nullptr;
}

bool send(HWND target, const std::wstring& command) {
    std::string bytes = utf8(command);
    COPYDATASTRUCT data{kCommandData, static_cast<DWORD>(bytes.size()), bytes.data()};
    DWORD_PTR result = 0;
    return SendMessageTimeoutW(target, WM_COPYDATA, 0, reinterpret_cast<LPARAM>(&data), SMTO_ABORTIFHUNG, 5000,
                               &result) != 0 &&
           result != 0;
}

}  // namespace

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE, PWSTR, int) {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring exe = path;
    std::wstring base = exe.substr(exe.find_last_of(L"\\/") + 1);
    g.stem = base.substr(0, base.find_last_of(L'.'));
    CharLowerW(g.stem.data());
    const bool firefox = g.stem == L"firefox";
    g.className = firefox ? L"MozillaWindowClass" : L"Chrome_WidgetWin_1";
    g.name = firefox ? L"Cerca con Google o inserisci un indirizzo"
             : g.stem == L"msedge" ? L"Indirizzo e barra di ricerca"
                                   : L"Barra degli indirizzi e di ricerca";
    g.record = exe + L".record";

    std::wstring url;
    int argc = 0;
    wchar_t** argv = CommandLineToArgvW(GetCommandLineW(), &argc);
    for (int i = 1; argv != nullptr && i < argc; ++i) {
        const std::wstring a = argv[i];
        if (a == L"--name" && i + 1 < argc) {
            g.name = argv[++i];
        } else if (a == L"--help" && i + 1 < argc) {
            g.help = argv[++i];
        } else if (a == L"--record" && i + 1 < argc) {
            g.record = argv[++i];
        } else if (a == L"--one-window") {
            g.oneWindow = true;
        } else {
            url = a;
        }
    }
    LocalFree(argv);

    // One stand-in per browser name: a second start hands its address over.
    // A twin that was just terminated may still have its window but takes
    // nothing: then this start is the browser.
    const ATOM kind = GlobalAddAtomW((L"OmbrixStandin." + g.stem).c_str());
    if (HWND twin = runningTwin(kind); twin != nullptr && (url.empty() || send(twin, L"open " + url))) {
        GlobalDeleteAtom(kind);
        return 0;
    }

    WNDCLASSW wc{};
    wc.lpfnWndProc = windowProc;
    wc.hInstance = instance;
    wc.hCursor = LoadCursorW(nullptr, reinterpret_cast<LPCWSTR>(IDC_ARROW));
    wc.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_BTNFACE + 1);
    wc.lpszClassName = g.className.c_str();
    RegisterClassW(&wc);

    // The browser's first window of its class is a hidden helper. Top-most,
    // it stays first in z-order whichever window is active.
    if (!g.oneWindow) {
        g.hidden = CreateWindowExW(WS_EX_TOPMOST | WS_EX_TOOLWINDOW, g.className.c_str(), L"", WS_POPUP, 0, 0, 10, 10,
                                   nullptr, nullptr, instance, nullptr);
    }
    // Each browser in its own place, so that a screenshot shows them all.
    const int top = firefox ? 380 : g.stem == L"msedge" ? 210 : 40;
    g.main = CreateWindowExW(0, g.className.c_str(), g.stem.c_str(), WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN, 40, top,
                             640, 140, nullptr, nullptr, instance, nullptr);
    if (g.main == nullptr) return 1;
    SetPropW(g.main, kKindProperty, reinterpret_cast<HANDLE>(static_cast<ULONG_PTR>(kind)));
    const HFONT font = static_cast<HFONT>(GetStockObject(DEFAULT_GUI_FONT));
    // The label shows the edit's accessible name but has none itself: drawn by
    // us, with no text of its own, it cannot be found in the edit's place.
    g.label = CreateWindowExW(0, L"STATIC", L"", WS_CHILD | WS_VISIBLE | SS_OWNERDRAW, 0, 0, 0, 0, g.main, nullptr,
                              instance, nullptr);
    g.edit = CreateWindowExW(WS_EX_CLIENTEDGE, L"EDIT", L"", WS_CHILD | WS_VISIBLE | WS_TABSTOP | ES_AUTOHSCROLL, 0, 0,
                             0, 0, g.main, reinterpret_cast<HMENU>(static_cast<INT_PTR>(kEditId)), instance, nullptr);
    g.page = CreateWindowExW(0, L"STATIC", L"", WS_CHILD | WS_VISIBLE, 0, 0, 0, 0, g.main, nullptr, instance, nullptr);
    const HWND button = CreateWindowExW(0, L"BUTTON", L"Pagina", WS_CHILD | WS_VISIBLE | WS_TABSTOP, 0, 0, 0, 0, g.main,
                                        reinterpret_cast<HMENU>(static_cast<INT_PTR>(kPageButtonId)), instance, nullptr);
    for (HWND w : {g.label, g.edit, g.page, button}) SendMessageW(w, WM_SETFONT, reinterpret_cast<WPARAM>(font), TRUE);
    g.editProc = reinterpret_cast<WNDPROC>(
        SetWindowLongPtrW(g.edit, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(editProc)));

    if (!url.empty()) {
        openAddress(url);
    } else {
        g.tabs.emplace_back();  // a new tab: the address bar is empty
        showCurrent();
    }
    ShowWindow(g.main, SW_SHOWNORMAL);
    SetForegroundWindow(g.main);
    SetFocus(button);  // the page has the focus, not the address bar

    MSG msg;
    while (GetMessageW(&msg, nullptr, 0, 0) > 0) {
        // Ctrl+W wherever the focus is, as a browser's accelerator.
        if (msg.message == WM_KEYDOWN && msg.wParam == 'W' && (GetKeyState(VK_CONTROL) & 0x8000) != 0) {
            onCtrlW();
            continue;
        }
        TranslateMessage(&msg);
        DispatchMessageW(&msg);
    }
    if (g.hidden != nullptr) DestroyWindow(g.hidden);
    record(L"exit");
    GlobalDeleteAtom(kind);
    return 0;
}

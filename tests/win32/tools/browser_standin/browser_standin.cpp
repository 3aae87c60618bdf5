// A stand-in for an external browser, started as chrome.exe, msedge.exe or
// firefox.exe (any other name: Chromium, unless --class gecko): a hidden first
// window and a visible one of the browser's class, with tabs and an address
// edit under the accessible name the readers look for (--name, or --help).
//   chrome.exe [--name TEXT] [--help TEXT] [--class chromium|gecko] [URL]
// A second start hands its URL to the running one. WM_COPYDATA (dwData 1,
// UTF-8 lines): "show URL" (current tab), "tab URL", "activate", "quit".
// Ctrl+W closes the tab, the window with the last.
// <exe>.record: "open URL", "ctrl+w tab", "exit".
#include <windows.h>
#include <oleacc.h>
#include <shellapi.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

constexpr ULONG_PTR kCommandData = 1;
constexpr const wchar_t* kKindProperty = L"OmbrixBrowserStandin";

struct State {
    std::wstring stem, className, record;  // stem: chrome, msedge, firefox
    std::wstring name, help;                // the edit's accessible ones; empty: its own
    std::vector<std::wstring> tabs;         // the last one is shown
    HWND main = nullptr, edit = nullptr, page = nullptr, button = nullptr;
    WNDPROC editProc = nullptr;
};
State g;

std::string utf8(const std::wstring& w) {
    std::string out(w.size() * 3, '\0');
    out.resize(static_cast<std::size_t>(WideCharToMultiByte(CP_UTF8, 0, w.data(), static_cast<int>(w.size()),
                                                            out.data(), static_cast<int>(out.size()), nullptr, nullptr)));
    return out;
}
std::wstring wide(const std::string& s) {
    std::wstring out(s.size(), L'\0');
    out.resize(static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, s.data(), static_cast<int>(s.size()),
                                                            out.data(), static_cast<int>(out.size()))));
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
    SetWindowTextW(g.page, (L"Tab " + std::to_wstring(g.tabs.size()) + L": " + current()).c_str());
}

void onCtrlW() {
    record(L"ctrl+w tab");
    if (g.tabs.size() < 2) DestroyWindow(g.main);
    else g.tabs.pop_back(), showCurrent();
}

bool runCommand(const std::wstring& line) {
    const auto space = line.find(L' ');
    const std::wstring verb = line.substr(0, space);
    const std::wstring arg = space == std::wstring::npos ? std::wstring() : line.substr(space + 1);
    if (verb == L"activate") SetForegroundWindow(g.main);
    else if (verb == L"quit") DestroyWindow(g.main);
    else if (verb != L"show" && verb != L"tab" && verb != L"open") return false;
    else {
        if (verb == L"open") record(L"open " + arg);
        if (verb != L"show" || g.tabs.empty()) g.tabs.emplace_back();
        g.tabs.back() = arg;
        showCurrent();
    }
    return true;
}

// The edit's accessible object with the name and help of our choosing, as a
// browser gives its address bar; all else is the system's object for the edit.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#define OMBRIX_FORWARD(method, parameters, arguments) \
    HRESULT STDMETHODCALLTYPE method parameters override { return inner_->method arguments; }
class NamedAccessible final : public IAccessible {
public:
    explicit NamedAccessible(IAccessible* inner) : inner_(inner) {}
    ~NamedAccessible() { inner_->Release(); }
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override {
        if (out == nullptr) return E_POINTER;
        *out = riid == IID_IUnknown || riid == IID_IDispatch || riid == IID_IAccessible ? this : nullptr;
        return *out == nullptr ? E_NOINTERFACE : (AddRef(), S_OK);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(InterlockedIncrement(&refs_)); }
    ULONG STDMETHODCALLTYPE Release() override {
        const LONG n = InterlockedDecrement(&refs_);
        if (n == 0) delete this;
        return static_cast<ULONG>(n);
    }
    HRESULT STDMETHODCALLTYPE get_accName(VARIANT c, BSTR* s) override { return own(c, s, g.name, &IAccessible::get_accName); }
    HRESULT STDMETHODCALLTYPE get_accHelp(VARIANT c, BSTR* s) override { return own(c, s, g.help, &IAccessible::get_accHelp); }
    OMBRIX_FORWARD(GetTypeInfoCount, (UINT * n), (n))
    OMBRIX_FORWARD(GetTypeInfo, (UINT i, LCID l, ITypeInfo** t), (i, l, t))
    OMBRIX_FORWARD(GetIDsOfNames, (REFIID r, LPOLESTR* n, UINT c, LCID l, DISPID* d), (r, n, c, l, d))
    OMBRIX_FORWARD(Invoke, (DISPID d, REFIID r, LCID l, WORD f, DISPPARAMS* p, VARIANT* v, EXCEPINFO* e, UINT* a),
                   (d, r, l, f, p, v, e, a))
    OMBRIX_FORWARD(get_accParent, (IDispatch * *p), (p))
    OMBRIX_FORWARD(get_accChildCount, (LONG * n), (n))
    OMBRIX_FORWARD(get_accChild, (VARIANT c, IDispatch** p), (c, p))
    OMBRIX_FORWARD(get_accValue, (VARIANT c, BSTR* s), (c, s))
    OMBRIX_FORWARD(get_accDescription, (VARIANT c, BSTR* s), (c, s))
    OMBRIX_FORWARD(get_accRole, (VARIANT c, VARIANT* r), (c, r))
    OMBRIX_FORWARD(get_accState, (VARIANT c, VARIANT* s), (c, s))
    OMBRIX_FORWARD(get_accHelpTopic, (BSTR * f, VARIANT c, LONG* t), (f, c, t))
    OMBRIX_FORWARD(get_accKeyboardShortcut, (VARIANT c, BSTR* s), (c, s))
    OMBRIX_FORWARD(get_accFocus, (VARIANT * c), (c))
    OMBRIX_FORWARD(get_accSelection, (VARIANT * c), (c))
    OMBRIX_FORWARD(get_accDefaultAction, (VARIANT c, BSTR* s), (c, s))
    OMBRIX_FORWARD(accSelect, (LONG f, VARIANT c), (f, c))
    OMBRIX_FORWARD(accLocation, (LONG * x, LONG* y, LONG* w, LONG* h, VARIANT c), (x, y, w, h, c))
    OMBRIX_FORWARD(accNavigate, (LONG d, VARIANT s, VARIANT* e), (d, s, e))
    OMBRIX_FORWARD(accHitTest, (LONG x, LONG y, VARIANT* c), (x, y, c))
    OMBRIX_FORWARD(accDoDefaultAction, (VARIANT c), (c))
    OMBRIX_FORWARD(put_accName, (VARIANT c, BSTR s), (c, s))
    OMBRIX_FORWARD(put_accValue, (VARIANT c, BSTR s), (c, s))

private:
    // The edit's own text when `text` is empty or another child is asked.
    using Getter = HRESULT (STDMETHODCALLTYPE IAccessible::*)(VARIANT, BSTR*);
    HRESULT own(VARIANT c, BSTR* s, const std::wstring& text, Getter inner) {
        if (s == nullptr) return E_POINTER;
        if (c.vt != VT_I4 || c.lVal != CHILDID_SELF || text.empty()) return (inner_->*inner)(c, s);
        *s = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
        return *s != nullptr ? S_OK : E_OUTOFMEMORY;
    }
    LONG refs_ = 1;
    IAccessible* inner_;
};
#undef OMBRIX_FORWARD
#pragma GCC diagnostic pop

LRESULT CALLBACK editProc(HWND hwnd, UINT msg, WPARAM wp, LPARAM lp) {
    IAccessible* inner = nullptr;
    if (msg == WM_GETOBJECT && static_cast<LONG>(lp) == OBJID_CLIENT &&
        SUCCEEDED(CreateStdAccessibleObject(hwnd, OBJID_CLIENT, IID_IAccessible, reinterpret_cast<void**>(&inner)))) {
        auto* wrapper = new NamedAccessible(inner);
        const LRESULT result = LresultFromObject(IID_IAccessible, wp, static_cast<IAccessible*>(wrapper));
        wrapper->Release();
        return result;
    }
    return CallWindowProcW(g.editProc, hwnd, msg, wp, lp);
}

LRESULT CALLBACK windowProc(HWND hwnd, UINT msg, WPARAM wp, LPARAM lp) {
    if (msg == WM_COPYDATA) {
        const auto* data = reinterpret_cast<const COPYDATASTRUCT*>(lp);
        if (hwnd != g.main || data == nullptr || data->dwData != kCommandData) return FALSE;
        const std::wstring text = wide(std::string(static_cast<const char*>(data->lpData), data->cbData));
        bool ok = true;
        for (std::size_t start = 0; start <= text.size();) {
            const std::size_t end = std::min(text.find(L'\n', start), text.size());
            if (end > start) ok = runCommand(text.substr(start, end - start)) && ok;
            start = end + 1;
        }
        return ok ? TRUE : FALSE;
    }
    if (msg == WM_DESTROY && hwnd == g.main) RemovePropW(hwnd, kKindProperty), PostQuitMessage(0);
    return DefWindowProcW(hwnd, msg, wp, lp);
}

// A running stand-in of the same name, to hand the address to.
HWND runningTwin(ATOM kind) {
    HWND w = nullptr;
    while ((w = FindWindowExW(nullptr, w, g.className.c_str(), nullptr)) != nullptr &&
           reinterpret_cast<ULONG_PTR>(GetPropW(w, kKindProperty)) != kind) {
    }
    return w;
}

bool send(HWND target, const std::wstring& command) {
    std::string bytes = utf8(command);
    COPYDATASTRUCT data{kCommandData, static_cast<DWORD>(bytes.size()), bytes.data()};
    DWORD_PTR result = 0;
    return SendMessageTimeoutW(target, WM_COPYDATA, 0, reinterpret_cast<LPARAM>(&data), SMTO_ABORTIFHUNG, 5000,
                               &result) != 0 &&
           result != 0;
}

// A twin slow to answer is asked again; one just terminated may still have
// its window but takes nothing: then this start is the browser.
bool handOver(HWND twin, const std::wstring& url) {
    DWORD pid = 0;
    GetWindowThreadProcessId(twin, &pid);
    const HANDLE process = OpenProcess(SYNCHRONIZE, FALSE, pid);
    bool taken = url.empty();
    for (int attempt = 0; !taken && attempt < 20; ++attempt) {
        taken = send(twin, L"open " + url);
        if (!process || WaitForSingleObject(process, taken ? 0 : 500) != WAIT_TIMEOUT) break;
    }
    if (process) CloseHandle(process);
    return taken;
}

}  // namespace

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE, PWSTR, int) {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring exe = path;
    const std::wstring base = exe.substr(exe.find_last_of(L"\\/") + 1);
    g.stem = base.substr(0, base.find_last_of(L'.'));
    CharLowerW(g.stem.data());
    g.className = g.stem == L"firefox" ? L"MozillaWindowClass" : L"Chrome_WidgetWin_1";
    g.name = g.stem == L"firefox"    ? L"Cerca con Google o inserisci un indirizzo"
             : g.stem == L"msedge" ? L"Indirizzo e barra di ricerca"
                                   : L"Barra degli indirizzi e di ricerca";
    g.record = exe + L".record";
    std::wstring url;
    int argc = 0;
    wchar_t** argv = CommandLineToArgvW(GetCommandLineW(), &argc);
    for (int i = 1; argv != nullptr && i < argc; ++i) {
        const std::wstring a = argv[i];
        if (a == L"--name" && i + 1 < argc) g.name = argv[++i];
        else if (a == L"--help" && i + 1 < argc) g.help = argv[++i];
        else if (a == L"--class" && i + 1 < argc)
            g.className = std::wstring(argv[++i]) == L"gecko" ? L"MozillaWindowClass" : L"Chrome_WidgetWin_1";
        else url = a;
    }
    LocalFree(argv);
    const bool firefox = g.className == L"MozillaWindowClass";
    // One stand-in per browser name: a second start hands its address over.
    const ATOM kind = GlobalAddAtomW((L"OmbrixStandin." + g.stem).c_str());
    if (HWND twin = runningTwin(kind); twin != nullptr && handOver(twin, url)) {
        GlobalDeleteAtom(kind);
        return 0;
    }
    const WNDCLASSW wc{0, windowProc, 0, 0, instance, nullptr, LoadCursorW(nullptr, reinterpret_cast<LPCWSTR>(IDC_ARROW)),
                       reinterpret_cast<HBRUSH>(COLOR_BTNFACE + 1), nullptr, g.className.c_str()};
    RegisterClassW(&wc);
    // The browser's first window of its class is a hidden helper, top-most so that it stays first.
    const HWND hidden = CreateWindowExW(WS_EX_TOPMOST | WS_EX_TOOLWINDOW, g.className.c_str(), L"", WS_POPUP, 0, 0, 10,
                                        10, nullptr, nullptr, instance, nullptr);
    // Each browser in its own place, so that a screenshot shows them all.
    const int top = firefox ? 380 : g.stem == L"msedge" ? 210 : 40;
    g.main = CreateWindowExW(0, g.className.c_str(), g.stem.c_str(), WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN, 40, top,
                             640, 120, nullptr, nullptr, instance, nullptr);
    if (g.main == nullptr) return 1;
    SetPropW(g.main, kKindProperty, reinterpret_cast<HANDLE>(static_cast<ULONG_PTR>(kind)));
    // No label before the edit: the readers would find it by the edit's name.
    g.edit = CreateWindowExW(WS_EX_CLIENTEDGE, L"EDIT", L"", WS_CHILD | WS_VISIBLE | WS_TABSTOP | ES_AUTOHSCROLL, 10, 12,
                             600, 24, g.main, reinterpret_cast<HMENU>(101), instance, nullptr);  // tests find it by 101
    g.page = CreateWindowExW(0, L"STATIC", L"", WS_CHILD | WS_VISIBLE, 10, 50, 490, 24, g.main, nullptr, instance, nullptr);
    g.button = CreateWindowExW(0, L"BUTTON", L"Pagina", WS_CHILD | WS_VISIBLE | WS_TABSTOP, 510, 46, 100, 28, g.main,
                               reinterpret_cast<HMENU>(102), instance, nullptr);
    for (HWND w : {g.edit, g.page, g.button}) SendMessageW(w, WM_SETFONT, WPARAM(GetStockObject(DEFAULT_GUI_FONT)), TRUE);
    g.editProc = reinterpret_cast<WNDPROC>(
        SetWindowLongPtrW(g.edit, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(editProc)));
    runCommand(url.empty() ? L"tab " : L"open " + url);  // without an address, an empty new tab
    ShowWindow(g.main, SW_SHOWNORMAL);
    SetForegroundWindow(g.main);
    SetFocus(g.button);  // the page has the focus, not the address bar
    MSG msg;
    while (GetMessageW(&msg, nullptr, 0, 0) > 0) {
        // Ctrl+W wherever the focus is, as a browser's accelerator.
        if (msg.message == WM_KEYDOWN && msg.wParam == 'W' && (GetKeyState(VK_CONTROL) & 0x8000) != 0) onCtrlW();
        else TranslateMessage(&msg), DispatchMessageW(&msg);
    }
    DestroyWindow(hidden);
    record(L"exit");
    GlobalDeleteAtom(kind);
    return 0;
}

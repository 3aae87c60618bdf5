#include "e2e/driver.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <random>
#include <thread>

#include "core/database.h"
#include "core/win32/resource.h"
#include "core/password.h"
#include "core/schema.h"
#include "core/store.h"
#include "platform/file_registry.h"
#include "platform/registry.h"
#include "platform/files.h"

namespace ombrix::platform {
Registry& systemRegistry();
}

namespace ombrix::e2e {

bool waitFor(const std::function<bool()>& done, std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (std::chrono::steady_clock::now() < end) {
        MSG msg;
        while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&msg);
        if (done()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return done();
}

// ------------------------------------------------------------ Installation

namespace {
std::filesystem::path binFolder() {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return std::filesystem::path(path).parent_path();
}
}  // namespace

Installation::Installation() {
    std::random_device rd;
    folder_ = std::filesystem::temp_directory_path() / (L"ombrix-e2e-" + std::to_wstring(rd()));
    std::filesystem::create_directories(folder_ / L"DataBase");
    const auto bin = binFolder();
    std::filesystem::copy_file(bin / L"ombrix.exe", folder_ / L"ombrix.exe");
    std::filesystem::copy_file(bin / L"italian.lng", folder_ / L"italian.lng");
    EXPECT_TRUE(core::createDeliveredDatabase(pathToUtf8(database())));
    // Where the program finds its store; nothing is moved elsewhere.
    platform::systemRegistry().writeString(platform::RegRoot::LocalMachine, "SOFTWARE\\Ombrix\\Opzioni", "DataBase",
                                           pathToUtf8(folder_ / L"DataBase"));
}

Installation::~Installation() {
    std::error_code ec;
    std::filesystem::remove_all(folder_, ec);
}

void Installation::sql(const std::string& statements) const {
    core::Database db;
    ASSERT_TRUE(db.open(pathToUtf8(database())));
    ASSERT_TRUE(db.exec(statements)) << db.lastError();
}

std::string Installation::scalar(const std::string& query) const {
    core::Database db;
    if (!db.open(pathToUtf8(database()))) return "<cannot open>";
    return db.scalar(query).toText();
}

void Installation::setPassword(const std::string& password) const {
    // Little work: the program renews the hash at the first login.
    const std::optional<std::string> hash = core::hashPassword(password, "salt", 1000);
    ASSERT_TRUE(hash);
    core::Database db;
    ASSERT_TRUE(db.open(pathToUtf8(database())));
    ASSERT_TRUE(core::UpdateField(db, "Opzioni", "PasswordAdmin", core::Value(*hash), core::kOptionsRow));
}

// ----------------------------------------------------------------- Program

Program::Program(const std::filesystem::path& exe) {
    STARTUPINFOW si{};
    si.cb = sizeof si;
    std::wstring cmd = L"\"" + exe.wstring() + L"\"";
    const std::wstring dir = exe.parent_path().wstring();
    if (!CreateProcessW(exe.wstring().c_str(), cmd.data(), nullptr, nullptr, FALSE, 0, nullptr, dir.c_str(), &si,
                        &pi_)) {
        ADD_FAILURE() << "cannot start " << exe.string() << ": error " << GetLastError();
    }
}

Program::~Program() {
    if (pi_.hProcess) {
        if (running()) {
            TerminateProcess(pi_.hProcess, 1);
            WaitForSingleObject(pi_.hProcess, 5000);
        }
        CloseHandle(pi_.hProcess);
        CloseHandle(pi_.hThread);
    }
}

bool Program::running() const { return pi_.hProcess && WaitForSingleObject(pi_.hProcess, 0) == WAIT_TIMEOUT; }

bool Program::waitExit(DWORD& code, std::chrono::milliseconds limit) const {
    if (!pi_.hProcess) return false;
    const bool ended = waitFor([&] { return !running(); }, limit);
    if (ended) GetExitCodeProcess(pi_.hProcess, &code);
    return ended;
}

namespace {
struct Search {
    DWORD pid;
    std::vector<HWND> found;
};
BOOL CALLBACK collect(HWND hwnd, LPARAM lp) {
    auto* s = reinterpret_cast<Search*>(lp);
    DWORD pid = 0;
    GetWindowThreadProcessId(hwnd, &pid);
    if (pid == s->pid) s->found.push_back(hwnd);
    return TRUE;
}
}  // namespace

std::vector<HWND> Program::windows() const {
    Search s{pi_.dwProcessId, {}};
    EnumWindows(&collect, reinterpret_cast<LPARAM>(&s));
    return s.found;
}

HWND Program::window(const wchar_t* className, const wchar_t* title) const {
    for (HWND w : windows()) {
        wchar_t cls[256] = {};
        GetClassNameW(w, cls, 256);
        if (className && std::wstring(cls) != className) continue;
        if (title && text(w) != title) continue;
        return w;
    }
    return nullptr;
}

HWND formWith(const Program& program, int id) {
    for (HWND w : program.windows()) {
        if (GetDlgItem(w, id) && IsWindowVisible(w)) return w;
    }
    return nullptr;
}

HWND waitForMainForm(const Program& program) {
    HWND main = nullptr;
    waitFor([&] { return (main = formWith(program, IDC_TXTPASS)) != nullptr; });
    return main;
}

void login(HWND mainForm, const std::wstring& password) {
    bringToFront(mainForm);
    click(GetDlgItem(mainForm, IDC_TXTPASS));
    typeText(password);
    pressKey(VK_RETURN);
}

// ------------------------------------------------------------------- input

void bringToFront(HWND window) {
    SetForegroundWindow(window);
    waitFor([&] { return GetForegroundWindow() == window; }, std::chrono::seconds(2));
}

namespace {

// Runs a program of the host (outside Wine) and waits for it.
bool runHost(const std::string& commandLine) {
    STARTUPINFOA si{};
    si.cb = sizeof si;
    PROCESS_INFORMATION pi{};
    std::string line = commandLine;
    if (!CreateProcessA(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si, &pi)) return false;
    WaitForSingleObject(pi.hProcess, 10000);
    DWORD code = 1;
    GetExitCodeProcess(pi.hProcess, &code);
    CloseHandle(pi.hProcess);
    CloseHandle(pi.hThread);
    return code == 0;
}

}  // namespace

void click(HWND control) {
    RECT r{};
    GetWindowRect(control, &r);
    const int x = (r.left + r.right) / 2, y = (r.top + r.bottom) / 2;
    // A real pointer through the X server, as a hand moves it: the virtual
    // desktop lies at the screen's origin, so its coordinates are the screen's.
    // Injected clicks are dropped now and then by modal dialogs under Wine.
    if (!runHost("/usr/bin/xdotool mousemove " + std::to_string(x) + " " + std::to_string(y) + " click 1")) {
        const int w = GetSystemMetrics(SM_CXSCREEN), h = GetSystemMetrics(SM_CYSCREEN);
        INPUT in[3] = {};
        in[0].type = INPUT_MOUSE;
        in[0].mi.dx = static_cast<LONG>((x * 65535) / (w - 1));
        in[0].mi.dy = static_cast<LONG>((y * 65535) / (h - 1));
        in[0].mi.dwFlags = MOUSEEVENTF_MOVE | MOUSEEVENTF_ABSOLUTE;
        in[1] = in[0];
        in[1].mi.dwFlags = MOUSEEVENTF_LEFTDOWN | MOUSEEVENTF_ABSOLUTE;
        in[2] = in[0];
        in[2].mi.dwFlags = MOUSEEVENTF_LEFTUP | MOUSEEVENTF_ABSOLUTE;
        SendInput(3, in, sizeof(INPUT));
    }
    waitFor([] { return false; }, std::chrono::milliseconds(300));
}

void typeText(const std::wstring& value) {
    for (wchar_t c : value) {
        INPUT in[2] = {};
        in[0].type = INPUT_KEYBOARD;
        in[0].ki.wScan = c;
        in[0].ki.dwFlags = KEYEVENTF_UNICODE;
        in[1] = in[0];
        in[1].ki.dwFlags = KEYEVENTF_UNICODE | KEYEVENTF_KEYUP;
        SendInput(2, in, sizeof(INPUT));
    }
    waitFor([] { return false; }, std::chrono::milliseconds(200));
}

void pressKey(WORD vk) {
    INPUT in[2] = {};
    in[0].type = INPUT_KEYBOARD;
    in[0].ki.wVk = vk;
    in[1] = in[0];
    in[1].ki.dwFlags = KEYEVENTF_KEYUP;
    SendInput(2, in, sizeof(INPUT));
    waitFor([] { return false; }, std::chrono::milliseconds(300));
}

std::wstring text(HWND window) {
    wchar_t buffer[512] = {};
    GetWindowTextW(window, buffer, 512);
    return buffer;
}

bool visible(HWND window) { return window && IsWindowVisible(window); }

bool topmost(HWND window) { return (GetWindowLongW(window, GWL_EXSTYLE) & WS_EX_TOPMOST) != 0; }

void screenshot(const std::string& name) {
    const char* folder = std::getenv("OMBRIX_SCREENSHOTS");
    if (!folder || !*folder) return;
    runHost("/usr/bin/import -window root " + std::string(folder) + "/" + name + ".png");
}

}  // namespace ombrix::e2e

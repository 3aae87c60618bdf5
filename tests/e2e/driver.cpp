#include "e2e/driver.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <random>

#include "app/win32/forms/resource.h"
#include "core/database.h"
#include "core/password.h"
#include "core/schema.h"
#include "core/store.h"
#include "enforce/log_file.h"
#include "machine/machine_journal.h"
#include "platform/file_registry.h"
#include "platform/filesystem.h"
#include "platform/registry.h"
#include "platform/files.h"
#include "platform/text.h"
#include "platform/win32/machine.h"
#include "platform/win32/wide.h"
#include "support/language.h"

namespace ombrix::platform {
Registry& systemRegistry();
}

namespace ombrix::e2e {

// A program left running by an earlier test (or an interrupted run) would make
// every start after it a second instance that ends at once, and every later
// test fail; each test starts with none.
class NoProgramLeftOver final : public ::testing::EmptyTestEventListener {
public:
    void OnTestStart(const ::testing::TestInfo&) override {
        platform::Processes& processes = win32::machine().processes();
        const auto endAll = [&] {
            bool none = true;
            for (const platform::ProcessEntry& p : processes.snapshot()) {
                if (!equalsNoCase(p.imageName, "ombrix.exe")) continue;
                (void)processes.terminate(p.id);
                none = false;
            }
            return none;
        };
        // Ending is not immediate: the next start must not meet it still alive.
        (void)waitFor(endAll, std::chrono::seconds(5));
    }
};
[[maybe_unused]] const bool kNoProgramLeftOver =
    (::testing::UnitTest::GetInstance()->listeners().Append(new NoProgramLeftOver), true);

// ------------------------------------------------------------ Installation

Installation::Installation() {
    std::random_device rd;
    folder_ = std::filesystem::temp_directory_path() / (L"ombrix-e2e-" + std::to_wstring(rd()));
    std::filesystem::create_directories(folder_ / L"DataBase");
    for (const char* file : {"ombrix.exe", "italian.lng"}) test::copyProgram(file, pathToUtf8(folder_ / file));
    if (const char* language = std::getenv("OMBRIX_E2E_LANGUAGE"); language && *language) useLanguage(language);
    EXPECT_TRUE(core::createDeliveredDatabase(pathToUtf8(database())));
    // Where the program finds its store; nothing is moved elsewhere.
    platform::systemRegistry().writeString(platform::RegRoot::LocalMachine, "SOFTWARE\\Ombrix\\Opzioni", "DataBase",
                                           pathToUtf8(folder_ / L"DataBase"));
    // The program sees Windows 7 here. From 6.2 on its shutdown restarts
    // the shell, which under Wine opens a file browser over the virtual
    // desktop after every test (the desktop's own process is not listed, so
    // nothing is ended); the restart is tested natively.
    platform::systemRegistry().writeString(platform::RegRoot::CurrentUser, "Software\\Wine\\AppDefaults\\ombrix.exe",
                                           "Version", "win7");
    // A machine where no password was chosen yet (an earlier test may have chosen one).
    platform::systemRegistry().deleteValue(platform::RegRoot::LocalMachine, "SOFTWARE\\Ombrix\\Opzioni",
                                           "PasswordScelta");
    giveBackLeftoverJournal();
}

Installation::~Installation() {
    std::error_code ec;
    // It outlives the folder: the next test must not start from this one's.
    giveBackLeftoverJournal();
    std::filesystem::remove_all(folder_, ec);
}

void Installation::giveBackLeftoverJournal() const {
    if (!std::filesystem::exists(journal())) return;
    (void)StartedProgram(test::quoted(test::builtProgram("ombrixctl.exe")) + " --db " +
                         test::quoted(pathToUtf8(database())) + " restore")
        .waitForExit();
    std::error_code ec;
    std::filesystem::remove(journal(), ec);
}

std::filesystem::path Installation::journal() {
    const wchar_t* local = _wgetenv(L"LOCALAPPDATA");
    return std::filesystem::path(local ? local : L".") / L"Ombrix" / core::kJournalFileName;
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

void Installation::logSql(const std::string& statements) const {
    core::Database store, log;
    ASSERT_TRUE(store.open(pathToUtf8(database())));
    const enforce::LogOpening opening =
        enforce::openLogFile(platform::realFileSystem(), pathToUtf8(database().parent_path()), '\\', store, log);
    ASSERT_TRUE(opening.ok()) << opening.detail();
    ASSERT_TRUE(log.exec(statements)) << log.lastError();
}

std::string Installation::logScalar(const std::string& query) const {
    core::Database db;
    if (!std::filesystem::exists(logFile()) || !db.open(pathToUtf8(logFile()))) return "<no log>";
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

void Installation::useLanguage(const std::string& name) const {
    const std::string file = name + ".lng";
    test::copyProgram(file, pathToUtf8(folder_ / pathFromUtf8(file)));
    ASSERT_TRUE(writeWholeFile(pathToUtf8(folder_ / L"LangSetting.ini"), "[Language]\r\nCurrentLanguage=" + name + "\r\n"));
}

std::wstring Installation::message(MessageId id) const {
    return win32::toWide(Language(pathToUtf8(folder_), '\\', GetUserDefaultUILanguage()).messageText(id));
}

HWND formWith(const StartedProgram& program, int id) {
    for (HWND w : program.windows()) {
        if (GetDlgItem(w, id) && IsWindowVisible(w)) return w;
    }
    return nullptr;
}

int secondsNow() {
    SYSTEMTIME t{};
    GetLocalTime(&t);
    return t.wHour * 3600 + t.wMinute * 60 + t.wSecond;
}

std::string storedTime(int seconds) {
    char buf[16];
    std::snprintf(buf, sizeof buf, "%02d:%02d:%02d", seconds / 3600, seconds / 60 % 60, seconds % 60);
    return buf;
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

void injectClick(HWND control) {
    RECT r{};
    GetWindowRect(control, &r);
    const int x = (r.left + r.right) / 2, y = (r.top + r.bottom) / 2;
    const int w = GetSystemMetrics(SM_CXSCREEN), h = GetSystemMetrics(SM_CYSCREEN);
    INPUT in[3] = {};
    in[0].type = INPUT_MOUSE;
    // The point travels with the events: a cursor set apart may come after them.
    in[0].mi.dx = static_cast<LONG>((x * 65535) / (w - 1));
    in[0].mi.dy = static_cast<LONG>((y * 65535) / (h - 1));
    in[0].mi.dwFlags = MOUSEEVENTF_MOVE | MOUSEEVENTF_ABSOLUTE;
    in[1] = in[0];
    in[1].mi.dwFlags = MOUSEEVENTF_LEFTDOWN | MOUSEEVENTF_ABSOLUTE;
    in[2] = in[0];
    in[2].mi.dwFlags = MOUSEEVENTF_LEFTUP | MOUSEEVENTF_ABSOLUTE;
    SendInput(3, in, sizeof(INPUT));
    pause(std::chrono::milliseconds(300));
}

void click(HWND control) {
    RECT r{};
    GetWindowRect(control, &r);
    const int x = (r.left + r.right) / 2, y = (r.top + r.bottom) / 2;
    // A real pointer through the X server, as a hand moves it: the virtual
    // desktop lies at the screen's origin, so its coordinates are the screen's.
    // Injected clicks are dropped now and then by modal dialogs under Wine.
    if (!test::runHost("/usr/bin/xdotool mousemove " + std::to_string(x) + " " + std::to_string(y) + " click 1",
                       std::chrono::seconds(10))) {
        injectClick(control);
        return;
    }
    pause(std::chrono::milliseconds(300));
}

bool clickUntil(HWND control, const std::function<bool()>& done) {
    for (int attempt = 0; attempt < 3; ++attempt) {
        // A click on a window behind another one lands on the one in front.
        if (attempt > 0) bringToFront(GetAncestor(control, GA_ROOT));
        click(control);
        if (waitFor(done, std::chrono::seconds(3))) return true;
    }
    return false;
}

void heldClick(HWND control) {
    RECT r{};
    GetWindowRect(control, &r);
    const std::string at = std::to_string((r.left + r.right) / 2) + " " + std::to_string((r.top + r.bottom) / 2);
    (void)test::runHost("/usr/bin/xdotool mousemove " + at + " mousedown 1 sleep 0.15 mouseup 1");
    pause(std::chrono::milliseconds(300));
}

void fill(HWND edit, const std::wstring& value) {
    const auto holds = [&] { return boxText(edit) == value; };
    for (int attempt = 0; attempt < 3 && !holds(); ++attempt) {
        // Typing goes to the window in front: after a message box it may be another.
        bringToFront(GetAncestor(edit, GA_ROOT));
        click(edit);
        // Keys sent before the click has given the box the focus are lost.
        // After a message box Wine may leave the focus on the dialog itself
        // whatever is clicked; the dialog manager moves it as Tab would.
        if (!waitFor([&] { return focusOf(edit) == edit; }, std::chrono::seconds(2))) {
            SendMessageW(GetParent(edit), WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(edit), TRUE);
            (void)waitFor([&] { return focusOf(edit) == edit; }, std::chrono::seconds(1));
        }
        SendMessageW(edit, EM_SETSEL, 0, -1);
        typeText(value);
        // A busy program takes the keys late; typing again too soon doubles them.
        (void)waitFor(holds, std::chrono::seconds(2));
    }
    if (holds()) return;
    GUITHREADINFO info{};
    info.cbSize = sizeof info;
    GetGUIThreadInfo(GetWindowThreadProcessId(edit, nullptr), &info);
    wchar_t active[64] = {}, focus[64] = {};
    GetClassNameW(info.hwndActive, active, 64);
    GetClassNameW(info.hwndFocus, focus, 64);
    ADD_FAILURE() << windowInFront() << "; the program's active window is a " << win32::fromWide(active) << ", its focus a "
                  << win32::fromWide(focus) << " (" << GetDlgCtrlID(info.hwndFocus) << "); the box holds \""
                  << win32::fromWide(boxText(edit)) << "\"";
    screenshot("fill-failed");
}

std::string windowInFront() {
    HWND front = GetForegroundWindow();
    wchar_t frontClass[64] = {};
    GetClassNameW(front, frontClass, 64);
    // A message box's words are in its static text.
    const std::wstring says = text(GetDlgItem(front, 0xFFFF));
    return "in front: a " + win32::fromWide(frontClass) + " \"" + win32::fromWide(text(front)) + "\"" +
           (says.empty() ? "" : " saying \"" + win32::fromWide(says) + "\"");
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
    pause(std::chrono::milliseconds(200));
}

void pressKey(WORD vk) {
    INPUT in[2] = {};
    in[0].type = INPUT_KEYBOARD;
    in[0].ki.wVk = vk;
    in[1] = in[0];
    in[1].ki.dwFlags = KEYEVENTF_KEYUP;
    SendInput(2, in, sizeof(INPUT));
    pause(std::chrono::milliseconds(300));
}

std::string registryValue(const std::string& key, const std::string& name) {
    BYTE data[2048] = {};
    DWORD size = sizeof data;
    DWORD type = REG_NONE;
    if (RegGetValueW(HKEY_CURRENT_USER, win32::toWide(key).c_str(), win32::toWide(name).c_str(),
                     RRF_RT_ANY | RRF_NOEXPAND, &type, data, &size) != ERROR_SUCCESS) {
        return "-";
    }
    if (type == REG_DWORD) return "dword " + std::to_string(*reinterpret_cast<DWORD*>(data));
    return "text " + win32::fromWide(reinterpret_cast<wchar_t*>(data));
}

bool registryKeyExists(const std::string& key) {
    HKEY handle = nullptr;
    if (RegOpenKeyExW(HKEY_CURRENT_USER, win32::toWide(key).c_str(), 0, KEY_READ, &handle) != ERROR_SUCCESS) return false;
    RegCloseKey(handle);
    return true;
}

std::wstring text(HWND window) {
    wchar_t buffer[512] = {};
    GetWindowTextW(window, buffer, 512);
    return buffer;
}

bool visible(HWND window) { return window && IsWindowVisible(window); }

std::wstring boxText(HWND control) {
    wchar_t buffer[256] = {};
    DWORD_PTR copied = 0;
    SendMessageTimeoutW(control, WM_GETTEXT, 256, reinterpret_cast<LPARAM>(buffer), SMTO_ABORTIFHUNG, 2000, &copied);
    return buffer;
}

HWND focusOf(HWND window) {
    GUITHREADINFO info{};
    info.cbSize = sizeof info;
    GetGUIThreadInfo(GetWindowThreadProcessId(window, nullptr), &info);
    return info.hwndFocus;
}

HWND messageBox(const StartedProgram& program, int button) {
    // A message box is a static text (0xFFFF) and its buttons.
    for (HWND w : program.windows()) {
        if (IsWindowVisible(w) && GetDlgItem(w, 0xFFFF) && GetDlgItem(w, button)) return w;
    }
    return nullptr;
}

// -------------------------------------------------------------- fixture

StartedProgram InstalledProgram::launch() const {
    return StartedProgram(test::quoted(pathToUtf8(install.exe())), install.folder());
}

HWND InstalledProgram::start() {
    program = std::make_unique<StartedProgram>(launch());
    HWND main = nullptr;
    // A start on a loaded machine takes long: the splash, the store, the lists.
    waitFor([&] { return (main = formWith(*program, IDC_TXTPASS)) != nullptr; }, std::chrono::seconds(45));
    return main;
}

HWND InstalledProgram::startHidden() {
    program = std::make_unique<StartedProgram>(launch());
    HWND main = nullptr;
    waitFor(
        [&] {
            for (HWND w : program->windows()) {
                if (GetDlgItem(w, IDC_TXTPASS)) main = w;
            }
            return main != nullptr;
        },
        std::chrono::seconds(45));
    return main;
}

HWND InstalledProgram::notice() const { return formWith(*program, IDC_LBLMESSAGGIO); }

}  // namespace ombrix::e2e

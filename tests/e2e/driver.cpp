#include "e2e/driver.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <random>

#include "app/win32/forms/resource.h"
#include "profiles/win32/profile_form_ids.h"
#include "core/database.h"
#include "core/password.h"
#include "core/schema.h"
#include "core/store.h"
#include "enforce/log_file.h"
#include "machine/machine_journal.h"
#include "platform/file_registry.h"
#include "platform/filesystem.h"
#include "platform/process_control.h"
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
// every start after it a second instance that ends at once: each test starts with none.
class NoProgramLeftOver final : public ::testing::EmptyTestEventListener {
    void OnTestStart(const ::testing::TestInfo&) override {
        platform::Processes& processes = win32::machine().processes();
        (void)waitFor([&] {
            (void)platform::KillProcess(processes, "ombrix.exe");
            return !platform::IsProcessRunning(processes, "ombrix.exe");
        }, 5s);
    }
};
[[maybe_unused]] const bool kNoProgramLeftOver =
    (::testing::UnitTest::GetInstance()->listeners().Append(new NoProgramLeftOver), true);

Installation::Installation() {
    std::random_device rd;
    folder_ = std::filesystem::temp_directory_path() / (L"ombrix-e2e-" + std::to_wstring(rd()));
    std::filesystem::create_directories(folder_ / L"DataBase");
    for (const char* file : {"ombrix.exe", "italian.lng"}) test::copyProgram(file, pathToUtf8(folder_ / file));
    if (const char* language = std::getenv("OMBRIX_E2E_LANGUAGE"); language && *language) useLanguage(language);
    EXPECT_TRUE(core::createDeliveredDatabase(pathToUtf8(database())));
    // Where the program finds its store; nothing is moved elsewhere.
    EXPECT_TRUE(platform::systemRegistry().writeString(platform::RegRoot::LocalMachine, "SOFTWARE\\Ombrix\\Opzioni",
                                                       "DataBase", pathToUtf8(folder_ / L"DataBase")));
    // The program sees Windows 7: from 6.2 on its shutdown restarts the shell,
    // which under Wine opens a file browser over the virtual desktop after
    // every test; the restart is tested natively.
    platform::systemRegistry().writeString(platform::RegRoot::CurrentUser, "Software\\Wine\\AppDefaults\\ombrix.exe",
                                           "Version", "win7");
    // A machine where no password was chosen yet (an earlier test may have chosen one).
    platform::systemRegistry().deleteValue(platform::RegRoot::LocalMachine, "SOFTWARE\\Ombrix\\Opzioni",
                                           "PasswordScelta");
    giveBackLeftoverJournal();
}

Installation::~Installation() {
    // It outlives the folder: the next test must not start from this one's.
    giveBackLeftoverJournal();
    std::error_code ec;
    std::filesystem::remove_all(folder_, ec);
}

void Installation::giveBackLeftoverJournal() const {
    if (!journalExists()) return;
    (void)ctl("restore");
    std::error_code ec;
    std::filesystem::remove(journal(), ec);
}

std::string Installation::file(const std::string& name) const { return pathToUtf8(folder_ / pathFromUtf8(name)); }

std::optional<DWORD> Installation::ctl(const std::string& arguments) const {
    return StartedProgram(test::quoted(test::builtProgram("ombrixctl.exe")) + " --db " +
                          test::quoted(pathToUtf8(database())) + " " + arguments)
        .waitForExit(30s);
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

HWND boxSaying(const StartedProgram& program, const std::wstring& words) {
    HWND found = nullptr;
    (void)waitFor([&] {
        for (HWND w : program.windows()) {
            if (IsWindowVisible(w) && text(GetDlgItem(w, 0xFFFF)).find(words) != std::wstring::npos) found = w;
        }
        return found != nullptr;
    });
    return found;
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

void bringToFront(HWND window) {
    SetForegroundWindow(window);
    waitFor([&] { return GetForegroundWindow() == window; }, 2s);
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
    pause(300ms);
}

void click(HWND control) {
    RECT r{};
    GetWindowRect(control, &r);
    const int x = (r.left + r.right) / 2, y = (r.top + r.bottom) / 2;
    // A real pointer through the X server, as a hand moves it: the virtual
    // desktop lies at the screen's origin, so its coordinates are the screen's.
    // Injected clicks are dropped now and then by modal dialogs under Wine.
    if (!test::runHost("/usr/bin/xdotool mousemove " + std::to_string(x) + " " + std::to_string(y) + " click 1",
                       10s)) {
        injectClick(control);
        return;
    }
    pause(300ms);
}

bool clickUntil(HWND control, const std::function<bool()>& done) {
    for (int attempt = 0; attempt < 3; ++attempt) {
        // A click on a window behind another one lands on the one in front.
        if (attempt > 0) bringToFront(GetAncestor(control, GA_ROOT));
        click(control);
        if (waitFor(done, 3s)) return true;
    }
    return false;
}

namespace {
bool post(HWND form, int id, HWND from, const std::function<bool()>& done) {
    for (int attempt = 0; attempt < 3; ++attempt) {
        PostMessageW(form, WM_COMMAND, MAKEWPARAM(id, BN_CLICKED), reinterpret_cast<LPARAM>(from));
        if (waitFor(done, 5s)) return true;
    }
    return false;
}
}  // namespace

bool command(HWND form, int id, const std::function<bool()>& done) { return post(form, id, GetDlgItem(form, id), done); }

bool barCommand(HWND editor, int id, const std::function<bool()>& done) {
    return post(editor, id, GetDlgItem(editor, IDC_BNRPROFILI), done);
}

bool tick(HWND box, const std::function<bool()>& done) {
    for (int attempt = 0; attempt < 3 && !done(); ++attempt) {
        heldClick(box);
        (void)waitFor(done, 5s);
    }
    return done();
}

int comboIndexOf(HWND combo, const std::wstring& name) {
    const int n = static_cast<int>(SendMessageW(combo, CB_GETCOUNT, 0, 0));
    for (int i = 0; i < n; ++i) {
        wchar_t item[256] = {};
        DWORD_PTR copied = 0;
        SendMessageTimeoutW(combo, CB_GETLBTEXT, static_cast<WPARAM>(i), reinterpret_cast<LPARAM>(item),
                            SMTO_ABORTIFHUNG, 2000, &copied);
        if (name == item) return i;
    }
    return -1;
}

bool choose(HWND combo, const std::wstring& name) {
    const int at = comboIndexOf(combo, name);
    if (at < 0) return false;
    const int current = static_cast<int>(SendMessageW(combo, CB_GETCURSEL, 0, 0));
    bringToFront(GetAncestor(combo, GA_ROOT));
    click(combo);
    for (int i = current; i != at; i += at > current ? 1 : -1) pressKey(at > current ? VK_DOWN : VK_UP);
    pressKey(VK_RETURN);
    return true;
}

void heldClick(HWND control) {
    RECT r{};
    GetWindowRect(control, &r);
    const std::string at = std::to_string((r.left + r.right) / 2) + " " + std::to_string((r.top + r.bottom) / 2);
    (void)test::runHost("/usr/bin/xdotool mousemove " + at + " mousedown 1 sleep 0.15 mouseup 1");
    pause(300ms);
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
        if (!waitFor([&] { return focusOf(edit) == edit; }, 2s)) {
            SendMessageW(GetParent(edit), WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(edit), TRUE);
            (void)waitFor([&] { return focusOf(edit) == edit; }, 1s);
        }
        SendMessageW(edit, EM_SETSEL, 0, -1);
        typeText(value);
        // A busy program takes the keys late; typing again too soon doubles them.
        (void)waitFor(holds, 2s);
    }
    if (holds()) return;
    ADD_FAILURE() << windowInFront() << "; the focus is on control " << GetDlgCtrlID(focusOf(edit)) << "; the box holds \""
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
    pause(200ms);
}

void pressKey(WORD vk) {
    INPUT in[2] = {};
    in[0].type = INPUT_KEYBOARD;
    in[0].ki.wVk = vk;
    in[1] = in[0];
    in[1].ki.dwFlags = KEYEVENTF_KEYUP;
    SendInput(2, in, sizeof(INPUT));
    pause(300ms);
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
    // A message box is a static text (0xFFFF) and its buttons; a file dialog
    // has such texts too, and its name box.
    for (HWND w : program.windows()) {
        if (IsWindowVisible(w) && GetDlgItem(w, 0xFFFF) && GetDlgItem(w, button) && !GetDlgItem(w, 0x47c) &&
            !GetDlgItem(w, 0x480)) {
            return w;
        }
    }
    return nullptr;
}

std::wstring answer(const StartedProgram& program, int button) {
    HWND box = nullptr;
    if (!waitFor([&] { return (box = messageBox(program, button)) != nullptr; })) return L"<no message>";
    const std::wstring said = text(GetDlgItem(box, 0xFFFF));
    if (!clickUntil(GetDlgItem(box, button), [&] { return !IsWindow(box); })) {
        PostMessageW(box, WM_COMMAND, static_cast<WPARAM>(button), 0);
        (void)waitFor([&] { return !IsWindow(box); });
    }
    return said;
}

void picture(HWND form, const std::string& name) {
    const char* folder = std::getenv("OMBRIX_SCREENSHOTS");
    if (!folder || !*folder) return;
    // On a busy machine Wine paints a form over seconds, control by control.
    RedrawWindow(form, nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_FRAME | RDW_ALLCHILDREN | RDW_UPDATENOW);
    pause(1s);
    screenshot(name);
}

StartedProgram InstalledProgram::launch(const std::string& arguments) const {
    return StartedProgram(test::quoted(pathToUtf8(install.exe())) + (arguments.empty() ? "" : " " + arguments),
                          install.folder());
}

HWND InstalledProgram::start(bool shown) {
    run();
    HWND main = nullptr;
    // A start on a loaded machine takes long: the splash, the store, the lists.
    waitFor(
        [&] {
            for (HWND w : program->windows()) {
                if (GetDlgItem(w, IDC_TXTPASS) && (!shown || IsWindowVisible(w))) main = w;
            }
            return main != nullptr;
        },
        45s);
    return main;
}

HWND InstalledProgram::notice() const { return formWith(*program, IDC_LBLMESSAGGIO); }

std::wstring InstalledProgram::noticeText() const {
    HWND n = notice();
    return n ? text(GetDlgItem(n, IDC_LBLMESSAGGIO)) : std::wstring();
}

bool InstalledProgram::admin(HWND main) {
    if (!IsWindowVisible(main) || IsIconic(main)) ShowWindow(main, SW_RESTORE);
    HWND combo = GetDlgItem(main, IDC_CMBPROFILI);
    for (int attempt = 0; attempt < 3 && !visible(combo); ++attempt) {
        SetWindowTextW(GetDlgItem(main, IDC_TXTPASS), L"");
        login(main, L"Segreta1");
        (void)waitFor([&] { return visible(combo); }, 10s);
    }
    return visible(combo);
}

HWND InstalledProgram::open(HWND main, int button, int control) {
    HWND form = nullptr;
    const bool opened = clickUntil(GetDlgItem(main, button), [&] { return (form = formWith(*program, control)) != nullptr; });
    return opened ? form : nullptr;
}

void InstalledProgram::exitProgram(HWND main) {
    ASSERT_TRUE(admin(main)) << windowInFront();
    // The closing notice, or the end: the click was taken.
    EXPECT_TRUE(clickUntil(GetDlgItem(main, IDC_CMDESCI), [&] {
        if (!program->running()) return true;
        for (HWND w : program->windows()) {
            if (GetDlgItem(w, IDC_LBLCHIUSURAINCORSO)) return true;
        }
        return false;
    }));
    EXPECT_EQ(program->waitForExit(30s), 0u);
}

StartedProgram InstalledProgram::startCopy(const std::string& image, const std::string& title) const {
    return test::startRecorder(test::copyRecorder(install.file("giochi\\" + image)), install.file(image + ".log"), title);
}

bool InstalledProgram::ends(const std::string& image) const {
    const StartedProgram p = startCopy(image);
    return p.started() && p.waitForExit(30s).has_value();
}

}  // namespace ombrix::e2e

#pragma once
// Drives ombrix.exe as a person would, for the end-to-end tests under Wine.

#include <windows.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "support/messages.h"
#include "win32/helpers.h"

namespace ombrix::e2e {

using namespace std::chrono_literals;
using test::pause;
using test::screenshot;
using test::StartedProgram;
using test::topmost;
using test::waitFor;

// A copy of the program with its language file and a fresh store, in a
// temporary folder; the registry points the program at that store. The
// language is Italian, or the one OMBRIX_E2E_LANGUAGE names ("english").
class Installation {
public:
    Installation();
    ~Installation();
    [[nodiscard]] const std::filesystem::path& folder() const { return folder_; }
    // A file of the installation's folder, as the recorders and ombrixctl take it.
    [[nodiscard]] std::string file(const std::string& name) const;
    [[nodiscard]] std::filesystem::path exe() const { return folder_ / L"ombrix.exe"; }
    [[nodiscard]] std::filesystem::path database() const { return folder_ / L"DataBase" / L"DataBase.db"; }
    // The journal of the settings the program changed, in this user's own folder.
    [[nodiscard]] static std::filesystem::path journal();
    [[nodiscard]] static bool journalExists() { return std::filesystem::exists(journal()); }
    // ombrixctl on this store; its exit code.
    std::optional<DWORD> ctl(const std::string& arguments) const;
    // SQL on the store while the program is not running.
    void sql(const std::string& statements) const;
    [[nodiscard]] std::string scalar(const std::string& query) const;
    [[nodiscard]] std::string inUse() const { return scalar("SELECT IDProfiloInUso FROM Opzioni;"); }
    void inUse(int profile) const { sql("UPDATE Opzioni SET IDProfiloInUso = " + std::to_string(profile) + ";"); }
    // The visited-sites log's own file beside the store.
    [[nodiscard]] std::filesystem::path logFile() const { return folder_ / L"DataBase" / L"Registro" / L"LogSiti.db"; }
    // Runs SQL on the log file, made as the program makes it when missing.
    void logSql(const std::string& statements) const;
    // A value from the log file; "<no log>" until there is one.
    [[nodiscard]] std::string logScalar(const std::string& query) const;
    void setPassword(const std::string& password) const;
    // Ships `name`.lng beside the program too, and names it in LangSetting.ini.
    void useLanguage(const std::string& name) const;
    // A message's text in the language the program uses here.
    [[nodiscard]] std::wstring message(MessageId id) const;

private:
    // A forced end's journal, given back and gone before and after a test.
    void giveBackLeftoverJournal() const;

    std::filesystem::path folder_;
};

// The program's first visible window holding the control `id`.
[[nodiscard]] HWND formWith(const StartedProgram& program, int id);
// A visible window of the program whose static text holds `words` (a message box), once there.
[[nodiscard]] HWND boxSaying(const StartedProgram& program, const std::wstring& words);
// The local time of day in seconds, as the program's time slots read it.
[[nodiscard]] int secondsNow();
// A time of day as the store keeps a slot's: "HH:MM:SS".
[[nodiscard]] std::string storedTime(int seconds);

// Types the password into the main form and presses Enter.
void login(HWND mainForm, const std::wstring& password);

// Input as a person gives it: the X server's pointer, or one injected press
// and release on the control's middle as a touch screen's driver gives them.
void click(HWND control);
void injectClick(HWND control);
// Clicks until `done` holds, as a person clicks again when nothing happened
// (Wine drops a click that lands as a window takes the activation); false
// when three clicks did nothing.
[[nodiscard]] bool clickUntil(HWND control, const std::function<bool()>& done);
// Posts a button's command until `done` holds: pointer clicks on Wine's tool
// bar now and then leave Wine's desktop in front, and the keys typed next are lost.
bool command(HWND form, int id, const std::function<bool()>& done);
// A command of the profile editor's navigation bar, posted as the bar posts it.
bool barCommand(HWND editor, int id, const std::function<bool()>& done);
// A press and release apart, as a hand holds the button: Wine's check boxes
// drop the two when they come in the same instant.
void heldClick(HWND control);
// Held clicks on a check box until `done` holds, never one after a click taken late.
bool tick(HWND box, const std::function<bool()>& done);
void typeText(const std::wstring& text);
// Types `value` over an edit's text until the box holds it.
void fill(HWND edit, const std::wstring& value);
void pressKey(WORD vk);
void bringToFront(HWND window);
// The combo's item `name` chosen with the keyboard, as a person picks it.
bool choose(HWND combo, const std::wstring& name);
[[nodiscard]] int comboIndexOf(HWND combo, const std::wstring& name);

[[nodiscard]] std::wstring text(HWND window);
[[nodiscard]] bool visible(HWND window);
// The window in front, its class and text, for a failure's message.
[[nodiscard]] std::string windowInFront();
// An edit's or a combo's text, asked of another process's control.
[[nodiscard]] std::wstring boxText(HWND control);
// The control that has the focus in the window's thread.
[[nodiscard]] HWND focusOf(HWND window);
// The program's message box on screen with this button, if any.
[[nodiscard]] HWND messageBox(const StartedProgram& program, int button);
// Waits for a message box with `button`; its text, after pressing that button.
std::wstring answer(const StartedProgram& program, int button);
// A form drawn whole, then saved as NAME.png when pictures are asked for.
void picture(HWND form, const std::string& name);

// A current-user value, its type shown ("dword 3", "text abc"); "-" when none.
[[nodiscard]] std::string registryValue(const std::string& key, const std::string& name);
[[nodiscard]] bool registryKeyExists(const std::string& key);
// Sets OMBRIX_AS_STANDARD_USER for the programs this test starts while it lives.
struct AsStandardUser {
    AsStandardUser() { SetEnvironmentVariableW(L"OMBRIX_AS_STANDARD_USER", L"1"); }
    ~AsStandardUser() { SetEnvironmentVariableW(L"OMBRIX_AS_STANDARD_USER", nullptr); }
};

// The installed program, with "Segreta1" as the administrator's password.
class InstalledProgram : public ::testing::Test {
protected:
    InstalledProgram() { install.setPassword("Segreta1"); }
    // Starts another ombrix.exe of the installation.
    [[nodiscard]] StartedProgram launch(const std::string& arguments = {}) const;
    // Starts the program and looks at it no further.
    void run() { program = std::make_unique<StartedProgram>(launch()); }
    // Starts the program; its main form once it is on screen (or once made,
    // shown or not: with the time slots on the program starts minimised).
    HWND start(bool shown = true);
    // The notice form while it is on screen, and its message.
    [[nodiscard]] HWND notice() const;
    [[nodiscard]] std::wstring noticeText() const;
    // Logs in as the administrator, typing again what Wine now and then drops.
    bool admin(HWND main);
    // Opens the form holding `control` with the main form's `button`.
    HWND open(HWND main, int button, int control);
    // The exit command, once logged in: the program ends with 0.
    void exitProgram(HWND main);
    // A copy of the recorder as `image` in the folder, started with a window.
    [[nodiscard]] StartedProgram startCopy(const std::string& image, const std::string& title = "Gioco") const;
    // Whether a copy named `image` started now is ended by the program.
    [[nodiscard]] bool ends(const std::string& image) const;

    Installation install;
    std::unique_ptr<StartedProgram> program;
};

}  // namespace ombrix::e2e

#pragma once
// Drives ombrix.exe as a person would, for the end-to-end tests under Wine:
// starts it in a folder of its own, finds its windows, clicks and types
// with injected input, and looks at what it left in the registry and store.

#include <windows.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "support/messages.h"
#include "win32/helpers.h"

namespace ombrix::e2e {

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
    [[nodiscard]] std::filesystem::path exe() const { return folder_ / L"ombrix.exe"; }
    [[nodiscard]] std::filesystem::path database() const { return folder_ / L"DataBase" / L"DataBase.db"; }
    // The journal of the settings the program changed, in this user's own folder.
    [[nodiscard]] static std::filesystem::path journal();
    // Runs SQL on the store while the program is not running.
    void sql(const std::string& statements) const;
    [[nodiscard]] std::string scalar(const std::string& query) const;
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

// The first visible window of the program that holds the control `id`.
[[nodiscard]] HWND formWith(const StartedProgram& program, int id);
// The local time of day in seconds, as the program's time slots read it.
[[nodiscard]] int secondsNow();
// A time of day as the store keeps a slot's: "HH:MM:SS".
[[nodiscard]] std::string storedTime(int seconds);

// Types the password into the main form and presses Enter.
void login(HWND mainForm, const std::wstring& password);

// Input as a person gives it.
void click(HWND control);
// One injected press and release on the control's middle, as a touch
// screen's driver gives them (click may also give the X server's).
void injectClick(HWND control);
// Clicks until `done` holds, as a person clicks again when nothing happened:
// now and then Wine drops a click that lands as a window takes the
// activation. False when three clicks did nothing.
[[nodiscard]] bool clickUntil(HWND control, const std::function<bool()>& done);
// A press and release apart, as a hand holds the button: Wine's check boxes
// drop the two when they come in the same instant.
void heldClick(HWND control);
void typeText(const std::wstring& text);
// Types `value` over an edit's text until the box holds it.
void fill(HWND edit, const std::wstring& value);
void pressKey(WORD vk);
void bringToFront(HWND window);

[[nodiscard]] std::wstring text(HWND window);
// The window in front, its class and text, for a failure's message.
[[nodiscard]] std::string windowInFront();
[[nodiscard]] bool visible(HWND window);
// An edit's or a combo's text: another process's controls keep it to
// themselves, so it is asked for rather than read from the window.
[[nodiscard]] std::wstring boxText(HWND control);
// The control that has the focus in the window's thread.
[[nodiscard]] HWND focusOf(HWND window);
// The program's message box on screen with this button, if any.
[[nodiscard]] HWND messageBox(const StartedProgram& program, int button);

// A current-user value as the system holds it, its type shown ("dword 3",
// "text abc"); "-" when there is none.
[[nodiscard]] std::string registryValue(const std::string& key, const std::string& name);
[[nodiscard]] bool registryKeyExists(const std::string& key);


// The installed program, with "Segreta1" as the administrator's password.
class InstalledProgram : public ::testing::Test {
protected:
    InstalledProgram() { install.setPassword("Segreta1"); }
    // Starts another ombrix.exe of the installation.
    [[nodiscard]] StartedProgram launch() const;
    // Starts the program; its main form once it is on screen.
    HWND start();
    // Starts the program; its main form once made, shown or not (with the
    // time slots on the program starts minimised).
    HWND startHidden();
    // The notice form while it is on screen.
    [[nodiscard]] HWND notice() const;

    Installation install;
    std::unique_ptr<StartedProgram> program;
};

}  // namespace ombrix::e2e

#pragma once
// Drives ombrix.exe as a person would, for the end-to-end tests under Wine:
// starts it in a folder of its own, finds its windows, clicks and types
// with injected input, and looks at what it left in the registry and store.

#include <windows.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace ombrix::e2e {

// Waits until `done` is true or the time is up; lets this thread's messages run.
bool waitFor(const std::function<bool()>& done, std::chrono::milliseconds limit = std::chrono::seconds(10));

// A copy of the program with its language file and a fresh store, in a
// temporary folder; the registry points the program at that store.
class Installation {
public:
    Installation();
    ~Installation();
    [[nodiscard]] const std::filesystem::path& folder() const { return folder_; }
    [[nodiscard]] std::filesystem::path exe() const { return folder_ / L"ombrix.exe"; }
    [[nodiscard]] std::filesystem::path database() const { return folder_ / L"DataBase" / L"DataBase.db"; }
    // Runs SQL on the store while the program is not running.
    void sql(const std::string& statements) const;
    [[nodiscard]] std::string scalar(const std::string& query) const;
    void setPassword(const std::string& password) const;

private:
    std::filesystem::path folder_;
};

class Program {
public:
    explicit Program(const std::filesystem::path& exe);
    ~Program();  // ends it if still running
    [[nodiscard]] DWORD processId() const { return pi_.dwProcessId; }
    [[nodiscard]] bool running() const;
    // The exit code once it ended; waits up to `limit`.
    [[nodiscard]] bool waitExit(DWORD& code, std::chrono::milliseconds limit = std::chrono::seconds(15)) const;
    // The first visible-or-not top-level window of this process with the class and title given.
    [[nodiscard]] HWND window(const wchar_t* className, const wchar_t* title = nullptr) const;
    [[nodiscard]] std::vector<HWND> windows() const;

private:
    PROCESS_INFORMATION pi_{};
};

// The program's main form (the window with the password box), once it is on screen.
[[nodiscard]] HWND waitForMainForm(const Program& program);
// Types the password into the main form and presses Enter.
void login(HWND mainForm, const std::wstring& password);
// The first visible window of the program that holds the control `id`.
[[nodiscard]] HWND formWith(const Program& program, int id);

// Input as a person gives it.
void click(HWND control);
void typeText(const std::wstring& text);
void pressKey(WORD vk);
void bringToFront(HWND window);

[[nodiscard]] std::wstring text(HWND window);
[[nodiscard]] bool visible(HWND window);
[[nodiscard]] bool topmost(HWND window);

// Saves a screenshot of the whole screen when OMBRIX_SCREENSHOTS names a folder.
void screenshot(const std::string& name);

}  // namespace ombrix::e2e

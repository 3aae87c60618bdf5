#pragma once
// What the Windows tests share: waiting, programs they start (the window
// recorder logs what happens to its window), registry values set for one test.

#include <windows.h>
#include <shellapi.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "platform/file_registry.h"
#include "platform/files.h"
#include "platform/system.h"
#include "platform/win32/handles.h"
#include "platform/win32/wide.h"

namespace ombrix::test {

// Long enough for a cold Wine start; only a failing test waits this long.
inline constexpr auto kPatience = std::chrono::seconds(15);

// Polls until `done` holds, running this thread's messages; false when patience runs out.
template <typename Condition>
bool waitFor(Condition done, std::chrono::milliseconds patience = kPatience) {
    const auto until = std::chrono::steady_clock::now() + patience;
    while (!done()) {
        if (std::chrono::steady_clock::now() > until) return false;
        MSG msg;
        while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&msg);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}
inline void pause(std::chrono::milliseconds spell) { waitFor([] { return false; }, spell); }

inline std::string quoted(const std::string& s) { return "\"" + s + "\""; }

inline std::vector<std::string> splitLines(const std::string& text) {
    std::vector<std::string> lines;
    for (std::size_t start = 0, end = 0; start < text.size(); start = end + 1) {
        lines.push_back(text.substr(start, (end = std::min(text.find('\n', start), text.size())) - start));
    }
    return lines;
}
inline std::vector<std::string> logLines(const std::string& log) { return splitLines(readWholeFile(log).value_or("")); }

// A started program, terminated when the test is over unless it has ended.
class StartedProgram {
public:
    explicit StartedProgram(const std::string& commandLine, const std::filesystem::path& folder = {}) {
        std::wstring line = win32::toWide(commandLine);
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        PROCESS_INFORMATION info{};
        // A program of the host (outside Wine) comes back with no process
        // handle and a thread handle that is whatever was left there: closing
        // it would close one of ours (once, the cached machine registry key).
        if (CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr,
                           folder.empty() ? nullptr : folder.c_str(), &startup, &info) &&
            info.hProcess) {
            process_.reset(info.hProcess);
            CloseHandle(info.hThread);
            id_ = info.dwProcessId;
        }
    }
    // A process something else started (a service), from now on as if started here.
    [[nodiscard]] static StartedProgram attach(DWORD id) {
        StartedProgram p;
        p.process_.reset(OpenProcess(SYNCHRONIZE | PROCESS_TERMINATE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, id));
        p.id_ = p.process_ ? id : 0;
        return p;
    }
    StartedProgram(StartedProgram&&) = default;
    StartedProgram& operator=(StartedProgram&&) = default;
    ~StartedProgram() {
        if (running() && TerminateProcess(process_.get(), 1)) WaitForSingleObject(process_.get(), 5000);
    }

    [[nodiscard]] bool started() const { return static_cast<bool>(process_); }
    [[nodiscard]] DWORD id() const { return id_; }
    [[nodiscard]] bool running() const { return process_ && WaitForSingleObject(process_.get(), 0) == WAIT_TIMEOUT; }
    // The exit code once it has ended; nullopt while it still runs.
    [[nodiscard]] std::optional<DWORD> waitForExit(std::chrono::milliseconds patience = kPatience) const {
        DWORD code = 0;
        if (!process_ || !waitFor([&] { return !running(); }, patience)) return std::nullopt;
        return GetExitCodeProcess(process_.get(), &code), code;
    }
    // Its top-level windows, shown or not.
    [[nodiscard]] std::vector<HWND> windows() const {
        std::vector<HWND> found;
        DWORD pid = 0;
        for (HWND w = GetTopWindow(nullptr); w != nullptr; w = GetWindow(w, GW_HWNDNEXT)) {
            if (GetWindowThreadProcessId(w, &pid) && pid == id_) found.push_back(w);
        }
        return found;
    }

private:
    StartedProgram() = default;
    win32::UniqueKernelHandle process_;
    DWORD id_ = 0;
};

// Runs a program of the host and waits for it; true when it ended with 0.
// Wine gives no handle to wait on, so its shell writes the exit code to a
// file, renamed into place when whole.
inline bool runHost(const std::string& commandLine, std::chrono::milliseconds patience = kPatience) {
    // Wine's process ids repeat across prefixes: another build's tests may run beside these.
    static const unsigned run = std::random_device{}();
    static int count = 0;
    const std::string done = "/tmp/ombrix-host-" + std::to_string(run) + "-" + std::to_string(++count);
    const std::filesystem::path seen = "Z:" + done;
    (void)StartedProgram("/bin/sh -c \"" + commandLine + "; echo $? > " + done + ".part && mv " + done + ".part " + done + "\"");
    std::string code;
    const bool ended = waitFor([&] { return !(code = readWholeFile(pathToUtf8(seen)).value_or("")).empty(); }, patience);
    std::error_code ignored;
    std::filesystem::remove(seen, ignored);
    return ended && code.rfind("0\n", 0) == 0;
}

// The whole screen as NAME.png in the folder OMBRIX_SCREENSHOTS names, if any.
inline void screenshot(const std::string& name) {
    const char* folder = std::getenv("OMBRIX_SCREENSHOTS");
    if (!folder || !*folder) return;
    pause(std::chrono::milliseconds(300));
    (void)runHost("/usr/bin/import -window root " + std::string(folder) + "/" + name + ".png");
}

// A program built beside the tests, or a copy of it under another name.
inline std::string builtProgram(const std::string& exe) { return platform::realSystem().programFolder() + "\\" + exe; }
inline std::string recorderPath() { return builtProgram("window_recorder.exe"); }
inline std::string copyProgram(const std::string& exe, const std::string& target) {
    std::filesystem::create_directories(pathFromUtf8(target).parent_path());
    std::filesystem::copy_file(pathFromUtf8(builtProgram(exe)), pathFromUtf8(target),
                               std::filesystem::copy_options::overwrite_existing);
    return target;
}
inline std::string copyRecorder(const std::string& target) { return copyProgram("window_recorder.exe", target); }

// The recorder (or a copy of it) with a log and a window title.
inline StartedProgram startRecorder(const std::string& exe, const std::string& log, const std::string& title,
                                    const std::string& extra = {}) {
    return StartedProgram(test::quoted(exe) + " --log " + test::quoted(log) + " --title " + test::quoted(title) +
                          (extra.empty() ? "" : " " + extra));
}

// The text after "<prefix> " of the first log line that starts so.
inline std::optional<std::string> waitForLine(const std::string& log, const std::string& prefix) {
    std::optional<std::string> found;
    waitFor([&] {
        for (const auto& line : logLines(log)) {
            if (line != prefix && !line.starts_with(prefix + " ")) continue;
            found = line.substr(std::min(line.size(), prefix.size() + 1));
            return true;
        }
        return false;
    });
    return found;
}

// The default value of a key below HKEY_LOCAL_MACHINE, set for one test and
// given back afterwards (removed when there was none).
class MachineDefaultValue {
public:
    MachineDefaultValue(const std::wstring& key, const std::wstring& value)
        : key_(win32::fromWide(key)), previous_(registry().readValue(kMachine, key_, "")),
          ok_(registry().writeString(kMachine, key_, "", win32::fromWide(value))) {}
    ~MachineDefaultValue() {
        if (previous_) registry().writeString(kMachine, key_, "", *previous_);
        else registry().deleteValue(kMachine, key_, "");
    }
    MachineDefaultValue(const MachineDefaultValue&) = delete;
    [[nodiscard]] bool ok() const { return ok_; }

private:
    static constexpr auto kMachine = platform::RegRoot::LocalMachine;
    static platform::Registry& registry() { return platform::systemRegistry(); }
    std::string key_;
    std::optional<std::string> previous_;
    bool ok_;
};

// Whether the shell holds the tray icon of `owner`: only then it takes a change of tip.
inline bool trayIconPresent(HWND owner) {
    NOTIFYICONDATAW data{};
    data.cbSize = NOTIFYICONDATAW_V2_SIZE;
    data.hWnd = owner;
    data.uID = 1;
    data.uFlags = NIF_TIP;
    wcscpy(data.szTip, L"Ombrix");
    return Shell_NotifyIconW(NIM_MODIFY, &data) != FALSE;
}

inline bool topmost(HWND w) { return (GetWindowLongW(w, GWL_EXSTYLE) & WS_EX_TOPMOST) != 0; }

}  // namespace ombrix::test

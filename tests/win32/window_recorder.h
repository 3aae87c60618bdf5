#pragma once
// Starting and watching tests/win32/tools/window_recorder from a test: the
// program writes what happens to its window into a log file that the test
// reads while it runs.

#include <windows.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/system.h"
#include "platform/win32/handles.h"
#include "platform/win32/wide.h"
#include "platform/files.h"

namespace ombrix::test {

// Long enough for a cold Wine start; only a failing test waits this long.
inline constexpr auto kPatience = std::chrono::seconds(15);

// A program built beside the tests.
inline std::string builtProgram(const std::string& exe) { return platform::realSystem().programFolder() + "\\" + exe; }
inline std::string recorderPath() { return builtProgram("window_recorder.exe"); }

// The recorder copied under another name, as a stand-in for another program.
inline std::string copyRecorder(const std::string& target) {
    std::filesystem::create_directories(pathFromUtf8(target).parent_path());
    std::filesystem::copy_file(pathFromUtf8(recorderPath()), pathFromUtf8(target),
                               std::filesystem::copy_options::overwrite_existing);
    return target;
}

inline std::string quoted(const std::string& s) { return "\"" + s + "\""; }

inline std::vector<std::string> logLines(const std::string& log) {
    std::vector<std::string> lines;
    const auto text = readWholeFile(log);
    if (!text) return lines;
    std::size_t start = 0;
    while (start < text->size()) {
        const auto end = text->find('\n', start);
        lines.push_back(text->substr(start, end == std::string::npos ? std::string::npos : end - start));
        if (end == std::string::npos) break;
        start = end + 1;
    }
    return lines;
}

// Polls until `done` holds; false when patience runs out.
template <typename Condition>
bool waitUntil(Condition done, std::chrono::milliseconds patience = kPatience) {
    const auto until = std::chrono::steady_clock::now() + patience;
    while (!done()) {
        if (std::chrono::steady_clock::now() > until) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

// The text after "<prefix> " of the first log line that starts so.
inline std::optional<std::string> waitForLine(const std::string& log, const std::string& prefix) {
    std::optional<std::string> found;
    waitUntil([&] {
        for (const auto& line : logLines(log)) {
            if (line.rfind(prefix + " ", 0) == 0 || line == prefix) {
                found = line.size() > prefix.size() ? line.substr(prefix.size() + 1) : std::string();
                return true;
            }
        }
        return false;
    });
    return found;
}

// The recorder's window, once it has made it.
inline HWND waitForWindow(const std::string& log) {
    const auto value = waitForLine(log, "window");
    return value ? reinterpret_cast<HWND>(static_cast<std::uintptr_t>(std::stoull(*value))) : nullptr;
}

// A started program, terminated when the test is over.
class StartedProgram {
public:
    StartedProgram() = default;
    explicit StartedProgram(const std::string& commandLine, WORD show = SW_SHOWNORMAL) {
        std::wstring line = win32::toWide(commandLine);
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        startup.dwFlags = STARTF_USESHOWWINDOW;
        startup.wShowWindow = show;
        PROCESS_INFORMATION info{};
        if (CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &info)) {
            process_.reset(info.hProcess);
            CloseHandle(info.hThread);
            id_ = info.dwProcessId;
        }
    }
    StartedProgram(StartedProgram&&) = default;
    StartedProgram& operator=(StartedProgram&&) = default;
    ~StartedProgram() {
        if (process_ && WaitForSingleObject(process_.get(), 0) == WAIT_TIMEOUT) {
            TerminateProcess(process_.get(), 1);
            WaitForSingleObject(process_.get(), 5000);
        }
    }

    [[nodiscard]] bool started() const { return static_cast<bool>(process_); }
    [[nodiscard]] DWORD id() const { return id_; }
    // The exit code once it has ended, nullopt while it runs.
    [[nodiscard]] std::optional<DWORD> waitForExit() const {
        if (!process_ || WaitForSingleObject(process_.get(), 15000) != WAIT_OBJECT_0) return std::nullopt;
        DWORD code = 0;
        GetExitCodeProcess(process_.get(), &code);
        return code;
    }

private:
    win32::UniqueKernelHandle process_;
    DWORD id_ = 0;
};

// The recorder (or a copy of it) with a log and a window title.
inline StartedProgram startRecorder(const std::string& exe, const std::string& log, const std::string& title,
                                    const std::string& extra = {}) {
    return StartedProgram(quoted(exe) + " --log " + quoted(log) + " --title " + quoted(title) +
                          (extra.empty() ? "" : " " + extra));
}

}  // namespace ombrix::test

#pragma once
// Starting and driving tests/win32/tools/browser_standin from a test: a copy
// named like the browser (chrome.exe, msedge.exe, firefox.exe) in a folder of
// its own, commands by WM_COPYDATA, and the file where it records the
// addresses it was asked to open and the Ctrl+W presses.

#include <windows.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/win32/handles.h"
#include "platform/win32/wide.h"
#include "platform/files.h"
#include "win32/window_recorder.h"

namespace ombrix::test {

class StandinBrowser {
public:
    // Copies the stand-in as `image` into a fresh folder and starts it with
    // `arguments` (already quoted as needed); false from started() when it
    // did not show its window.
    StandinBrowser(const std::string& image, const std::string& arguments = {}) : image_(image) {
        static std::atomic<int> counter{0};
        folder_ = std::filesystem::temp_directory_path() /
                  ("ombrix-standin-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(++counter));
        std::filesystem::create_directories(folder_);
        exe_ = pathToUtf8(folder_ / pathFromUtf8(image));
        std::filesystem::copy_file(pathFromUtf8(builtProgram("browser_standin.exe")), pathFromUtf8(exe_),
                                   std::filesystem::copy_options::overwrite_existing);
        process_ = start(arguments);
        waitUntil([&] { return (window_ = findWindow()) != nullptr; });
    }
    ~StandinBrowser() {
        if (process_ && WaitForSingleObject(process_.get(), 0) == WAIT_TIMEOUT) {
            send("quit");
            if (WaitForSingleObject(process_.get(), 5000) != WAIT_OBJECT_0) TerminateProcess(process_.get(), 1);
        }
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }
    StandinBrowser(const StandinBrowser&) = delete;
    StandinBrowser& operator=(const StandinBrowser&) = delete;

    [[nodiscard]] bool started() const { return window_ != nullptr; }
    [[nodiscard]] HWND window() const { return window_; }
    [[nodiscard]] const std::string& exe() const { return exe_; }
    [[nodiscard]] DWORD processId() const { return process_ ? GetProcessId(process_.get()) : 0; }

    // Runs command lines in the stand-in; true when it knew them all. They
    // have been carried out when this returns.
    bool send(const std::string& commands) const {
        if (window_ == nullptr) return false;
        std::string bytes = commands;
        COPYDATASTRUCT data{1, static_cast<DWORD>(bytes.size()), bytes.data()};
        DWORD_PTR result = 0;
        return SendMessageTimeoutW(window_, WM_COPYDATA, 0, reinterpret_cast<LPARAM>(&data), SMTO_ABORTIFHUNG, 5000,
                                   &result) != 0 &&
               result != 0;
    }

    // Another start of the same program (as a link opened from elsewhere).
    bool startAgain(const std::string& arguments) const {
        win32::UniqueKernelHandle second = start(arguments);
        return second && WaitForSingleObject(second.get(), 10000) == WAIT_OBJECT_0;
    }

    [[nodiscard]] std::vector<std::string> record() const { return logLines(exe_ + ".record"); }
    [[nodiscard]] bool recorded(const std::string& line) const {
        return waitUntil([&] {
            for (const auto& l : record()) {
                if (l == line) return true;
            }
            return false;
        });
    }
    bool waitForExit(DWORD ms = 10000) const {
        return process_ && WaitForSingleObject(process_.get(), ms) == WAIT_OBJECT_0;
    }

private:
    win32::UniqueKernelHandle start(const std::string& arguments) const {
        std::wstring command = win32::toWide(quoted(exe_) + (arguments.empty() ? "" : " " + arguments));
        STARTUPINFOW si{};
        si.cb = sizeof si;
        PROCESS_INFORMATION pi{};
        const std::wstring dir = folder_.wstring();
        if (!CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, dir.c_str(), &si, &pi)) {
            return {};
        }
        CloseHandle(pi.hThread);
        return win32::UniqueKernelHandle(pi.hProcess);
    }

    // The visible window of the stand-in's own process.
    HWND findWindow() const {
        struct Search {
            DWORD pid;
            HWND found;
        } search{processId(), nullptr};
        if (search.pid == 0) return nullptr;
        EnumWindows(
            [](HWND w, LPARAM p) -> BOOL {
                auto* s = reinterpret_cast<Search*>(p);
                DWORD pid = 0;
                GetWindowThreadProcessId(w, &pid);
                if (pid != s->pid || !IsWindowVisible(w)) return TRUE;
                s->found = w;
                return FALSE;
            },
            reinterpret_cast<LPARAM>(&search));
        return search.found;
    }

    std::string image_;
    std::filesystem::path folder_;
    std::string exe_;
    win32::UniqueKernelHandle process_;
    HWND window_ = nullptr;
};

// Ctrl+W as the blockers send it: Ctrl down, W down, Ctrl up, W up.
inline void pressCtrlW() {
    keybd_event(17, 0, 1, 0);
    keybd_event(87, 0, 1, 0);
    keybd_event(17, 0, 3, 0);
    keybd_event(87, 0, 3, 0);
}

}  // namespace ombrix::test

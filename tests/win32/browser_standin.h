#pragma once
// tools/browser_standin driven from a test: a copy named like the browser in a
// folder of its own, commands by WM_COPYDATA, and its record.

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "platform/files.h"
#include "win32/helpers.h"

namespace ombrix::test {

class StandinBrowser {
public:
    // `program` copied as `image` and started with `arguments`, already quoted;
    // started() is false when it showed no window.
    explicit StandinBrowser(const std::string& image, const std::string& arguments = {},
                            const std::string& program = "browser_standin.exe") {
        static std::atomic<int> counter{0};
        folder_ = std::filesystem::temp_directory_path() /
                  ("ombrix-standin-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(++counter));
        exe_ = copyProgram(program, pathToUtf8(folder_ / pathFromUtf8(image)));
        process_ = std::make_unique<StartedProgram>(test::quoted(exe_) + (arguments.empty() ? "" : " " + arguments), folder_);
        waitFor([&] {
            for (HWND w : process_->windows()) window_ = window_ ? window_ : IsWindowVisible(w) ? w : nullptr;
            return window_ != nullptr;
        });
    }
    ~StandinBrowser() {
        if (process_->running() && send("quit")) (void)process_->waitForExit(std::chrono::seconds(5));
        process_.reset();
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }
    StandinBrowser(const StandinBrowser&) = delete;
    [[nodiscard]] bool started() const { return window_ != nullptr; }
    [[nodiscard]] HWND window() const { return window_; }
    // Runs command lines in the stand-in, carried out on return; true when it knew them all.
    bool send(std::string commands) const {
        COPYDATASTRUCT data{1, static_cast<DWORD>(commands.size()), commands.data()};
        DWORD_PTR result = 0;
        return window_ && SendMessageTimeoutW(window_, WM_COPYDATA, 0, LPARAM(&data), SMTO_ABORTIFHUNG, 5000, &result) &&
               result != 0;
    }
    [[nodiscard]] std::vector<std::string> record() const { return logLines(exe_ + ".record"); }
    [[nodiscard]] bool recorded(const std::string& line) const {
        return waitFor([&] { return std::ranges::count(record(), line) > 0; });
    }
    [[nodiscard]] bool waitForExit(std::chrono::milliseconds patience = kPatience) const {
        return process_->waitForExit(patience).has_value();
    }
    [[nodiscard]] bool running() const { return process_->running(); }

private:
    std::filesystem::path folder_;
    std::string exe_;
    std::unique_ptr<StartedProgram> process_;
    HWND window_ = nullptr;
};

}  // namespace ombrix::test

#include <windows.h>

#include <unordered_map>

#include "platform/failures.h"
#include "platform/win32/machine.h"
#include "platform/win32/wide.h"

namespace ombrix::win32 {
namespace {

HWND toHwnd(platform::WindowId id) { return reinterpret_cast<HWND>(id); }
platform::WindowId toId(HWND hwnd) { return reinterpret_cast<platform::WindowId>(hwnd); }

// A window whose thread is not ours may hang; asking it synchronously would
// hang the enforcement timers with it.
bool ownedByThisThread(HWND hwnd) { return GetWindowThreadProcessId(hwnd, nullptr) == GetCurrentThreadId(); }

// GetWindowTextLengthW would send a message to a foreign window (which may
// hang); GetWindowTextW reads its stored text instead. The buffer grows
// while the text fills it.
std::wstring wideTitle(HWND window) {
    std::wstring buffer(256, L'\0');
    for (;;) {
        const int n = GetWindowTextW(window, buffer.data(), static_cast<int>(buffer.size()));
        if (n <= 0) return {};
        if (static_cast<std::size_t>(n) < buffer.size() - 1 || buffer.size() >= 65536) {
            buffer.resize(static_cast<std::size_t>(n));
            return buffer;
        }
        buffer.assign(buffer.size() * 2, L'\0');
    }
}

BOOL CALLBACK collectWindow(HWND hwnd, LPARAM param) {
    try {
        reinterpret_cast<std::vector<platform::WindowId>*>(param)->push_back(toId(hwnd));
        return TRUE;
    } catch (...) {
        platform::recordCurrentFailure();
        return FALSE;  // out of memory: stop with what was gathered
    }
}

class Win32WindowSystem final : public platform::WindowSystem {
public:
    std::vector<platform::WindowId> findByTitles(const std::vector<std::string>& titles) override {
        // FindWindowW per title would walk the desktop, and ask the server
        // for every window's text, once for each title of the list.
        std::vector<platform::WindowId> found(titles.size(), 0);
        platform::guarded([&] {
            std::vector<std::wstring> wanted;
            wanted.reserve(titles.size());
            std::size_t left = 0;
            for (const std::string& t : titles) {
                wanted.push_back(toWide(t));
                if (!t.empty()) ++left;
            }
            for (const platform::WindowId window : topLevelWindows()) {
                if (left == 0) break;
                const std::wstring text = wideTitle(toHwnd(window));
                if (text.empty()) continue;
                for (std::size_t i = 0; i < wanted.size(); ++i) {
                    if (found[i] != 0 || wanted[i].empty()) continue;
                    // FindWindowW's rule: the whole title, case ignored ordinally.
                    if (CompareStringOrdinal(text.data(), static_cast<int>(text.size()), wanted[i].data(),
                                             static_cast<int>(wanted[i].size()), TRUE) == CSTR_EQUAL) {
                        found[i] = window;
                        --left;
                    }
                }
            }
        });
        return found;
    }

    platform::WindowId findByClass(std::string_view className, platform::WindowId after) override {
        if (className.empty()) return 0;
        return platform::guarded(
            [&] { return toId(FindWindowExW(nullptr, toHwnd(after), toWide(className).c_str(), nullptr)); });
    }

    std::vector<platform::WindowId> topLevelWindows() override {
        std::vector<platform::WindowId> out;
        try {
            out.reserve(256);
        } catch (...) {
            platform::recordCurrentFailure();
            return {};
        }
        // EnumWindows would ask after every window once more before handing it on.
        EnumDesktopWindows(nullptr, &collectWindow, reinterpret_cast<LPARAM>(&out));
        return out;
    }

    std::string title(platform::WindowId window) override {
        if (window == 0) return {};
        try {
            return fromWide(wideTitle(toHwnd(window)));
        } catch (...) {
            platform::recordCurrentFailure();
            return {};
        }
    }

    // A window keeps its process for life, and a handle's value comes back
    // only after its slot has served tens of thousands of windows: the
    // answer, a request to the server for another process's window, is
    // remembered. The readers ask it of every window on the desktop twenty
    // times a second.
    std::uint32_t processId(platform::WindowId window) override {
        if (const auto known = processes_.find(window); known != processes_.end()) return known->second;
        DWORD pid = 0;
        GetWindowThreadProcessId(toHwnd(window), &pid);
        if (pid == 0) return 0;
        if (processes_.size() >= kRememberedWindows) processes_.clear();
        processes_.emplace(window, pid);
        return pid;
    }

    void show(platform::WindowId window, platform::ShowCommand command) override {
        if (window == 0) return;
        const HWND hwnd = toHwnd(window);
        const int cmd = static_cast<int>(command);
        if (ownedByThisThread(hwnd)) {
            ShowWindow(hwnd, cmd);
        } else {
            ShowWindowAsync(hwnd, cmd);
        }
    }

    void postClose(platform::WindowId window) override {
        // PostMessageW to null would post to this thread's own queue.
        if (window == 0) return;
        PostMessageW(toHwnd(window), WM_CLOSE, 0, 0);
    }

    void setTopmost(platform::WindowId window, bool topmost) override {
        if (window == 0) return;
        UINT flags = SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE;
        if (!ownedByThisThread(toHwnd(window))) flags |= SWP_ASYNCWINDOWPOS;
        SetWindowPos(toHwnd(window), topmost ? HWND_TOPMOST : HWND_NOTOPMOST, 0, 0, 0, 0, flags);
    }

private:
    static constexpr std::size_t kRememberedWindows = 1024;
    std::unordered_map<platform::WindowId, std::uint32_t> processes_;
};

}  // namespace

std::unique_ptr<platform::WindowSystem> makeWindowSystem() { return std::make_unique<Win32WindowSystem>(); }

}  // namespace ombrix::win32

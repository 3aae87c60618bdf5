#pragma once
// The Win32 side of the seam: one object of each kind for the whole program.
// ombrix.exe hands these to the controller and the enforcement; the Windows
// tests use the very same ones. Made on first use of machine(), kept until
// the program ends, used from the user-interface thread only.

#include <windows.h>

#include <memory>
#include <optional>
#include <string>

#include "platform/clock.h"
#include "platform/dialogs.h"
#include "platform/event_log.h"
#include "platform/file_registry.h"
#include "platform/filesystem.h"
#include "platform/input.h"
#include "platform/printers.h"
#include "platform/processes.h"
#include "platform/registry.h"
#include "platform/shell.h"
#include "platform/system.h"
#include "platform/windows.h"

namespace ombrix::win32 {

// Message boxes and the shell's folder browser, owned by a window of the
// program (the main form once it exists).
class Win32Dialogs final : public platform::Dialogs {
public:
    // Null, or a window that has gone, leaves the boxes without an owner:
    // they are then modal to every window of the calling thread.
    void setOwner(HWND owner) { owner_ = owner; }
    [[nodiscard]] HWND owner() const { return owner_; }

    // A box that cannot be shown answers Ok, or No to a question.
    platform::MessageAnswer messageBox(const platform::MessageBoxRequest& request) override;
    // nullopt when cancelled or when the chosen item is not a folder on disk.
    std::optional<std::string> browseForFolder(const std::string& prompt) override;

private:
    [[nodiscard]] HWND liveOwner() const;
    [[nodiscard]] std::optional<std::string> browse(const std::string& prompt) const;
    HWND owner_ = nullptr;
};

class Machine {
public:
    Machine();
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

    [[nodiscard]] platform::Processes& processes() { return *processes_; }
    [[nodiscard]] platform::WindowSystem& windows() { return *windows_; }
    [[nodiscard]] platform::KeyboardInput& keyboard() { return *keyboard_; }
    [[nodiscard]] platform::Shell& shell() { return *shell_; }
    [[nodiscard]] platform::Clock& clock() { return *clock_; }
    [[nodiscard]] platform::EventPump& pump() { return *pump_; }
    [[nodiscard]] platform::Printers& printers() { return *printers_; }
    [[nodiscard]] platform::EventLog& eventLog() { return *eventLog_; }
    [[nodiscard]] Win32Dialogs& dialogs() { return dialogs_; }
    [[nodiscard]] platform::Registry& registry() { return platform::systemRegistry(); }
    [[nodiscard]] platform::FileSystem& fileSystem() { return platform::realFileSystem(); }
    [[nodiscard]] platform::System& system() { return platform::realSystem(); }

private:
    std::unique_ptr<platform::Processes> processes_;
    std::unique_ptr<platform::WindowSystem> windows_;
    std::unique_ptr<platform::KeyboardInput> keyboard_;
    std::unique_ptr<platform::Shell> shell_;
    std::unique_ptr<platform::Clock> clock_;
    std::unique_ptr<platform::EventPump> pump_;
    std::unique_ptr<platform::Printers> printers_;
    std::unique_ptr<platform::EventLog> eventLog_;
    Win32Dialogs dialogs_;
};

// The machine this program runs on.
[[nodiscard]] Machine& machine();

// The building blocks, each defined beside its Win32 calls.
[[nodiscard]] std::unique_ptr<platform::Processes> makeProcesses();
[[nodiscard]] std::unique_ptr<platform::WindowSystem> makeWindowSystem();
[[nodiscard]] std::unique_ptr<platform::KeyboardInput> makeKeyboardInput();
[[nodiscard]] std::unique_ptr<platform::Shell> makeShell();
[[nodiscard]] std::unique_ptr<platform::Clock> makeClock();
[[nodiscard]] std::unique_ptr<platform::EventPump> makeEventPump();
[[nodiscard]] std::unique_ptr<platform::Printers> makePrinters();
[[nodiscard]] std::unique_ptr<platform::EventLog> makeEventLog();

}  // namespace ombrix::win32

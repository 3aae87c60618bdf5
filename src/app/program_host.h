#pragma once
// What the enforcement asks of the program around it, and where the main
// form's timers go: the glue between the controller, the enforcement and the
// machine, kept free of Win32 so that it is tested natively.

#include <string>
#include <vector>

#include "browser/browser_windows.h"
#include "core/controller.h"
#include "core/main_view.h"
#include "core/timers.h"
#include "enforce/enforcement.h"
#include "enforce/enforcement_host.h"
#include "lockdown/shell_lock.h"
#include "machine/machine_profile.h"
#include "platform/filesystem.h"
#include "platform/process_view.h"
#include "platform/shell.h"
#include "platform/system.h"

namespace ombrix::app {

class ProgramHost final : public enforce::EnforcementHost {
public:
    struct Parts {
        core::Controller& controller;
        core::MainView& view;
        core::Timers& timers;
        platform::System& system;
        platform::Shell& shell;
        platform::FileSystem& files;
        platform::SharedProcessView& processes;  // what the enforcement and the readers see
    };
    explicit ProgramHost(Parts parts) : p_(parts) {}

    // The enforcement is made after the host, which it needs.
    void setEnforcement(enforce::Enforcement* enforcement) { enforcement_ = enforcement; }
    // What opens the home page once, on TimerId::LaunchHomePage.
    void setMachineSettings(core::MachineSettings* machine) { machine_ = machine; }
    // What the Start-screen killer's and the desktop's one-shot timers run.
    void setShellLock(lockdown::ShellLock* lock) { shellLock_ = lock; }
    // The internal browser's windows; until set there are none.
    void setBrowserWindows(browser::BrowserWindows* windows) { browserWindows_ = windows; }
    // One tick of a main-form timer. A timer of a part not built yet is
    // switched off, so it does not fire for nothing all day.
    void onTimer(core::TimerId id);
    // Another program showed a top-level window: a forbidden one is ended
    // now rather than at the next tick of the process timer.
    void onWindowAppeared();

    void showMessage(const std::string& text, int kind) override;
    void openPage(const std::string& address) override;
    void launchStartPage() override;
    void clearFirefoxSession() override;
    bool timeSlotScheduleInForce() override { return p_.controller.timeSlotScheduleInForce(); }
    long long profileInUse() override;
    void storeUnreadable(const std::string& message) override { p_.controller.storeUnreadable(message); }
    bool logSwitch() override;
    void keepNoticeWindowsOnTop() override;
    int internalBrowserWindowCount() override { return browserWindows_ ? browserWindows_->count() : 0; }
    void openInternalBrowser() override {
        if (browserWindows_) browserWindows_->open();
    }
    std::vector<std::string> internalBrowserAddresses() override {
        return browserWindows_ ? browserWindows_->addresses() : std::vector<std::string>{};
    }

private:
    Parts p_;
    enforce::Enforcement* enforcement_ = nullptr;
    core::MachineSettings* machine_ = nullptr;
    lockdown::ShellLock* shellLock_ = nullptr;
    browser::BrowserWindows* browserWindows_ = nullptr;
};

}  // namespace ombrix::app

#include "app/program_host.h"

#include "machine/firefox_profile.h"
#include "platform/failures.h"
#include "platform/text.h"

namespace ombrix::app {

void ProgramHost::onTimer(core::TimerId id) {
    using core::TimerId;
    if (id == TimerId::Exit) {
        p_.controller.tickExit();
        return;
    }
    if (id == TimerId::LaunchHomePage && machine_) {
        // One shot: off before anything it does can let another tick in.
        p_.timers.setEnabled(id, false);
        platform::guarded([&] { machine_->tickLaunchHomePage(p_.controller.switches()); });
        return;
    }
    if (shellLock_ && (id == TimerId::MetroKiller || id == TimerId::HideDesktop)) {
        platform::guarded([&] {
            if (id == TimerId::MetroKiller) {
                shellLock_->tickMetroKiller();
            } else {
                shellLock_->tickHideDesktop();
            }
        });
        return;
    }
    if (enforcement_) {
        switch (id) {
            case TimerId::SiteCheck: enforcement_->tickSiteCheck(); return;
            case TimerId::KillTaskManager:
                if (shellLock_) {
                    platform::guarded([&] { shellLock_->keepStartHidden(); });
                    platform::guarded([&] { shellLock_->refreshGuardArea(); });
                }
                enforcement_->tickKillTaskManager();
                platform::guarded([&] { p_.controller.tickTimeSlots(); });
                platform::guarded([&] { p_.controller.tickProfileRetry(); });
                platform::guarded([&] { p_.controller.tickStoreChanges(); });
                return;
            case TimerId::SiteLog: enforcement_->tickSiteLog(); return;
            case TimerId::CloseWindows: enforcement_->tickCloseWindows(); return;
            case TimerId::ForbiddenProcesses:
                // The net beneath the window events: always the machine as it is.
                p_.processes.refresh();
                enforcement_->tickForbiddenProcesses();
                return;
            default: break;
        }
    }
    p_.timers.setEnabled(id, false);
}

void ProgramHost::onWindowAppeared() {
    p_.processes.refresh();
    if (enforcement_ && p_.timers.isEnabled(core::TimerId::ForbiddenProcesses)) enforcement_->tickForbiddenProcesses();
}

void ProgramHost::showMessage(const std::string& text, int kind) { p_.controller.showMessage(text, kind); }

void ProgramHost::openPage(const std::string& address) {
    // The drive root of the program's folder as the working folder ("C:\").
    const std::string folder = p_.system.programFolder();
    p_.shell.open(address, folder.substr(0, 3), platform::kNormalFocus);
}

void ProgramHost::launchStartPage() {
    const std::string page = p_.controller.switches().homePage;
    if (!trimBlanks(page).empty()) openPage(page);
}

void ProgramHost::clearFirefoxSession() {
    core::clearFirefoxSession(p_.files, core::firefoxProfilePath(p_.system.environment("APPDATA")));
}

long long ProgramHost::profileInUse() { return p_.controller.profileInUse(); }

bool ProgramHost::logSwitch() { return p_.controller.logSwitch(); }

void ProgramHost::keepNoticeWindowsOnTop() {
    // The notice last: it stays above the browser's windows.
    if (browserWindows_) platform::guarded([&] { browserWindows_->keepOnTop(); });
    p_.view.keepNoticeOnTop();
}

}  // namespace ombrix::app

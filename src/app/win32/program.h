#pragma once
// The running program: every part it is made of, built in the order the
// members are declared, each from those above it, and taken down in the
// reverse. A part that needs one built after it gets it in one of the
// wiring steps (or calls it through a lambda, never while being built);
// the destructor takes back the pointers to the parts that go first.

#include <windows.h>

#include <optional>
#include <string>

#include "app/administration.h"
#include "app/program_host.h"
#include "app/win32/elevated_starter.h"
#include "app/win32/forms/main_form.h"
#include "app/win32/guard_control_win32.h"
#include "browser/win32/application_bar_form.h"
#include "browser/win32/internal_browser.h"
#include "core/controller.h"
#include "core/events.h"
#include "core/store_location.h"
#include "enforce/enforcement.h"
#include "enforce/log_file.h"
#include "enforce/win32/browser_readers.h"
#include "lockdown/shell_lock.h"
#include "lockdown/win32/keyboard_form.h"
#include "lockdown/win32/shell_win32.h"
#include "machine/machine_profile.h"
#include "platform/folder_watch.h"
#include "platform/process_view.h"
#include "platform/win32/instance_win32.h"
#include "platform/win32/machine.h"
#include "platform/win32/registry_watch.h"
#include "platform/win32/window_appearances.h"
#include "profiles/managed_follower.h"
#include "schedule/daily_slots.h"
#include "support/language.h"

namespace ombrix::win32 {

class Program final : private MainFormEvents {
public:
    Program();
    ~Program() override;
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    // Starts up and runs the message loop until the shutdown. The exit
    // status: 1 when the main form could not be made, else 0 (another copy
    // already running included).
    int run();

private:
    // The mouse guard's view of the main form.
    class GuardedMainForm final : public lockdown::GuardedForm {
    public:
        explicit GuardedMainForm(MainForm& form) : form_(form) {}
        std::string stateField() override { return form_.trayMark(); }
        void setStateField(const std::string& value) override { form_.setTrayMark(value); }
        void bringBack(int left, int top) override { form_.bringBack(left, top); }

    private:
        MainForm& form_;
    };

    // The wiring, in this order.
    void wireLockdown();
    void wireEnforcement();
    void wireForms();
    void wireAdministration();

    // What the parts read as they work.
    [[nodiscard]] lockdown::KioskSwitches kioskSwitches();
    [[nodiscard]] ApplicationBarContext::Switches barSwitches();
    [[nodiscard]] std::optional<RECT> internalBrowserPlace();
    // An administrator's form in this process, modal; false only for the
    // options closed without a stored password.
    bool showHere(app::AdminForm form);
    // Starts following the managed profiles, with a store to write them to.
    void followManagedProfiles();

    // MainFormEvents
    void onTimer(core::TimerId id) override { host_.onTimer(id); }
    void openLogViewer() override { (void)administration_.open(app::AdminForm::Log); }
    void openProfileEditor() override { (void)administration_.open(app::AdminForm::Profiles); }
    void openTimeSlotEditor() override { (void)administration_.open(app::AdminForm::TimeSlots); }
    void openBrowserOptions() override { (void)administration_.open(app::AdminForm::BrowserOptions); }
    bool openOptionsForm() override { return administration_.open(app::AdminForm::Options); }
    void chooseProfile(const std::string& name) override { administration_.chooseProfile(name); }
    void unloadProgramForms() override;
    void shellRestarted() override { desktop_.shellRestarted(); }

    Machine& machine_;
    // What a school collects from each PC, in the system's event log.
    core::Events events_;
    Language language_;
    core::StoreEnvironment env_;
    core::Store store_;
    platform::NamedMutexInstance instance_;
    MainForm form_;
    core::Controller controller_;
    // The timers and readers share one view of the processes; a window that
    // appears, the process timer and the age limit renew it.
    platform::SharedProcessView processes_;
    BrowserReaders browsers_;
    app::ProgramHost host_;
    ShellWindowsWin32 shellWindows_;
    InputHooksWin32 hooks_;
    lockdown::ShellLock desktop_;
    GuardedMainForm guardedForm_;
    KeyboardForm keyboard_;
    core::MachineJournal journal_;
    core::MachineSettings machineSettings_;
    enforce::VisitedSitesLog siteLog_;
    enforce::Enforcement enforcement_;
    schedule::StoredSchedule schedule_;
    // The forms that write the store: here, or elevated behind the consent prompt.
    ElevatedStarterWin32 elevated_;
    app::AdministrationForms administration_;
    // The guard service, asked to stand down when the program exits elevated.
    GuardControlWin32 guard_;
    ApplicationBarForm bar_;
    InternalBrowser internalBrowser_;
    // From the start-up on, once this copy is known to be the only one.
    std::optional<WindowAppearances> appearances_;
    // From the start-up on: the machine's policies, applied as they change.
    std::optional<RegistryWatch> policyWatch_;
    // The managed profiles, followed on a thread of their own from the
    // start-up on; last, so that the thread ends before anything else goes.
    std::unique_ptr<platform::FolderWatch> managedWatch_;
    std::optional<profiles::ManagedFollower> managedFollower_;
};

}  // namespace ombrix::win32

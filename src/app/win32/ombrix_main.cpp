// ombrix.exe: the running program. Builds the machine, the controller, the
// enforcement and the main form, starts up, and runs the message loop until
// the shutdown.
#include <windows.h>

#include <commctrl.h>

#include "app/administration.h"
#include "app/program_host.h"
#include "app/win32/administration_mode.h"
#include "app/win32/elevated_starter.h"
#include "app/win32/forms/main_form.h"
#include "app/win32/forms/options_form.h"
#include "browser/win32/application_bar_form.h"
#include "browser/win32/browser_options_form.h"
#include "browser/win32/internal_browser.h"
#include "core/controller.h"
#include "enforce/enforcement.h"
#include "enforce/win32/browser_readers.h"
#include "enforce/win32/log_form.h"
#include "lockdown/shell_lock.h"
#include "lockdown/win32/keyboard_form.h"
#include "lockdown/win32/shell_win32.h"
#include "machine/machine_profile.h"
#include "platform/durable.h"
#include "platform/failures.h"
#include "platform/folder_access.h"
#include "platform/win32/debugger_output.h"
#include "platform/win32/instance_win32.h"
#include "platform/win32/machine.h"
#include "platform/win32/window_appearances.h"
#include "profiles/win32/profile_form.h"
#include "schedule/periodo.h"
#include "schedule/win32/slot_form.h"
#include "support/language.h"

namespace {

using namespace ombrix;

int run() {
    win32::Machine& machine = win32::machine();
    Language language(machine.system().programFolder(), '\\');

    core::StoreEnvironment env{machine.registry(), machine.fileSystem(), machine.system(), machine.dialogs(),
                               language};
    core::Store store;
    platform::NamedMutexInstance instance;
    win32::MainForm form(language);
    if (!form.window()) return 1;
    machine.dialogs().setOwner(form.window());

    core::Controller controller({env, form, form, machine.processes(), machine.pump(), instance}, store);
    // The timers and readers share one view of the processes; a window that
    // appears, the process timer and the age limit renew it.
    platform::SharedProcessView processes(machine.processes(), machine.clock(), 500);
    win32::BrowserReaders browsers(processes, machine.windows());
    app::ProgramHost host(
        {controller, form, form, machine.system(), machine.shell(), machine.fileSystem(), processes});
    // The shell lockdown reads the switches of the profile in use; on the way
    // out the on-screen keyboard is no longer asked for.
    win32::ShellWindowsWin32 shellWindows;
    win32::InputHooksWin32 hooks;
    lockdown::ShellLock desktop(
        {shellWindows, hooks, machine.processes(), machine.clock(), machine.pump(), machine.shell(), machine.system(), form},
        [&] {
            const core::ProfileSwitches& s = controller.switches();
            return lockdown::KioskSwitches{s.kiosk, s.tastoStartDisabilitato, s.apriPaginaInizialeATuttoSchermo,
                                           !controller.shuttingDown() && form.virtualKeyboardChecked()};
        });
    struct GuardedMainForm final : lockdown::GuardedForm {
        explicit GuardedMainForm(win32::MainForm& f) : form(f) {}
        std::string stateField() override { return form.trayMark(); }
        void setStateField(const std::string& value) override { form.setTrayMark(value); }
        void bringBack(int left, int top) override { form.bringBack(left, top); }
        win32::MainForm& form;
    } guardedForm(form);
    desktop.setForm(&guardedForm);
    win32::KeyboardForm keyboard(language);
    desktop.setKeyboard(&keyboard);
    controller.setOnScreenKeyboard(&keyboard);
    host.setShellLock(&desktop);
    core::MachineJournal journal(platform::systemDurableWriter(), machine.fileSystem());
    core::MachineSettings machineSettings(
        {machine.registry(), machine.system(), machine.printers(), processes, machine.pump(), machine.shell(),
         machine.fileSystem(), desktop, journal},
        [&] { return core::journalLocation(env, store.folder); });
    controller.setMachineProfile(&machineSettings);
    controller.setFolderAccess(&platform::realFolderAccess());
    host.setMachineSettings(&machineSettings);
    // The visited-sites log's own file, beside the store in a folder the pupil's session may write.
    enforce::VisitedSitesLog siteLog(machine.fileSystem(), machine.clock(), store.connection,
                                     [&] { return store.folder; }, '\\');
    enforce::Enforcement enforcement({store.connection, language, processes, machine.windows(),
                                      machine.keyboard(), browsers, browsers, machine.clock(), machine.pump(), form,
                                      host, siteLog});
    controller.setProfileLists(&enforcement);
    enforcement.setBrowserPolicies(&machineSettings);
    schedule::StoredSchedule schedule(store.connection, machine.clock());
    controller.setTimeSlotSchedule(&schedule);
    form.setController(&controller);
    form.killTaskManager = [&] { controller.killTaskManager(); };
    const auto showLogViewer = [&] {
        win32::LogFormContext context{store.connection, siteLog, language, machine.dialogs(), machine.clock(),
                                      controller.logSwitch(), [&](bool on) { controller.setLogSwitch(on); }};
        win32::showLogForm(form.window(), context);
    };
    const auto showProfileEditor = [&] {
        win32::ProfileFormContext context{store.connection, language, machine.dialogs()};
        win32::showProfileForm(form.window(), context);
    };
    const auto showTimeSlotEditor = [&] {
        win32::SlotFormContext context{store.connection, language, machine.dialogs()};
        win32::showSlotForm(form.window(), context);
    };
    // The forms that write the store: here, or elevated behind the consent prompt.
    win32::ElevatedStarterWin32 elevated(machine.system().programFolder(), machine.system().programFileName());
    app::AdministrationForms administration(
        {controller, env, store, elevated, [&](bool on) { form.enableForm(on); }, [&](app::AdminForm which) {
             switch (which) {
                 case app::AdminForm::Profiles: showProfileEditor(); break;
                 case app::AdminForm::TimeSlots: showTimeSlotEditor(); break;
                 case app::AdminForm::Log: showLogViewer(); break;
                 case app::AdminForm::Options:
                     return win32::showOptionsForm(form.window(), language,
                                                   [&](const std::string& a, const std::string& b) {
                                                       return controller.savePassword(a, b);
                                                   });
                 case app::AdminForm::BrowserOptions:
                     win32::showBrowserOptionsForm(form.window(), language, store.connection);
                     break;
             }
             return true;
         }});
    controller.setElevatedControl(&administration);
    form.openLogViewer = [&] { (void)administration.open(app::AdminForm::Log); };
    form.openProfileEditor = [&] { (void)administration.open(app::AdminForm::Profiles); };
    form.openTimeSlotEditor = [&] { (void)administration.open(app::AdminForm::TimeSlots); };
    form.openOptionsForm = [&] { return administration.open(app::AdminForm::Options); };
    form.chooseProfile = [&](const std::string& name) { administration.chooseProfile(name); };
    form.openBrowserOptions = [&] { (void)administration.open(app::AdminForm::BrowserOptions); };
    host.setEnforcement(&enforcement);

    // The internal browser applies the enforcement's verdicts; the control's
    // rendering mode is written (and journaled) before each control is made.
    win32::InternalBrowser* internalBrowser = nullptr;
    win32::ApplicationBarForm bar({language,
                                   [&] {
                                       const core::ProfileSwitches& s = controller.switches();
                                       return win32::ApplicationBarContext::Switches{
                                           s.utilizzaBrowserInterno, s.apriPaginaInizialeATuttoSchermo,
                                           s.paginaPredefinita};
                                   },
                                   "about:blank",
                                   [&] {
                                       if (internalBrowser) internalBrowser->open();
                                   },
                                   [&](const std::string& address) { host.ApriPagina(address); },
                                   [&] { form.showAndFocusPassword(); }});
    win32::InternalBrowser internal(
        {language, enforcement, store.connection,
         [&](const std::string& text) { host.VisualizzaMessaggio(text, enforce::kNoticeSite); },
         [&] { machineSettings.ImpostaEmulazioneBrowser(); }, {}},
        [&]() -> std::optional<RECT> {
            RECT place{};
            if (controller.switches().kiosk && bar.placeBeside(place)) return place;
            return std::nullopt;
        });
    internalBrowser = &internal;
    form.unloadProgramForms = [&] {
        internal.closeAll();
        bar.unload();
        keyboard.hide();
    };
    desktop.setApplicationBar(&bar);
    host.setBrowserWindows(&internal);
    form.onTimer = [&](core::TimerId id) { host.onTimer(id); };

    if (controller.startUp() == core::Controller::StartResult::AnotherInstance) return 0;
    const win32::WindowAppearances appearances([&] { host.onWindowAppeared(); });

    MSG msg;
    while (GetMessageW(&msg, nullptr, 0, 0) > 0) {
        if (!form.handleDialogMessage(msg) && !internal.handleMessage(msg) && !bar.handleMessage(msg)) {
            TranslateMessage(&msg);
            DispatchMessageW(&msg);
        }
        // Only here, between two messages of the program's own loop, is no
        // handler halfway through its work: a box shown inside one (or in
        // a pump it runs) would keep it there, timers off, until answered.
        platform::guarded([&] { controller.showWaitingNotices(); });
    }
    desktop.setApplicationBar(nullptr);
    host.setBrowserWindows(nullptr);
    return 0;
}

}  // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, PWSTR, int) {
    SetDllDirectoryW(L"");
    ombrix::win32::sendFailuresToDebugger();
    INITCOMMONCONTROLSEX icc{sizeof icc, ICC_STANDARD_CLASSES | ICC_WIN95_CLASSES};
    InitCommonControlsEx(&icc);
    int status = 1;
    try {
        const std::optional<int> administered = ombrix::win32::runAdministrationModeIfAsked();
        status = administered ? *administered : run();
    } catch (...) {
        ombrix::platform::recordCurrentFailure();
        status = 1;
    }
    return status;
}

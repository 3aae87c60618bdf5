#include "app/win32/program.h"

#include "app/win32/forms/options_form.h"
#include "core/machine_policy.h"
#include "core/policy_locks.h"
#include "browser/win32/browser_options_form.h"
#include "enforce/win32/log_form.h"
#include "platform/durable.h"
#include "platform/failures.h"
#include "platform/folder_access.h"
#include "profiles/win32/profile_form.h"
#include "schedule/win32/slot_form.h"

namespace ombrix::win32 {

Program::Program()
    : machine_(machine()),
      events_(&machine_.eventLog(), machine_.clock()),
      language_(machine_.system().programFolder(), '\\', machine_.system().userInterfaceLanguage()),
      env_{machine_.registry(), machine_.fileSystem(), machine_.system(), machine_.dialogs(), language_},
      form_(language_, *this),
      controller_({env_, form_, form_, machine_.processes(), machine_.pump(), instance_}, store_),
      processes_(machine_.processes(), machine_.clock(), 500),
      browsers_(processes_, machine_.windows(), machine_.clock()),
      host_({controller_, form_, form_, machine_.system(), machine_.shell(), machine_.fileSystem(), processes_}),
      desktop_({shellWindows_, hooks_, machine_.processes(), machine_.clock(), machine_.pump(), machine_.shell(),
                machine_.system(), form_},
               [this] { return kioskSwitches(); }),
      guardedForm_(form_),
      keyboard_(language_),
      journal_(platform::systemDurableWriter(), machine_.fileSystem()),
      machineSettings_({machine_.registry(), machine_.system(), machine_.printers(), processes_, machine_.pump(),
                        machine_.shell(), machine_.fileSystem(), desktop_, journal_},
                       [this] { return core::journalLocation(env_, store_.folder); }),
      // Its own file, beside the store in a folder the pupil's session may write.
      siteLog_(machine_.fileSystem(), machine_.clock(), store_.connection, [this] { return store_.folder; }, '\\'),
      enforcement_({store_.connection, language_, processes_, machine_.windows(), machine_.keyboard(), browsers_,
                    browsers_, machine_.clock(), machine_.pump(), form_, host_, siteLog_}),
      schedule_(store_.connection, machine_.clock()),
      elevated_(machine_.system().programFolder(), machine_.system().programFileName()),
      administration_({controller_, env_, store_, elevated_, [this](bool on) { form_.enableForm(on); },
                       [this](app::AdminForm which) { return showHere(which); }}),
      bar_({language_, [this] { return barSwitches(); }, "about:blank", [this] { internalBrowser_.open(); },
            [this](const std::string& address) { host_.openPage(address); },
            [this] { form_.showAndFocusPassword(); }}),
      // The internal browser applies the enforcement's verdicts; the control's
      // rendering mode is written (and journaled) before each control is made.
      internalBrowser_({language_, enforcement_, store_.connection,
                        [this](const std::string& text) { host_.showMessage(text, enforce::kNoticeSite); },
                        [this] { machineSettings_.setBrowserEmulation(); }, {}},
                       [this] { return internalBrowserPlace(); }) {
    machine_.dialogs().setOwner(form_.window());
    wireLockdown();
    wireEnforcement();
    wireForms();
    wireAdministration();
}

// The application bar and the internal browser go first: a message the
// browser's teardown lets through must not reach them through the lockdown
// or the timers.
Program::~Program() {
    desktop_.setApplicationBar(nullptr);
    host_.setBrowserWindows(nullptr);
}

// The shell lockdown: the main form it guards, the on-screen keyboard, the
// application bar that stands in for the task bar.
void Program::wireLockdown() {
    desktop_.setForm(&guardedForm_);
    desktop_.setKeyboard(&keyboard_);
    desktop_.setApplicationBar(&bar_);
    controller_.setOnScreenKeyboard(&keyboard_);
    host_.setShellLock(&desktop_);
}

// What the controller loads and applies for each profile, what the
// timers tick, and where they all report their events.
void Program::wireEnforcement() {
    controller_.setMachineProfile(&machineSettings_);
    controller_.setFolderAccess(&platform::realFolderAccess());
    controller_.setProfileLists(&enforcement_);
    controller_.setTimeSlotSchedule(&schedule_);
    schedule_.setPolicy(&controller_.machinePolicy());
    enforcement_.setBrowserPolicies(&machineSettings_);
    host_.setMachineSettings(&machineSettings_);
    host_.setEnforcement(&enforcement_);
    controller_.setEvents(&events_);
    enforcement_.setEvents(&events_);
    machineSettings_.setEvents(&events_);
}

// The main form's controller, and the internal browser's windows the
// enforcement counts and reads.
void Program::wireForms() {
    form_.setController(&controller_);
    host_.setBrowserWindows(&internalBrowser_);
}

// The controller's changes that need an elevated ombrixctl.
void Program::wireAdministration() {
    controller_.setElevatedControl(&administration_);
    controller_.setGuardChannel(&guard_);
}

int Program::run() {
    if (!form_.window()) return 1;
    if (controller_.startUp() == core::Controller::StartResult::AnotherInstance) return 0;
    appearances_.emplace([this] { host_.onWindowAppeared(); });
    // The whole policies' branch: a key of ours that Group Policy makes
    // later is seen from its first value.
    policyWatch_.emplace("SOFTWARE\\Policies", [this] { controller_.policyChanged(); });
    platform::guarded([&] { followManagedProfiles(); });

    MSG msg;
    while (GetMessageW(&msg, nullptr, 0, 0) > 0) {
        if (!form_.handleDialogMessage(msg) && !internalBrowser_.handleMessage(msg) && !bar_.handleMessage(msg)) {
            TranslateMessage(&msg);
            DispatchMessageW(&msg);
        }
        // Only here, between two messages of the program's own loop, is no
        // handler halfway through its work: a box shown inside one (or in
        // a pump it runs) would keep it there, timers off, until answered.
        platform::guarded([&] { controller_.showWaitingNotices(); });
        // An import the follower finished: its lists come in here, between
        // two messages, as an administrator's form would bring them.
        platform::guarded([&] {
            if (!managedFollower_) return;
            if (managedFollower_->takeChanges()) controller_.tickStoreChanges();
            for (const auto& r : managedFollower_->takeRefusals()) {
                events_.report(core::EventId::ManagedFileRefused, {r.subject, r.reason});
            }
        });
    }
    return 0;
}

void Program::followManagedProfiles() {
    if (controller_.storeLost() || !store_.connection.isOpen()) return;
    managedWatch_ = platform::makeFolderWatch();
    managedFollower_.emplace(machine_.registry(), *managedWatch_, store_.connection.path());
    managedFollower_->start();
}

lockdown::KioskSwitches Program::kioskSwitches() {
    // On the way out the on-screen keyboard is no longer asked for.
    const core::ProfileSwitches& s = controller_.switches();
    return {s.kiosk, s.startDisabled, s.fullScreen,
            !controller_.shuttingDown() && form_.virtualKeyboardChecked()};
}

ApplicationBarContext::Switches Program::barSwitches() {
    const core::ProfileSwitches& s = controller_.switches();
    return {s.internalBrowser, s.fullScreen, s.homePage};
}

std::optional<RECT> Program::internalBrowserPlace() {
    RECT place{};
    if (controller_.switches().kiosk && bar_.placeBeside(place)) return place;
    return std::nullopt;
}

bool Program::showHere(app::AdminForm form) {
    switch (form) {
        case app::AdminForm::Profiles: {
            ProfileFormContext context{store_.connection, language_, machine_.dialogs()};
            showProfileForm(form_.window(), context);
            break;
        }
        case app::AdminForm::TimeSlots: {
            SlotFormContext context{store_.connection, language_, machine_.dialogs(),
                                    core::policy::readLocks(machine_.registry())};
            showSlotForm(form_.window(), context);
            break;
        }
        case app::AdminForm::Log: {
            LogFormContext context{store_.connection, siteLog_, language_, machine_.dialogs(), machine_.clock(),
                                   controller_.logSwitch(), [this](bool on) { controller_.setLogSwitch(on); }};
            showLogForm(form_.window(), context);
            break;
        }
        case app::AdminForm::Options:
            return showOptionsForm(form_.window(), language_, [this](const std::string& a, const std::string& b) {
                return controller_.savePassword(a, b);
            }, core::policy::passwordManaged(machine_.registry()));
        case app::AdminForm::BrowserOptions:
            showBrowserOptionsForm(form_.window(), language_, store_.connection);
            break;
    }
    return true;
}

void Program::unloadProgramForms() {
    internalBrowser_.closeAll();
    bar_.unload();
    keyboard_.hide();
}

}  // namespace ombrix::win32

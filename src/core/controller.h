#pragma once
// The controller of the running program: start-up, the profile in use, the
// administrator controls and the shutdown. A plain object: the Win32 main
// form forwards its events and timer ticks here, and tests drive it with
// fakes of the machine.

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/events.h"
#include "core/guard_service.h"
#include "core/machine_policy.h"
#include "core/main_view.h"
#include "core/on_screen_keyboard.h"
#include "core/profile_switches.h"
#include "core/schema.h"
#include "core/store_location.h"
#include "core/timers.h"
#include "platform/clock.h"
#include "platform/dialogs.h"
#include "platform/folder_access.h"
#include "platform/instance.h"
#include "platform/processes.h"

namespace ombrix::core {

// What applying a profile changes on the machine, and giving it back.
class MachineProfile {
public:
    virtual ~MachineProfile() = default;
    virtual void disableDesktopSlideshow() = 0;
    // Remembers printer, home pages and the Firefox folder, to give them back.
    virtual void rememberSettings() = 0;
    // Instead of rememberSettings when the store is lost: what a journal
    // left by the last run holds stays in force, to be given back once the
    // store is back. True when that run had locked the shell.
    virtual bool keepLastRestrictions() = 0;
    virtual void applyToMachine(const ProfileSwitches& switches) = 0;
    virtual void restoreStartButtonAndTaskbar() = 0;
    virtual void disableFirefoxCloseTabsWarning() = 0;
    virtual void releaseKeyboardHook() = 0;
    virtual void restoreSettings() = 0;
};

// The daily time slots (the schedule subsystem), asked on every tick of
// TimerId::KillTaskManager while the switch Opzioni.FasceOrarie is on.
class TimeSlotSchedule {
public:
    virtual ~TimeSlotSchedule() = default;
    // Reads the slots from the store; false when they could not be read.
    [[nodiscard]] virtual bool load() = 0;
    // The profile the slots give the current time of day; 0 is none.
    [[nodiscard]] virtual long long profileForNow() = 0;
};

// The administrator's changes that a program without administrator rights
// may not write itself: an ombrixctl command line (without the program's
// name), run again through the consent prompt. True when it ran and did what
// it was asked; otherwise the reason was told.
class ElevatedControl {
public:
    virtual ~ElevatedControl() = default;
    virtual bool runControl(const std::vector<std::string>& arguments) = 0;
};

// The registry places of the program outside its own settings.
inline constexpr const char* kRunKey = "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run";
inline constexpr const char* kZoneMapDomains = "Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings\\ZoneMap\\Domains\\";
// The maker's site, put in the browser's trusted zone at start-up.
inline constexpr const char* kMakerSite = "www.ombrix.example";
// The executable's usual name, used only when the system cannot tell its real one.
inline constexpr const char* kProgramExeName = "ombrix";

// The profile in use when the store is lost: none that the store could name.
inline constexpr long long kUnknownProfile = -1;

// frmOpzioni's cmdSalva, for the running program and for a copy of it that
// only shows that form: true when the password was stored; otherwise the
// reason was shown.
[[nodiscard]] bool storeAdministratorPassword(StoreEnvironment& env, Store& store, const std::string& password,
                                              const std::string& confirmation);

class Controller {
public:
    struct Machine {
        StoreEnvironment& env;  // registry, files, system, dialogs, language
        Timers& timers;
        MainView& view;
        platform::Processes& processes;
        platform::EventPump& pump;
        platform::InstanceGuard& instance;
    };

    Controller(Machine machine, Store& store);

    // Parts that arrive later plug in here; until then their calls are not made.
    void setProfileLists(ProfileLists* lists) { lists_ = lists; }
    void setMachineProfile(MachineProfile* machine) { machineProfile_ = machine; }
    void setTimeSlotSchedule(TimeSlotSchedule* schedule) { schedule_ = schedule; }
    void setOnScreenKeyboard(OnScreenKeyboard* keyboard) { keyboard_ = keyboard; }
    // Who may change the store's folders: set again at every elevated start.
    void setFolderAccess(platform::FolderAccess* access) { folderAccess_ = access; }
    // What saves the options when the system wants consent for a change.
    void setElevatedControl(ElevatedControl* control) { elevatedControl_ = control; }
    // Where logins, failed logins and a lost or damaged store are reported.
    void setEvents(Events* events) { events_ = events; }
    // The guard service's channel, for an exit from a program with administrator rights.
    void setGuardChannel(GuardChannel* channel) { guardChannel_ = channel; }

    enum class StartResult { Running, AnotherInstance };
    // The main form's load, in its fixed order.
    StartResult startUp();

    // cmbProfili click: `name` is the chosen item's text.
    void onProfileChosen(const std::string& name);
    [[nodiscard]] long long profileIdByName(const std::string& name);

    // cmdLogin or Enter in txtPass. True when the administrator controls opened.
    bool login(const std::string& typed);
    [[nodiscard]] bool administrator() const { return administrator_; }
    // Back to the locked layout (the form was hidden or minimised).
    void lock();

    // The two boxes: saved here, or through the consent prompt when the
    // system wants it; either way the box then shows what is saved.
    void onAutostartClicked(bool ticked);
    void onVirtualKeyboardClicked(bool ticked);
    void onTaskManagerClicked();
    // The log viewer changed Opzioni.LogSiti: the program-wide copy and its timer follow.
    void setLogSwitch(bool on);
    // cmdPassword: the options form, then nothing else changes.
    void onOptionsClicked();
    // frmOpzioni's cmdSalva: true when the password was stored (the form
    // closes); otherwise the reason was shown and the form stays open.
    bool savePassword(const std::string& password, const std::string& confirmation);
    [[nodiscard]] bool passwordIsSet();
    // A store without a password is a first start, unless this machine's
    // own key (which a pupil's account cannot write) says a password was
    // chosen here: then the store was replaced, and nobody may choose anew.
    // Only a session with administrator rights chooses; another is told
    // that an administrator must.
    [[nodiscard]] bool firstStart();
    // Around the profile editor.
    void beforeProfileEditor();
    void afterProfileEditor();
    // TimerId::KillTaskManager's, and at once when this process's managed
    // profiles' import is done: another connection (an elevated ombrixctl,
    // the guard service, that import) committed to the store, which a
    // pupil's session cannot write itself. The profiles, the options the
    // policy leaves to the store, the slots and the profile in use with its
    // lists are read again; what was in force stays until they are in.
    void tickStoreChanges();
    // The time-slot editor closed: the slots and their switch are read again.
    void afterTimeSlotEditor();
    // TimerId::KillTaskManager's time-slot check: the profile the slots give now
    // is put in use when it is not the one in use.
    void tickTimeSlots();
    // TimerId::KillTaskManager's: a change of profile the store could not be
    // read for (another process held it locked) is tried again every
    // kProfileRetryTicks ticks, 30 s; until then what was in force stays.
    static constexpr int kProfileRetryTicks = 300;
    void tickProfileRetry();
    // The switch is on and the slots were read.
    [[nodiscard]] bool timeSlotScheduleInForce() const { return timeSlotSwitch_ && scheduleLoaded_; }

    // cmdEsci / mnuEsci: where the guard service is installed it is asked
    // first (through the consent prompt when needed) to leave this session
    // alone, or it would start the program again at once; when it refuses,
    // the program stays.
    void exitByAdministrator();
    // The closing sequence (the administrator's exit, or Windows ending the session).
    void beginShutdown();
    // TimerId::Exit's tick: the closing routine, once.
    void tickExit();

    // The form's query-unload: true when the close is refused (the program
    // ends only through the shutdown, or when Windows shuts down).
    enum class CloseRequest { ControlBox, WindowsShutdown, Program, Other };
    [[nodiscard]] bool refuseClose(CloseRequest request);
    void onMinimised();

    // Tells the administrator what the start-up's upgrade did, when it did
    // something or failed: upgraded, failed, not our store.
    void reportUpgrade(const UpgradeResult& upgrade);
    // Tells the administrator that the lists could not be read (msg::StoreUnreadable).
    void storeUnreadable(const std::string& why);
    // What the controller has to tell (the boxes above, a password missing
    // from the store, a lost store, the
    // first start's options form) waits until the lists are in force: a
    // modal box shown halfway through a sequence would hold it there, with
    // the timers off, for as long as nobody presses OK. The program's own
    // message loop calls this between messages, never from inside a handler
    // or a pump; it shows the waiting boxes one at a time while the timers
    // tick underneath, and those told meanwhile after them.
    void showWaitingNotices();
    // An administrator's change reached the store from this process: its copy follows.
    void storeChanged();
    // The enforcement's notice: kind 1, 2, 3 or other picks the heading.
    void showMessage(const std::string& text, int kind);
    // Terminates every running task manager (after each start-up step, and
    // from the splash form's timer).
    void killTaskManager();

    // The policy key changed: it is read again, and what it now sets (or
    // no longer sets) is put in force without a restart.
    void policyChanged();
    [[nodiscard]] const policy::MachinePolicy& machinePolicy() const { return policy_; }

    // State of the data model, for the forms and tests.
    [[nodiscard]] long long profileInUse() const { return profileInUse_; }
    [[nodiscard]] const ProfileSwitches& switches() const { return switches_; }
    [[nodiscard]] bool homePagePending() const { return homePagePending_; }
    [[nodiscard]] bool logSwitch() const { return logSwitch_; }
    [[nodiscard]] bool timeSlotSwitch() const { return timeSlotSwitch_; }
    [[nodiscard]] bool shuttingDown() const { return shuttingDown_; }
    [[nodiscard]] bool storeLost() const { return storeLost_; }
    [[nodiscard]] int windowsMajor() const { return windowsMajor_; }
    // The autostart entry's data: the program's full path.
    [[nodiscard]] std::string programPath() const;
    [[nodiscard]] bool autostartEntryPresent();
    // What the autostart box shows: an entry, or the guard service, which starts the program instead.
    [[nodiscard]] bool startsWithWindows();

private:
    void applyProfile();
    void loadLists();
    // The profile combo's switch and the time slots': the profile in use
    // becomes `id`, applied, its lists loaded, stored in Opzioni.
    void putInUse(long long id);
    void loadSchedule();
    void readPolicy();
    // The switches, the slots and the profile in use as the policy and the
    // store now give them; the profile is applied and its lists loaded
    // again when it changed, or always with `reloadProfile`.
    void followSettings(bool reloadProfile);
    void checkVirtualKeyboard(bool on);
    // The policy's switch, else the store's option (off when it cannot be read).
    [[nodiscard]] bool option(const std::optional<bool>& policy, const char* column);
    // The profile the policy or the store names, and whether every page is blocked
    // instead (the policy named a profile the store lacks).
    [[nodiscard]] long long chosenProfile();
    [[nodiscard]] bool sitesBlockedByPolicy() const;
    // The main form's controls whose setting the policy key decides are
    // disabled, with the text that names its values.
    void showPolicyLocks();
    // The Run entries follow the policy's switch, when it sets one.
    void enforceAutostartPolicy();
    void showVirtualKeyboard(bool on);
    // cmdPeriodi follows the switch.
    void showTimeSlotSwitch();
    void fillProfileCombo();
    void trustMakerSite();
    void refreshAutostart();
    bool ensureStore();
    // Open, and its options row read.
    bool storeReadable();
    // Enforces what a lost store does, and tells `reason`: msg::StoreLost, or
    // msg::PasswordNotChosenYet for a session that may not choose the password.
    void startWithoutStore(platform::MessageId reason);
    // A store without a password, in a session that may not choose one.
    [[nodiscard]] bool awaitingAdministratorsPassword();
    // msg::StoreLost with the store's path and, when it opened, why it cannot be read.
    void tellStoreLost(const std::string& why);
    // The store's file and why, to the event log.
    void reportStore(EventId id, const std::string& why);
    // Lost: the store itself again, when it reads; otherwise the copy stays open.
    bool storeBack();
    // The copy of the lost store, read-only, as the store the lists and slots are read from.
    void openStoreCopy();
    // A lost store's switches: the strictest, and the restrictions of the copy's profile.
    AppliedProfile lostStoreProfile();
    void keepStoreCopy();
    // Waits to be shown by showWaitingNotices.
    void tell(platform::MessageId id, const std::string& detail, platform::MessageIcon icon);
    void askForPassword();
    void finishStartUp();
    void protectFolders();
    bool runKeyForCurrentUser() const;
    // The user's own Run entry, which follows the machine's.
    void writeUserAutostart(bool on, const std::string& path);
    [[nodiscard]] bool changesNeedConsent();
    int killEveryInstance(std::string_view imageName);
    void killUntilGone(const std::string& imageName);

    Machine m_;
    Store& store_;
    ProfileLists* lists_ = nullptr;
    MachineProfile* machineProfile_ = nullptr;
    TimeSlotSchedule* schedule_ = nullptr;
    OnScreenKeyboard* keyboard_ = nullptr;
    platform::FolderAccess* folderAccess_ = nullptr;
    ElevatedControl* elevatedControl_ = nullptr;
    Events* events_ = nullptr;
    GuardChannel* guardChannel_ = nullptr;

    policy::MachinePolicy policy_;
    long long profileInUse_ = 0;
    bool sitesBlocked_ = false;  // the lists in force block every page for the policy
    ProfileSwitches switches_;
    bool homePagePending_ = false;
    bool logSwitch_ = false;
    bool timeSlotSwitch_ = false;
    bool scheduleLoaded_ = false;  // the schedule exists only after a load that worked
    bool profilePending_ = false;  // the profile in use could not be read: what was in force stays
    bool editingProfiles_ = false;  // the profile editor holds the lists' timers off
    bool keyboardChecked_ = false;
    std::optional<std::int64_t> storeVersion_;  // the store's data version last followed
    int retryTicks_ = 0;
    bool administrator_ = false;
    // The store went missing on a marked machine (see startUp).
    bool storeLost_ = false;
    bool lastRunLockedShell_ = false;  // the journal of a lost store's last run locked the shell
    bool listsUnreadable_ = false;     // told msg::StoreUnreadable since the start
    bool replacedReported_ = false;    // a store without its password, reported once
    // Boxes to show, in the order told; none stands for the options form.
    std::deque<std::optional<platform::MessageBoxRequest>> waiting_;
    bool showingNotices_ = false;
    bool shuttingDown_ = false;
    bool closed_ = false;
    int windowsMajor_ = 0;
    int windowsMinor_ = 0;
};

}  // namespace ombrix::core

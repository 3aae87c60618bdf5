#pragma once
// Applying the profile in use to the machine: the default printer, the
// browsers' home pages, the download block, the desktop lock, and opening the
// home page; and giving the machine back, at shutdown or after a crash,
// through the journal.

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/controller.h"
#include "core/desktop_lock.h"
#include "core/events.h"
#include "core/profile_switches.h"
#include "machine/browser_policies.h"
#include "machine/machine_journal.h"
#include "platform/clock.h"
#include "platform/filesystem.h"
#include "platform/printers.h"
#include "platform/processes.h"
#include "platform/registry.h"
#include "platform/shell.h"
#include "platform/system.h"

namespace ombrix::core {

inline constexpr const char* kInternetExplorerMain = "Software\\Microsoft\\Internet Explorer\\Main";
inline constexpr const char* kStartPage = "Start Page";
inline constexpr const char* kZone3 = "Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings\\Zones\\3";
inline constexpr const char* kDownloadValue = "1803";
inline constexpr const char* kBrowserEmulation =
    "Software\\Microsoft\\Internet Explorer\\Main\\FeatureControl\\FEATURE_BROWSER_EMULATION";
inline constexpr const char* kSlideshowKey = "Control Panel\\Personalization\\Desktop Slideshow";

// What the routines reach the machine through.
struct MachineSeams {
    platform::Registry& registry;
    platform::System& system;
    platform::Printers& printers;
    platform::Processes& processes;
    platform::EventPump& pump;
    platform::Shell& shell;
    platform::FileSystem& files;
    DesktopLock& desktop;
    MachineJournal& journal;
};

// What giving a saved setting back reaches.
struct GiveBackSeams {
    platform::Registry& registry;
    platform::Printers& printers;
    DesktopLock& desktop;
};

// Gives one saved setting back; false when it could not (a created key:
// when it is still there).
bool giveBack(GiveBackSeams m, const SavedSetting& setting);

struct GivenBack {
    SavedSetting setting;
    bool done = false;
    // A created key that holds what the program did not write (another
    // program's values): it stays, and is done with.
    bool leftInPlace = false;
};
// Gives back every setting but those `alreadyBack` says are: the values in
// their order, then the keys the program created, a subkey before its
// parent. A key above a value that could not be given back is tried again
// next time, with the value.
std::vector<GivenBack> giveBackInOrder(GiveBackSeams m, std::vector<SavedSetting> settings,
                                       const std::function<bool(const SavedSetting&)>& alreadyBack = {});

// The journal on disk given back, as a start after a crash and ombrixctl do.
struct Recovery {
    MachineJournal::State state = MachineJournal::State::None;
    std::vector<GivenBack> settings;
};
// The settings that could not be given back stay in the journal (and in this
// run's memory), so their values from before the crash are not lost; a
// damaged journal is set aside untouched.
Recovery giveBackJournal(MachineJournal& journal, GiveBackSeams m);

// The name of the Windows default printer ("" when there is none).
[[nodiscard]] std::string defaultPrinterName(platform::Printers& printers);

class MachineSettings final : public MachineProfile, public BrowserPolicySink {
public:
    // `journalPath` names the journal once the store's folder is known.
    MachineSettings(MachineSeams seams, std::function<std::string()> journalPath)
        : m_(seams), journalPath_(std::move(journalPath)) {}

    void disableDesktopSlideshow() override;
    // Gives back what a journal left by an unclean end holds, then remembers.
    void rememberSettings() override;
    bool keepLastRestrictions() override;
    void applyToMachine(const ProfileSwitches& switches) override;
    void restoreStartButtonAndTaskbar() override;
    void disableFirefoxCloseTabsWarning() override;
    void releaseKeyboardHook() override;
    void restoreSettings() override;
    // The browsers' policies for the site list in force, each value recorded
    // in the journal before it is first written; what an earlier list wrote
    // and this one does not want goes back to its value from before.
    void siteListInForce(const std::optional<PolicySites>& sites) override;

    // TimerId::LaunchHomePage's one tick (the caller disables the timer).
    void tickLaunchHomePage(const ProfileSwitches& switches);
    void openWebPage(const std::string& address, bool fullScreen);
    [[nodiscard]] std::string defaultBrowser();
    void setHomePage(const std::string& address);
    // False when the printer is not listed (nothing changes then).
    bool setDefaultPrinter(const std::string& printer);
    void setBrowserEmulation();

    [[nodiscard]] const std::string& firefoxFolder() const { return firefoxFolder_; }
    [[nodiscard]] const Recovery& lastRecovery() const { return recovery_; }
    // Where a start that gave the machine back after an unclean end says so.
    void setEvents(core::Events* events) { events_ = events; }

private:
    [[nodiscard]] GiveBackSeams giveBackSeams() { return {m_.registry, m_.printers, m_.desktop}; }
    void writeDword(platform::RegRoot root, const char* path, const char* name, std::uint32_t value);
    void writeText(platform::RegRoot root, const char* path, const char* name, const std::string& value);
    void rememberRegistry(platform::RegRoot root, const char* path, const char* name, SavedSetting::Value type);
    // The keys a write under `path` would create and the journal lacks: so
    // that they go again once their values are given back.
    [[nodiscard]] std::vector<SavedSetting> keysToCreate(platform::RegRoot root, const std::string& path);
    void applyFirefoxHomePage(const std::string& address);
    void lockDesktop(bool hideIcons, bool lockShell);
    void applyTaskbarFlags(const ProfileSwitches& switches);
    void reportRecovery();

    MachineSeams m_;
    std::function<std::string()> journalPath_;
    Recovery recovery_;
    core::Events* events_ = nullptr;
    // Remembered at start-up, given back at shutdown.
    std::string firefoxFolder_;
    std::string printer_;
    std::string firefoxHomePage_;
    std::optional<std::string> startPage_;
    std::vector<PolicyValue> policies_;  // written for the site list in force
    // The closing routine gave the machine back: Windows may end the
    // session from inside an applying (a step lets its messages in), and
    // what is left of that applying must change nothing after it.
    bool givenBack_ = false;
};

}  // namespace ombrix::core

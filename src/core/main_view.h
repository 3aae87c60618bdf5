#pragma once
// What the controller asks of the main form and its companion forms. The
// Win32 main window implements it; tests record the calls.

#include <string>
#include <vector>

namespace ombrix::core {

struct ProfileItem {
    long long id = 0;
    std::string name;
};

// The main form's controls whose setting the policy key decides.
struct PolicyLockedControls {
    bool profiles = false;
    bool autostart = false;
    bool keyboard = false;
    bool operator==(const PolicyLockedControls&) const = default;
};

class MainView {
public:
    virtual ~MainView() = default;

    // Start-up.
    virtual void applyIconAndLanguage() = 0;  // icon "AAA", the form translator
    virtual void showSplash() = 0;
    // The notification-area icon, once this start is known to be the only one.
    virtual void showTrayIcon() = 0;
    virtual void closeSplashSoon() = 0;  // the splash's own one-second timer
    virtual void fillProfiles(const std::vector<ProfileItem>& profiles, int selected) = 0;
    virtual void hideOwnerWindow() = 0;  // no task-bar button
    virtual void minimise() = 0;
    virtual void setTopmost(bool topmost) = 0;

    // Administrator controls.
    virtual void setAdministratorMode(bool unlocked) = 0;
    virtual void clearPassword() = 0;
    virtual void setAutostartChecked(bool checked) = 0;
    virtual void setVirtualKeyboardChecked(bool checked) = 0;
    virtual void setTaskManagerCaption(const std::string& caption) = 0;
    // cmdPeriodi: whether the time slots are switched on, and its caption that says so.
    virtual void showTimeSlots(bool on, const std::string& caption) = 0;
    // Those controls disabled, and `text` under the administrator controls
    // says which policy values decide them; empty when none does.
    virtual void showPolicyLocks(const PolicyLockedControls& locked, const std::string& text) = 0;
    // The options form, modal; true when a password was stored.
    virtual bool openOptions() = 0;
    // mnuApri: the form visible again, focus on the password box.
    virtual void showAndFocusPassword() = 0;

    // Notices.
    // Boxes wait for Controller::showWaitingNotices: the message loop is to
    // come round soon (a message to wake it), not to call it from here.
    virtual void noticesWaiting() = 0;
    virtual void showNotice(const std::string& text, const std::string& heading) = 0;
    // A notice on show stays above the browsers, without taking the keyboard.
    virtual void keepNoticeOnTop() = 0;

    // Shutdown.
    virtual void showClosingNotice() = 0;
    virtual void setClosingNoticeTopmost() = 0;
    virtual void unloadOtherForms() = 0;
    virtual void endProgram() = 0;
};

}  // namespace ombrix::core

#pragma once
// frmOmbrix: the main form. It reads its controls, calls the controller and
// shows what it returns; the decisions are the controller's. It owns the
// companions it shows (splash, notice, closing notice), the tray icon, and
// the WM_TIMER of every program timer.

#include <windows.h>

#include <map>
#include <memory>
#include <string>

#include "app/timer_wheel.h"
#include "core/main_view.h"
#include "core/timers.h"
#include "platform/win32/handles.h"
#include "support/win32/dialog_translation.h"
#include "support/win32/notify_icon.h"

namespace ombrix {
class Language;
}

namespace ombrix::core {
class Controller;
}

namespace ombrix::win32 {

class ClosingForm;
class NoticeForm;
class SplashForm;

// What the main form hands on to the program around it: the ticks of the
// program's timers, and the administrator's buttons whose forms and checks
// belong to the program rather than to this form.
class MainFormEvents {
public:
    virtual ~MainFormEvents() = default;
    // A tick of a program timer.
    virtual void onTimer(core::TimerId id) = 0;
    // cmdLogSiti, cmdProfili, cmdPeriodi, cmdOpzioniBrowser.
    virtual void openLogViewer() = 0;
    virtual void openProfileEditor() = 0;
    virtual void openTimeSlotEditor() = 0;
    virtual void openBrowserOptions() = 0;
    // cmdPassword, and the first start; true when a password was stored.
    virtual bool openOptionsForm() = 0;
    // cmbProfili's choice, with the chosen item's text.
    virtual void chooseProfile(const std::string& name) = 0;
    // Unloads the program's forms this one does not own (the internal
    // browser's windows, the on-screen keyboard, the application bar).
    virtual void unloadProgramForms() = 0;
    // The shell started again (TaskbarCreated): its windows are new.
    virtual void shellRestarted() = 0;
};

class MainForm final : public core::MainView, public core::Timers {
public:
    MainForm(Language& language, MainFormEvents& events);
    ~MainForm() override;

    void setController(core::Controller* controller) { controller_ = controller; }

    [[nodiscard]] HWND window() const { return dialog_.get(); }
    // Off while a form of another process stands in for a modal form of
    // this one; back on, the form is brought to the front again.
    void enableForm(bool enabled);
    // For the message loop: the modeless dialogs that want IsDialogMessage.
    [[nodiscard]] bool handleDialogMessage(MSG& msg);

    // core::MainView
    void applyIconAndLanguage() override;
    void showSplash() override;
    void showTrayIcon() override;
    void keepNoticeOnTop() override;
    void closeSplashSoon() override;
    void fillProfiles(const std::vector<core::ProfileItem>& profiles, int selected) override;
    void hideOwnerWindow() override;
    void minimise() override;
    void setTopmost(bool topmost) override;
    void setAdministratorMode(bool unlocked) override;
    void clearPassword() override;
    void setAutostartChecked(bool checked) override;
    void setVirtualKeyboardChecked(bool checked) override;
    void setTaskManagerCaption(const std::string& caption) override;
    void showTimeSlots(bool on, const std::string& caption) override;
    void showPolicyLocks(const core::PolicyLockedControls& locked, const std::string& text) override;
    bool openOptions() override;
    void showAndFocusPassword() override;
    void noticesWaiting() override;
    void showNotice(const std::string& text, const std::string& heading) override;
    void showClosingNotice() override;
    void setClosingNoticeTopmost() override;
    void unloadOtherForms() override;
    void endProgram() override;

    // core::Timers
    void setEnabled(core::TimerId id, bool enabled) override;
    [[nodiscard]] bool isEnabled(core::TimerId id) const override;

    // The windows the task-manager timer keeps on top (the notice).
    [[nodiscard]] HWND noticeWindow() const;

    // The shell lockdown's mouse guard. The tray mark reads "1" once the
    // administrator pressed the program's tray icon; the guard then brings
    // the form back on the next press on the notification area (the second
    // press of a double click, which the locked notification area does not
    // pass on), and any press elsewhere clears it.
    [[nodiscard]] const std::string& trayMark() const { return trayMark_; }
    void setTrayMark(const std::string& mark) { trayMark_ = mark; }
    // Restored, visible, at (left, top) in twips, the password box cleared
    // and focused.
    void bringBack(int leftTwips, int topTwips);
    [[nodiscard]] bool virtualKeyboardChecked() const;

private:
    // The program's timers share one system timer (kept by the wheel).
    void armWheel();
    void onWheel();
    static INT_PTR CALLBACK Proc(HWND, UINT, WPARAM, LPARAM);
    INT_PTR handle(UINT msg, WPARAM wp, LPARAM lp);
    void onCommand(int id, int code);
    void onTray(tray::Event e);
    void showTrayMenu();
    void hideToTray();
    void layout();
    void focusFirstControl();
    // Ends, unanswered, the modal forms and boxes still open on this thread.
    void endModalForms();

    Language& language_;
    MainFormEvents& events_;
    core::Controller* controller_ = nullptr;
    // Declared in the order they are made, so that they go in reverse: the
    // companions and the tray icon before the menu, the form and its owner.
    UniqueWindow owner_;
    UniqueWindow dialog_;
    UniqueMenu menu_;
    bool unlocked_ = false;
    bool policyNote_ = false;  // lblCriteri has something to say
    bool ended_ = false;
    std::string trayMark_ = "0";
    core::TimerWheel wheel_;
    std::uint64_t armedPeriod_ = 0;  // the system timer's period; 0 when it is off
    std::unique_ptr<DialogTranslation> translation_;
    std::unique_ptr<NotifyIcon> tray_;
    std::unique_ptr<SplashForm> splash_;
    std::unique_ptr<NoticeForm> notice_;
    std::unique_ptr<ClosingForm> closing_;
};

}  // namespace ombrix::win32

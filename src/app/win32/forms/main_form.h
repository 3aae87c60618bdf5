#pragma once
// frmOmbrix: the main form. It reads its controls, calls the controller and
// shows what it returns; the decisions are the controller's. It owns the
// companions it shows (splash, notice, closing notice), the tray icon, and
// the WM_TIMER of every program timer.

#include <windows.h>

#include <functional>
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

class MainForm final : public core::MainView, public core::Timers {
public:
    explicit MainForm(Language& language);
    ~MainForm() override;

    void setController(core::Controller* controller) { controller_ = controller; }
    // Called on every WM_TIMER with the timer it belongs to.
    std::function<void(core::TimerId)> onTimer;
    // Called by the splash's own timer and the start-up.
    std::function<void()> killTaskManager;
    // Opens the visited-sites log (cmdLogSiti); the button is enabled only when set.
    std::function<void()> openLogViewer;
    // Opens the profile editor (cmdProfili); the button is enabled only when set.
    std::function<void()> openProfileEditor;
    // Opens the time-slot editor (cmdPeriodi); the button is enabled only when set.
    std::function<void()> openTimeSlotEditor;
    // Opens the internal browser's options; the button is enabled only when set.
    std::function<void()> openBrowserOptions;
    // Opens the options form (cmdPassword, first start) in place of the
    // form's own; true when a password was stored.
    std::function<bool()> openOptionsForm;
    // cmbProfili's choice, with the chosen item's text, in place of the controller's own.
    std::function<void(const std::string&)> chooseProfile;
    // Unloads the program's forms this one does not own (the internal
    // browser's windows, the on-screen keyboard, the application bar).
    std::function<void()> unloadProgramForms;

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
    // Ends, unanswered, the modal forms and boxes still open on this thread.
    void endModalForms();

    Language& language_;
    core::Controller* controller_ = nullptr;
    // Declared in the order they are made, so that they go in reverse: the
    // companions and the tray icon before the menu, the form and its owner.
    UniqueWindow owner_;
    UniqueWindow dialog_;
    UniqueMenu menu_;
    bool unlocked_ = false;
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

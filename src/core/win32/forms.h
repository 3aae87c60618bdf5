#pragma once
// The main form frmOmbrix and its companions (frmSplash, frmMessaggio,
// frmChiusuraInCorso, frmOpzioni) as real dialogs. They read their controls,
// call the controller and show what it returns; the decisions are the
// controller's.

#include <windows.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "core/main_view.h"
#include "core/notices.h"
#include "core/timers.h"
#include "support/win32/dialog_translation.h"
#include "support/win32/notify_icon.h"

namespace ombrix {
class Language;
}

namespace ombrix::core {
class Controller;
}

namespace ombrix::win32 {

// frmSplash: shown first; closes itself one second after closeSoon(). While
// shown it keeps the task manager closed through `killTaskManager`.
class SplashForm {
public:
    SplashForm(Language& language, HWND owner, std::function<void()> killTaskManager);
    ~SplashForm();
    void show();
    void closeSoon();
    void close();
    [[nodiscard]] HWND window() const { return dialog_; }

private:
    static INT_PTR CALLBACK Proc(HWND, UINT, WPARAM, LPARAM);
    Language& language_;
    HWND owner_;
    std::function<void()> killTaskManager_;
    HWND dialog_ = nullptr;
    std::unique_ptr<DialogTranslation> translation_;
};

// frmMessaggio: the notice that counts down and closes itself.
class NoticeForm {
public:
    // The companions are owned by the main form's hidden owner: no task-bar buttons.
    NoticeForm(Language& language, HWND owner);
    ~NoticeForm();
    void show(const std::string& text, const std::string& heading);
    void close();
    [[nodiscard]] HWND window() const { return dialog_; }

private:
    static INT_PTR CALLBACK Proc(HWND, UINT, WPARAM, LPARAM);
    void load();
    void tick();
    Language& language_;
    HWND owner_;
    HFONT bold_ = nullptr;
    HWND dialog_ = nullptr;
    std::unique_ptr<DialogTranslation> translation_;
    core::NoticeLife life_;
};

// frmChiusuraInCorso: shown while the program shuts down.
class ClosingForm {
public:
    ClosingForm(Language& language, HWND owner);
    ~ClosingForm();
    void show();
    void setTopmost();
    void close();
    [[nodiscard]] HWND window() const { return dialog_; }

private:
    static INT_PTR CALLBACK Proc(HWND, UINT, WPARAM, LPARAM);
    Language& language_;
    HWND owner_;
    HWND dialog_ = nullptr;
    std::unique_ptr<DialogTranslation> translation_;
};

// frmOpzioni: the administrator password, asked twice. Modal.
// Returns true when the controller stored a new password.
bool showOptionsForm(HWND owner, Language& language, core::Controller& controller);

// frmOmbrix.
class MainForm final : public core::MainView, public core::Timers {
public:
    explicit MainForm(Language& language);
    ~MainForm() override;
    MainForm(const MainForm&) = delete;
    MainForm& operator=(const MainForm&) = delete;

    void setController(core::Controller* controller) { controller_ = controller; }
    // Called on every WM_TIMER with the timer it belongs to.
    std::function<void(core::TimerId)> onTimer;
    // Called by the splash's own timer and the start-up.
    std::function<void()> killTaskManager;
    // Opens the visited-sites log (cmdLogSiti); the button is enabled only when set.
    std::function<void()> openLogViewer;

    [[nodiscard]] HWND window() const { return dialog_; }
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
    bool openOptions() override;
    void showAndFocusPassword() override;
    void showNotice(const std::string& text, const std::string& heading) override;
    void showClosingNotice() override;
    void setClosingNoticeTopmost() override;
    void unloadOtherForms() override;
    void endProgram() override;

    // core::Timers
    void setEnabled(core::TimerId id, bool enabled) override;
    [[nodiscard]] bool isEnabled(core::TimerId id) const override;

    // The windows the task-manager timer keeps on top (the notice).
    [[nodiscard]] HWND noticeWindow() const { return notice_ ? notice_->window() : nullptr; }

private:
    static INT_PTR CALLBACK Proc(HWND, UINT, WPARAM, LPARAM);
    INT_PTR handle(UINT msg, WPARAM wp, LPARAM lp);
    void onCommand(int id, int code);
    void onTray(tray::Event e);
    void showTrayMenu();
    void hideToTray();
    void layout();

    Language& language_;
    core::Controller* controller_ = nullptr;
    HWND owner_ = nullptr;
    HWND dialog_ = nullptr;
    HMENU menu_ = nullptr;
    bool unlocked_ = false;
    bool ended_ = false;
    std::map<core::TimerId, bool> timers_;
    std::unique_ptr<DialogTranslation> translation_;
    std::unique_ptr<NotifyIcon> tray_;
    std::unique_ptr<SplashForm> splash_;
    std::unique_ptr<NoticeForm> notice_;
    std::unique_ptr<ClosingForm> closing_;
};

}  // namespace ombrix::win32

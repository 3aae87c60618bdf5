#include "app/win32/forms/main_form.h"

#include <commctrl.h>

#include <algorithm>
#include <cwchar>
#include <optional>
#include <vector>

#include "app/win32/forms/closing_form.h"
#include "app/win32/forms/notice_form.h"
#include "app/win32/forms/resource.h"
#include "app/win32/forms/splash_form.h"
#include "core/controller.h"
#include "platform/win32/wide.h"
#include "support/language.h"
#include "support/win32/dialog_procedure.h"
#include "support/win32/hidden_window.h"
#include "support/win32/keep_on_top.h"
#include "support/win32/program_icon.h"

namespace ombrix::win32 {
namespace {

// The one system timer that carries the program's timers, clear of any control's.
constexpr UINT_PTR kWheelTimerId = 100;

// The administrator controls, hidden while the form is locked.
constexpr int kAdminControls[] = {IDC_FRAAMMINISTRAZIONE, IDC_LBLPROFILO, IDC_CMBPROFILI, IDC_CMDPROFILI,
                                  IDC_CMDPERIODI, IDC_CMDLOGSITI, IDC_CMDPASSWORD, IDC_CMDABILITATASKMANAGER,
                                  IDC_CHKESECUZIONEAUTOMATICA, IDC_CHKTASTIERAVIRTUALE, IDC_CMDOPZIONIBROWSER,
                                  IDC_CMDESCI};

// The hidden owner of the main form and of the forms it shows (the splash,
// the notice, the closing form): an owned window has no task-bar button.
UniqueWindow makeOwnerWindow() {
    return createHiddenWindow(L"OmbrixOwner", WS_EX_TOOLWINDOW, L"Ombrix", programIcon(32));
}

}  // namespace

MainForm::MainForm(Language& language, MainFormEvents& events)
    : language_(language), events_(events), owner_(makeOwnerWindow()) {
    // WM_INITDIALOG has given the window to dialog_ already; a dialog that
    // died while it was made leaves nothing to own.
    if (!CreateDialogParamW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(IDD_FRMOMBRIX), owner_.get(), &MainForm::Proc,
                            reinterpret_cast<LPARAM>(this))) {
        (void)dialog_.release();
    }
    menu_.reset(LoadMenuW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(IDM_MNUMENU)));
    tray_ = std::make_unique<NotifyIcon>();
    tray_->onEvent = [this](tray::Event e) { onTray(e); };
    notice_ = std::make_unique<NoticeForm>(language_, owner_.get());
}

MainForm::~MainForm() = default;

HWND MainForm::noticeWindow() const { return notice_ ? notice_->window() : nullptr; }

bool MainForm::handleDialogMessage(MSG& msg) {
    for (HWND d : {dialog_.get(), noticeWindow(), closing_ ? closing_->window() : nullptr}) {
        if (d && IsDialogMessageW(d, &msg)) return true;
    }
    return false;
}

void MainForm::applyIconAndLanguage() {
    if (!dialog_) return;
    SendMessageW(dialog_.get(), WM_SETICON, ICON_BIG, reinterpret_cast<LPARAM>(programIcon(32)));
    SendMessageW(dialog_.get(), WM_SETICON, ICON_SMALL, reinterpret_cast<LPARAM>(programIcon(16)));
    translation_ = std::make_unique<DialogTranslation>(
        dialog_.get(), "frmOmbrix",
        std::vector<NamedControl>{{IDC_LBLPASSWORD, "lblPassword"},
                                  {IDC_TXTPASS, "txtPass"},
                                  {IDC_CMDLOGIN, "cmdLogin"},
                                  {IDC_FRAAMMINISTRAZIONE, "fraAmministrazione"},
                                  {IDC_LBLPROFILO, "lblProfilo"},
                                  {IDC_CMBPROFILI, "cmbProfili"},
                                  {IDC_CMDPROFILI, "cmdProfili"},
                                  {IDC_CMDPERIODI, "cmdPeriodi"},
                                  {IDC_CMDLOGSITI, "cmdLogSiti"},
                                  {IDC_CMDPASSWORD, "cmdPassword"},
                                  {IDC_CMDABILITATASKMANAGER, "cmdAbilitaTaskManager"},
                                  {IDC_CHKESECUZIONEAUTOMATICA, "chkEsecuzioneAutomatica"},
                                  {IDC_CHKTASTIERAVIRTUALE, "chkTastieraVirtuale"},
                                  {IDC_CMDOPZIONIBROWSER, "cmdOpzioniBrowser"},
                                  {IDC_CMDESCI, "cmdEsci"},
                                  {IDC_CMDMINIMIZZA, "cmdMinimizza"}},
        GetSubMenu(menu_.get(), 0), std::vector<NamedControl>{{IDM_MNUAPRI, "mnuApri"}, {IDM_MNUESCI, "mnuEsci"}});
    translation_->apply(language_);
    setAdministratorMode(false);
    tray_->setIcon(programIcon(16));
    tray_->setToolTip(toWide(windowText(dialog_.get())));
}

void MainForm::showTrayIcon() { tray_->Show(); }

void MainForm::keepNoticeOnTop() {
    // Never activated: the next Ctrl+W must reach the browser's tab, not the notice.
    keepOnTop(noticeWindow(), Above::Any);
}

void MainForm::showSplash() {
    splash_ = std::make_unique<SplashForm>(language_, owner_.get(), [this] {
        if (controller_) controller_->killTaskManager();
    });
    splash_->show();
}

void MainForm::closeSplashSoon() {
    if (splash_) splash_->closeSoon();
}

void MainForm::fillProfiles(const std::vector<core::ProfileItem>& profiles, int selected) {
    HWND combo = GetDlgItem(dialog_.get(), IDC_CMBPROFILI);
    SendMessageW(combo, CB_RESETCONTENT, 0, 0);
    for (const auto& p : profiles) {
        const std::wstring name = toWide(p.name);
        SendMessageW(combo, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(name.c_str()));
    }
    SendMessageW(combo, CB_SETCURSEL, static_cast<WPARAM>(selected), 0);
}

void MainForm::hideOwnerWindow() { ShowWindow(GetWindow(dialog_.get(), GW_OWNER), SW_HIDE); }

void MainForm::minimise() { hideToTray(); }

void MainForm::setTopmost(bool topmost) {
    if (topmost) {
        SetWindowPos(dialog_.get(), HWND_TOPMOST, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_SHOWWINDOW);
    } else {
        SetWindowPos(dialog_.get(), HWND_NOTOPMOST, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
    }
}

void MainForm::layout() {
    // Locked: the form ends below the password row, with only "minimise" under it.
    const bool note = unlocked_ && policyNote_;
    const int below = note ? 30 : 0;  // lblCriteri's rows
    RECT r{0, 0, 250, unlocked_ ? 196 + below : 66};
    MapDialogRect(dialog_.get(), &r);
    RECT button{172, unlocked_ ? 174 + below : 44, 0, 0};
    MapDialogRect(dialog_.get(), &button);
    SetWindowPos(GetDlgItem(dialog_.get(), IDC_CMDMINIMIZZA), nullptr, button.left, button.top, 0, 0,
                 SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
    RECT frame = r;
    AdjustWindowRectEx(&frame, static_cast<DWORD>(GetWindowLongPtrW(dialog_.get(), GWL_STYLE)), FALSE,
                       static_cast<DWORD>(GetWindowLongPtrW(dialog_.get(), GWL_EXSTYLE)));
    SetWindowPos(dialog_.get(), nullptr, 0, 0, frame.right - frame.left, frame.bottom - frame.top,
                 SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
    // Last: once it shows, the form has its size.
    ShowWindow(GetDlgItem(dialog_.get(), IDC_LBLCRITERI), note ? SW_SHOW : SW_HIDE);
}

void MainForm::setAdministratorMode(bool unlocked) {
    unlocked_ = unlocked;
    for (int id : kAdminControls) ShowWindow(GetDlgItem(dialog_.get(), id), unlocked ? SW_SHOW : SW_HIDE);
    EnableMenuItem(menu_.get(), IDM_MNUESCI, MF_BYCOMMAND | (unlocked ? MF_ENABLED : MF_GRAYED));
    // Logged in, the password row has nothing more to do.
    EnableWindow(GetDlgItem(dialog_.get(), IDC_TXTPASS), unlocked ? FALSE : TRUE);
    EnableWindow(GetDlgItem(dialog_.get(), IDC_CMDLOGIN), unlocked ? FALSE : TRUE);
    layout();
    if (unlocked) focusFirstControl();
}

void MainForm::focusFirstControl() {
    // The combo, unless the policy's profile has it disabled.
    HWND combo = GetDlgItem(dialog_.get(), IDC_CMBPROFILI);
    SetFocus(IsWindowEnabled(combo) ? combo : GetDlgItem(dialog_.get(), IDC_CMDPROFILI));
}

void MainForm::clearPassword() { SetDlgItemTextW(dialog_.get(), IDC_TXTPASS, L""); }

void MainForm::setAutostartChecked(bool checked) {
    CheckDlgButton(dialog_.get(), IDC_CHKESECUZIONEAUTOMATICA, checked ? BST_CHECKED : BST_UNCHECKED);
}

void MainForm::setVirtualKeyboardChecked(bool checked) {
    CheckDlgButton(dialog_.get(), IDC_CHKTASTIERAVIRTUALE, checked ? BST_CHECKED : BST_UNCHECKED);
}

void MainForm::setTaskManagerCaption(const std::string& caption) {
    setWindowText(GetDlgItem(dialog_.get(), IDC_CMDABILITATASKMANAGER), caption);
}

void MainForm::showTimeSlots(bool on, const std::string& caption) {
    // A push button that stays pressed while the slots are on; a click still opens their editor.
    HWND button = GetDlgItem(dialog_.get(), IDC_CMDPERIODI);
    setWindowText(button, caption);
    SendMessageW(button, BM_SETCHECK, on ? BST_CHECKED : BST_UNCHECKED, 0);
}

void MainForm::showPolicyLocks(const core::PolicyLockedControls& locked, const std::string& text) {
    EnableWindow(GetDlgItem(dialog_.get(), IDC_CMBPROFILI), locked.profiles ? FALSE : TRUE);
    EnableWindow(GetDlgItem(dialog_.get(), IDC_CHKESECUZIONEAUTOMATICA), locked.autostart ? FALSE : TRUE);
    EnableWindow(GetDlgItem(dialog_.get(), IDC_CHKTASTIERAVIRTUALE), locked.keyboard ? FALSE : TRUE);
    setWindowText(GetDlgItem(dialog_.get(), IDC_LBLCRITERI), text);
    policyNote_ = !text.empty();
    layout();
}

bool MainForm::openOptions() {
    // The splash is topmost: at the first start it would cover the form that asks for a password.
    splash_.reset();
    return events_.openOptionsForm();
}

void MainForm::enableForm(bool enabled) {
    EnableWindow(dialog_.get(), enabled ? TRUE : FALSE);
    if (!enabled || !IsWindowVisible(dialog_.get())) return;
    SetForegroundWindow(dialog_.get());
    if (unlocked_) focusFirstControl();
}

void MainForm::showAndFocusPassword() {
    ShowWindow(dialog_.get(), SW_SHOWNORMAL);
    setTopmost(true);
    SetForegroundWindow(dialog_.get());
    SetFocus(GetDlgItem(dialog_.get(), IDC_TXTPASS));
}

void MainForm::bringBack(int leftTwips, int topTwips) {
    HWND form = dialog_.get();
    ShowWindow(form, SW_RESTORE);
    ShowWindow(form, SW_SHOW);
    const WindowDc screen(nullptr);
    const int dpiX = screen ? GetDeviceCaps(screen.get(), LOGPIXELSX) : 96;
    const int dpiY = screen ? GetDeviceCaps(screen.get(), LOGPIXELSY) : 96;
    SetWindowPos(form, nullptr, MulDiv(leftTwips, dpiX, 1440), MulDiv(topTwips, dpiY, 1440), 0, 0,
                 SWP_NOSIZE | SWP_NOZORDER);
    clearPassword();
    SetForegroundWindow(form);
    SetFocus(GetDlgItem(form, IDC_TXTPASS));
}

bool MainForm::virtualKeyboardChecked() const {
    return IsDlgButtonChecked(dialog_.get(), IDC_CHKTASTIERAVIRTUALE) == BST_CHECKED;
}

void MainForm::showNotice(const std::string& text, const std::string& heading) { notice_->show(text, heading); }

void MainForm::showClosingNotice() {
    if (!closing_) closing_ = std::make_unique<ClosingForm>(language_, owner_.get());
    closing_->show();
}

void MainForm::setClosingNoticeTopmost() {
    if (closing_) closing_->setTopmost();
}

void MainForm::noticesWaiting() {
    // Wakes the program's loop, which shows them between two messages.
    PostMessageW(dialog_.get(), WM_NULL, 0, 0);
}

void MainForm::unloadOtherForms() {
    splash_.reset();
    if (notice_) notice_->close();
    events_.unloadProgramForms();
    endModalForms();
}

void MainForm::endModalForms() {
    // Only Windows going down reaches the shutdown with a modal form open
    // (an editor, a box): the modeless dialogs are gone or kept by now.
    struct Keep {
        HWND form, owner, closing;
        std::vector<HWND> modal;
    } keep{dialog_.get(), owner_.get(), closing_ ? closing_->window() : nullptr, {}};
    EnumThreadWindows(
        GetCurrentThreadId(),
        [](HWND w, LPARAM data) -> BOOL {
            auto& k = *reinterpret_cast<Keep*>(data);
            wchar_t cls[16] = {};
            GetClassNameW(w, cls, 16);
            if (w != k.form && w != k.owner && w != k.closing && IsWindowVisible(w) && wcscmp(cls, L"#32770") == 0) {
                k.modal.push_back(w);
            }
            return TRUE;
        },
        reinterpret_cast<LPARAM>(&keep));
    for (HWND w : keep.modal) {
        ShowWindow(w, SW_HIDE);
        EndDialog(w, IDCANCEL);
    }
}

void MainForm::endProgram() {
    if (ended_) return;
    ended_ = true;
    wheel_ = core::TimerWheel{};
    armedPeriod_ = 0;
    KillTimer(dialog_.get(), kWheelTimerId);
    tray_->Hide();
    closing_.reset();
    ShowWindow(dialog_.get(), SW_HIDE);
    PostQuitMessage(0);
}

void MainForm::setEnabled(core::TimerId id, bool enabled) {
    if (enabled) {
        wheel_.enable(id, GetTickCount64());
    } else {
        wheel_.disable(id);
    }
    armWheel();
}

bool MainForm::isEnabled(core::TimerId id) const { return wheel_.enabled(id); }

void MainForm::armWheel() {
    if (!dialog_) return;
    const std::optional<std::uint64_t> period = wheel_.period();
    if (period.value_or(0) == armedPeriod_) return;
    armedPeriod_ = period.value_or(0);
    if (!period) {
        KillTimer(dialog_.get(), kWheelTimerId);
        return;
    }
    SetTimer(dialog_.get(), kWheelTimerId, static_cast<UINT>(*period), nullptr);
}

void MainForm::onWheel() {
    for (const core::TimerId id : wheel_.takeDue(GetTickCount64())) {
        // A tick may switch later timers of this wake-up off, as KillTimer
        // drops a WM_TIMER already posted.
        if (!wheel_.enabled(id)) continue;
        platform::guarded([&] { events_.onTimer(id); });
    }
    armWheel();
}

void MainForm::hideToTray() {
    tray_->MinimizeToTray(dialog_.get());
    if (controller_) controller_->onMinimised();
}

void MainForm::showTrayMenu() {
    HMENU popup = GetSubMenu(menu_.get(), 0);
    POINT at{};
    GetCursorPos(&at);
    // The menu closes properly only when its owner is the foreground window.
    SetForegroundWindow(dialog_.get());
    TrackPopupMenu(popup, TPM_RIGHTBUTTON, at.x, at.y, 0, dialog_.get(), nullptr);
    PostMessageW(dialog_.get(), WM_NULL, 0, 0);
}

void MainForm::onTray(tray::Event e) {
    switch (e) {
        case tray::Event::LeftDown:
            trayMark_ = "1";
            break;
        case tray::Event::RightUp:
        case tray::Event::LeftUp:
            showTrayMenu();
            break;
        case tray::Event::LeftDoubleClick:
            onCommand(IDM_MNUAPRI, 0);
            break;
        default:
            break;
    }
}

void MainForm::onCommand(int id, int code) {
    if (!controller_ || ended_) return;
    core::Controller& c = *controller_;
    switch (id) {
        case IDC_CMDLOGIN:
        case IDOK:
            if (!unlocked_) c.login(windowText(GetDlgItem(dialog_.get(), IDC_TXTPASS)));
            break;
        case IDC_CMBPROFILI:
            if (code == CBN_SELCHANGE && unlocked_) {
                HWND combo = GetDlgItem(dialog_.get(), IDC_CMBPROFILI);
                const LRESULT i = SendMessageW(combo, CB_GETCURSEL, 0, 0);
                if (i < 0) break;
                events_.chooseProfile(comboItemText(combo, i));
            }
            break;
        case IDC_CMDPASSWORD:
            c.onOptionsClicked();
            break;
        case IDC_CMDLOGSITI:
            if (unlocked_) events_.openLogViewer();
            break;
        case IDC_CMDPROFILI:
            if (unlocked_) events_.openProfileEditor();
            break;
        case IDC_CMDPERIODI:
            if (unlocked_) events_.openTimeSlotEditor();
            break;
        case IDC_CMDOPZIONIBROWSER:
            if (unlocked_) events_.openBrowserOptions();
            break;
        case IDC_CMDABILITATASKMANAGER:
            c.onTaskManagerClicked();
            break;
        case IDC_CHKESECUZIONEAUTOMATICA:
            if (code == BN_CLICKED) c.onAutostartClicked(IsDlgButtonChecked(dialog_.get(), id) == BST_CHECKED);
            break;
        case IDC_CHKTASTIERAVIRTUALE:
            if (code == BN_CLICKED) c.onVirtualKeyboardClicked(IsDlgButtonChecked(dialog_.get(), id) == BST_CHECKED);
            break;
        case IDC_CMDESCI:
            if (unlocked_) c.exitByAdministrator();
            break;
        case IDM_MNUESCI:
            if (unlocked_) c.exitByAdministrator();
            break;
        case IDC_CMDMINIMIZZA:
            hideToTray();
            break;
        case IDM_MNUAPRI:
            showAndFocusPassword();
            break;
        // IDCANCEL comes only from Escape here (the close box arrives as
        // WM_CLOSE): a stray key must not hide the form or log out.
        default:
            break;
    }
}

INT_PTR MainForm::handle(UINT msg, WPARAM wp, LPARAM) {
    static const UINT taskbarCreated = RegisterWindowMessageW(L"TaskbarCreated");
    if (msg == taskbarCreated && taskbarCreated != 0) {
        platform::guarded([&] { events_.shellRestarted(); });
        return FALSE;
    }
    switch (msg) {
        case WM_COMMAND:
            platform::guarded([&] { onCommand(LOWORD(wp), HIWORD(wp)); });
            return TRUE;
        case WM_TIMER:
            if (wp == kWheelTimerId) platform::guarded([&] { onWheel(); });
            return TRUE;
        case WM_SYSCOMMAND:
            if ((wp & 0xFFF0) == SC_MINIMIZE) {
                platform::guarded([&] { hideToTray(); });
                return TRUE;
            }
            return FALSE;
        case WM_CLOSE:
            platform::guarded([&] {
                if (!controller_ || controller_->refuseClose(core::Controller::CloseRequest::ControlBox)) {
                    tray_->MinimizeToTray(dialog_.get());
                }
            });
            return TRUE;
        case WM_POWERBROADCAST:
            // Timers slept with the machine: the slots may name another
            // profile now, and waiting for the next tick would show the old one.
            if ((wp == PBT_APMRESUMEAUTOMATIC || wp == PBT_APMRESUMESUSPEND) && controller_ && !ended_) {
                platform::guarded([&] { controller_->tickTimeSlots(); });
            }
            SetWindowLongPtrW(dialog_.get(), DWLP_MSGRESULT, TRUE);
            return TRUE;
        case WM_QUERYENDSESSION:
            SetWindowLongPtrW(dialog_.get(), DWLP_MSGRESULT, TRUE);
            return TRUE;
        case WM_ENDSESSION:
            if (wp) {
                platform::guarded([&] {
                    // Windows is going down: give the machine back and close the store now.
                    if (controller_ && controller_->refuseClose(core::Controller::CloseRequest::WindowsShutdown) == false) {
                        controller_->beginShutdown();
                        controller_->tickExit();
                    }
                });
            }
            return TRUE;
        default:
            return FALSE;
    }
}

INT_PTR CALLBACK MainForm::Proc(HWND dialog, UINT msg, WPARAM wp, LPARAM lp) {
    MainForm* form = attachState<MainForm>(dialog, msg, lp);
    if (!form) return FALSE;
    if (msg == WM_INITDIALOG) {
        form->dialog_.reset(dialog);
        return TRUE;
    }
    return form->handle(msg, wp, lp);
}

}  // namespace ombrix::win32

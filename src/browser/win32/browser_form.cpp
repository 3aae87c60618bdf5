#include "browser/win32/browser_form.h"

#include <commctrl.h>

#include "browser/address_check.h"
#include "browser/progress_text.h"
#include "browser/win32/browser_form_ids.h"
#include "core/browser_switches.h"
#include "platform/failures.h"
#include "platform/win32/wide.h"
#include "support/language.h"
#include "support/messages.h"
#include "support/win32/dialog_procedure.h"
#include "support/win32/program_icon.h"

namespace ombrix::win32 {
namespace {

constexpr UINT_PTR kGoHomeTimer = 1;
constexpr UINT kGoHomeMs = 200;

}  // namespace

BrowserForm::~BrowserForm() { close(); }

bool BrowserForm::open(bool goHome, const RECT* where) {
    if (dialog_) return true;
    if (!dialog_.create(IDD_FRMBROWSER, nullptr, &BrowserForm::Proc, this, "frmBrowser",
                        {{IDC_PCTBACK, "pctBack"},
                         {IDC_PCTFORWARD, "pctForward"},
                         {IDC_PCTSTOP, "pctStop"},
                         {IDC_PCTREFRESH, "pctRefresh"},
                         {IDC_PCTHOME, "pctHome"},
                         {IDC_PCTSTAMPA, "pctStampa"},
                         {IDC_CMBINDIRIZZI, "cmbIndirizzi"},
                         {IDC_PCTGO, "pctGo"},
                         {IDC_LBLBROWSER, "lblBrowser"}},
                        c_.language)) {
        return false;
    }
    HWND d = dialog_.get();
    SendMessageW(d, WM_SETICON, ICON_BIG, reinterpret_cast<LPARAM>(programIcon(32)));
    SendMessageW(d, WM_SETICON, ICON_SMALL, reinterpret_cast<LPARAM>(programIcon(16)));
    HWND box = GetDlgItem(d, IDC_CMBINDIRIZZI);
    for (const std::string& entry : browser::addressHistory(c_.verdicts)) {
        const std::wstring wide = toWide(entry);
        SendMessageW(box, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(wide.c_str()));
    }
    if (where) {
        SetWindowPos(d, nullptr, where->left, where->top, where->right - where->left, where->bottom - where->top,
                     SWP_NOZORDER | SWP_NOACTIVATE);
    }
    if (c_.beforeControl) c_.beforeControl();
    RECT area{};
    GetClientRect(d, &area);
    if (!host_.create(d, area, *this)) {
        close();
        return false;
    }
    layout();
    if (goHome) host_.goHome();
    if (core::browserSwitchOn(c_.store, core::kNoPrint)) ShowWindow(GetDlgItem(d, IDC_PCTSTAMPA), SW_HIDE);
    setWindowText(GetDlgItem(d, IDC_LBLBROWSER), c_.language.messageText(msg::ProtectedBrowserTitle));
    SendMessageW(GetDlgItem(d, IDC_PROGRESSBAR1), PBM_SETRANGE32, 0, 100);
    SetTimer(d, kGoHomeTimer, kGoHomeMs, nullptr);
    ShowWindow(d, SW_SHOW);
    SetForegroundWindow(d);
    SetFocus(box);
    return true;
}

void BrowserForm::close() {
    // The control first: it holds the window as its site.
    host_.destroy();
    dialog_.destroy();
}

IDispatch* BrowserForm::controlForPopup() {
    host_.setRegisterAsBrowser(true);
    return host_.application();
}

bool BrowserForm::handleMessage(MSG& msg) {
    HWND d = dialog_.get();
    if (!d || (msg.hwnd != d && !IsChild(d, msg.hwnd))) return false;
    HWND control = host_.controlWindow();
    if (msg.message >= WM_KEYFIRST && msg.message <= WM_KEYLAST && control &&
        (msg.hwnd == control || IsChild(control, msg.hwnd)) && host_.translateAccelerator(msg)) {
        return true;
    }
    return IsDialogMessageW(d, &msg) != FALSE;
}

INT_PTR CALLBACK BrowserForm::Proc(HWND dialog, UINT msg, WPARAM wp, LPARAM lp) {
    auto* self = attachState<BrowserForm>(dialog, msg, lp);
    if (!self) return FALSE;
    return platform::guarded([&] { return self->handle(msg, wp, lp); }, static_cast<INT_PTR>(TRUE));
}

INT_PTR BrowserForm::handle(UINT msg, WPARAM wp, LPARAM lp) {
    switch (msg) {
        case WM_INITDIALOG: return TRUE;
        case WM_SIZE: layout(); return TRUE;
        case WM_GETMINMAXINFO:
            // Never so small that the tools overlap the address box.
            if (HWND d = dialog_.get()) {
                const RECT least = dialogUnits(d, 0, 0, 360, 120);
                auto* info = reinterpret_cast<MINMAXINFO*>(lp);
                info->ptMinTrackSize.x = least.right;
                info->ptMinTrackSize.y = least.bottom;
                return TRUE;
            }
            return FALSE;
        case WM_TIMER:
            if (wp == kGoHomeTimer) tickGoHome();
            return TRUE;
        case WM_COMMAND: command(LOWORD(wp), HIWORD(wp)); return TRUE;
        case WM_CLOSE: close(); return TRUE;
        default: return FALSE;
    }
}

void BrowserForm::command(int id, int code) {
    switch (id) {
        case IDOK:
        case IDC_PCTGO: go(); break;
        case IDCANCEL: break;  // Esc stops nothing and closes nothing
        case IDC_PCTBACK: host_.goBack(); break;
        case IDC_PCTFORWARD: host_.goForward(); break;
        case IDC_PCTHOME: home(); break;
        case IDC_PCTREFRESH: host_.refresh(); break;
        case IDC_PCTSTOP: host_.stop(); break;
        case IDC_PCTSTAMPA: print(); break;
        case IDC_CMBINDIRIZZI:
            // An address picked from the list goes at once, unless it is the
            // page already shown; the page gets the keyboard after.
            if (code == CBN_SELENDOK) {
                HWND box = GetDlgItem(dialog_.get(), IDC_CMBINDIRIZZI);
                const LRESULT item = SendMessageW(box, CB_GETCURSEL, 0, 0);
                if (item == CB_ERR) break;
                const std::string text = comboItemText(box, item);
                if (text == host_.locationUrl()) break;
                setWindowText(box, text);
                go();
                if (HWND control = host_.controlWindow()) SetFocus(control);
            }
            break;
        default: break;
    }
}

void BrowserForm::layout() {
    HWND d = dialog_.get();
    if (!d) return;
    RECT client{};
    GetClientRect(d, &client);
    const int width = client.right, height = client.bottom;
    const RECT margin = dialogUnits(d, 4, 4, 0, 0);
    const RECT tool = dialogUnits(d, 270, 4, 36, 14);  // the address box's left, and the Go button's size
    // The progress bar's width, the status row's height, the percentage's width.
    const RECT status = dialogUnits(d, 100, 9, 24, 0);
    const int row = tool.top + tool.bottom + margin.top;
    const int statusTop = height - margin.top - status.top;
    const int goLeft = width - margin.left - tool.right;
    placeControl(GetDlgItem(d, IDC_PCTGO), goLeft, tool.top, tool.right, tool.bottom);
    // A combo box's height is that of its open list.
    const RECT list = dialogUnits(d, 0, 0, 0, 120);
    placeControl(GetDlgItem(d, IDC_CMBINDIRIZZI), tool.left, tool.top, goLeft - margin.left / 2 - tool.left, list.bottom);
    const int barLeft = width - margin.left - status.left;
    const int percentLeft = barLeft - margin.left - status.right;
    placeControl(GetDlgItem(d, IDC_LBLBROWSER), margin.left, statusTop, percentLeft - 2 * margin.left, status.top);
    placeControl(GetDlgItem(d, IDC_LBLPERCENTUALE), percentLeft, statusTop, status.right, status.top);
    placeControl(GetDlgItem(d, IDC_PROGRESSBAR1), barLeft, statusTop, status.left, status.top);
    const RECT page{0, row, width, statusTop - margin.top};
    host_.resize(page);
    InvalidateRect(d, nullptr, TRUE);
}

std::string BrowserForm::boxText() const { return windowText(GetDlgItem(dialog_.get(), IDC_CMBINDIRIZZI)); }

void BrowserForm::tell(MessageId message, const std::string& address) {
    if (c_.notice) c_.notice(c_.language.messageText(message) + " " + address);
}

void BrowserForm::go() {
    const browser::GoDecision d = browser::go(c_.verdicts, boxText());
    HWND box = GetDlgItem(dialog_.get(), IDC_CMBINDIRIZZI);
    if (d.message) tell(d.message, d.address);
    switch (d.then) {
        case browser::Then::GoHomeAndStop: home(); return;
        case browser::Then::GoBackThenNavigate: host_.goBack(); break;
        case browser::Then::Navigate: break;
    }
    const std::wstring wide = toWide(d.address);
    if (d.remember && SendMessageW(box, CB_FINDSTRINGEXACT, static_cast<WPARAM>(-1),
                                   reinterpret_cast<LPARAM>(wide.c_str())) == CB_ERR) {
        SendMessageW(box, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(wide.c_str()));
    }
    SetWindowTextW(box, wide.c_str());
    // Outside an allowed list the address is still asked for, as the user
    // was told; the control's own check below refuses it before any request.
    host_.navigate(d.address);
}

void BrowserForm::home() { host_.goHome(); }

void BrowserForm::print() {
    HWND button = GetDlgItem(dialog_.get(), IDC_PCTSTAMPA);
    EnableWindow(button, FALSE);
    if (!host_.pageHasFocus()) {
        if (HWND control = host_.controlWindow()) SetFocus(control);
    }
    host_.print();
    EnableWindow(button, TRUE);
}

void BrowserForm::tickGoHome() {
    if (!browser::sendsHome(boxText())) return;
    // Off until the next page has come: home may take a while to answer.
    KillTimer(dialog_.get(), kGoHomeTimer);
    home();
}

// Told before any request: what the go procedure would refuse never reaches
// the network, whatever started it (a link, a redirect, a script, the
// allowed list's "still requested" address). The check while loading stays
// as the second net, on the location the control reports.
bool BrowserForm::beforeNavigate(const std::string& url, bool) {
    return browser::cancelBeforeRequest(c_.verdicts, url) || browser::sendsHome(url);
}

void BrowserForm::navigateComplete(const std::string& url) {
    HWND d = dialog_.get();
    if (!d) return;
    const std::string title = host_.locationName();
    setWindowText(d, title.empty() ? url : title);
    const std::string location = host_.locationUrl();
    setWindowText(GetDlgItem(d, IDC_CMBINDIRIZZI), location.empty() ? url : location);
    layout();
    SetTimer(d, kGoHomeTimer, kGoHomeMs, nullptr);
}

void BrowserForm::progressChange(long progress, long progressMax) {
    const browser::ProgressShown shown = browser::progressShown(progress, progressMax);
    SendMessageW(GetDlgItem(dialog_.get(), IDC_PROGRESSBAR1), PBM_SETPOS, static_cast<WPARAM>(shown.percent), 0);
    setWindowText(GetDlgItem(dialog_.get(), IDC_LBLPERCENTUALE), shown.caption);
    const std::string location = host_.locationUrl();
    if (const MessageId message = browser::refusedWhileLoading(c_.verdicts, location)) {
        tell(message, location);
        host_.goBack();
    }
}

bool BrowserForm::newWindow(IDispatch** newWindow) {
    if (core::browserSwitchOn(c_.store, core::kNoPopup)) return true;
    BrowserForm* popup = c_.openPopup ? c_.openPopup() : nullptr;
    // No window of ours, no window at all: the control's own would escape the checks.
    if (!popup) return true;
    *newWindow = popup->controlForPopup();
    return *newWindow == nullptr;
}

}  // namespace ombrix::win32

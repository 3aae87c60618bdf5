#include "browser/win32/application_bar_form.h"

#include "browser/application_bar_choices.h"
#include "browser/win32/browser_form_ids.h"
#include "platform/failures.h"
#include "support/language.h"
#include "support/win32/dialog_procedure.h"

namespace ombrix::win32 {
namespace {

// A control at x, y (left, top) with the width and height in right, bottom.
void moveTo(HWND control, const RECT& r) { placeControl(control, r.left, r.top, r.right, r.bottom); }

}  // namespace

void ApplicationBarForm::show() {
    if (!dialog_ && !dialog_.create(IDD_FRMBARRAAPPLICAZIONI, nullptr, &ApplicationBarForm::Proc, this,
                                    "frmBarraApplicazioni",
                                    {{IDC_PCTBROWSER, "pctBrowser"},
                                     {IDC_PCTINTERNETEXPLORER, "pctInternetExplorer"},
                                     {IDC_LBLINTERNETEXPLORER, "lblInternetExplorer"},
                                     {IDC_PCTOMBRIX, "pctOmbrix"}},
                                    c_.language)) {
        return;
    }
    const ApplicationBarContext::Switches s = c_.switches ? c_.switches() : ApplicationBarContext::Switches{};
    setWindowText(GetDlgItem(dialog_.get(), IDC_LBLINTERNETEXPLORER),
                  c_.language.messageText(browser::barChoices(s.internalBrowser).label));
    arrange(s);
    SetWindowPos(dialog_.get(), HWND_TOPMOST, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE | SWP_SHOWWINDOW);
}

void ApplicationBarForm::unload() { dialog_.destroy(); }

// Its own row at the bottom of the screen, where the task bar was. With the
// home page full screen, the program's button comes first, so the browser's
// button is not under the page's own controls at the left.
void ApplicationBarForm::arrange(const ApplicationBarContext::Switches& s) {
    HWND d = dialog_.get();
    RECT bar{};
    GetWindowRect(d, &bar);
    const int height = bar.bottom - bar.top;
    const int screenWidth = GetSystemMetrics(SM_CXSCREEN), screenHeight = GetSystemMetrics(SM_CYSCREEN);
    const RECT browserButton = dialogUnits(d, 4, 4, 70, 16);
    const RECT ombrixButton = dialogUnits(d, 4, 4, 50, 16);
    const RECT gap = dialogUnits(d, 4, 0, 0, 0);
    RECT ie = dialogUnits(d, 0, 4, 30, 16);
    RECT label = dialogUnits(d, 0, 7, 80, 10);
    RECT first = s.fullScreen ? ombrixButton : browserButton;
    RECT second = s.fullScreen ? browserButton : ombrixButton;
    second.left = first.left + first.right + gap.left;
    ie.left = second.left + second.right + gap.left;
    label.left = ie.left + ie.right + gap.left;
    moveTo(GetDlgItem(d, s.fullScreen ? IDC_PCTOMBRIX : IDC_PCTBROWSER), first);
    moveTo(GetDlgItem(d, s.fullScreen ? IDC_PCTBROWSER : IDC_PCTOMBRIX), second);
    moveTo(GetDlgItem(d, IDC_PCTINTERNETEXPLORER), ie);
    moveTo(GetDlgItem(d, IDC_LBLINTERNETEXPLORER), label);
    SetWindowPos(d, nullptr, 0, screenHeight - height, screenWidth, height, SWP_NOZORDER | SWP_NOACTIVATE);
}

bool ApplicationBarForm::placeBeside(RECT& place) const {
    HWND d = dialog_.get();
    if (!d || !IsWindowVisible(d)) return false;
    RECT bar{};
    GetWindowRect(d, &bar);
    place = RECT{0, 0, GetSystemMetrics(SM_CXSCREEN), bar.top};
    return true;
}

bool ApplicationBarForm::handleMessage(MSG& msg) {
    HWND d = dialog_.get();
    return d && (msg.hwnd == d || IsChild(d, msg.hwnd)) && IsDialogMessageW(d, &msg);
}

INT_PTR CALLBACK ApplicationBarForm::Proc(HWND dialog, UINT msg, WPARAM wp, LPARAM lp) {
    auto* self = attachState<ApplicationBarForm>(dialog, msg, lp);
    if (!self) return FALSE;
    switch (msg) {
        // The bar takes no focus of its own: the pupil's window keeps it.
        case WM_INITDIALOG: return FALSE;
        case WM_COMMAND:
            platform::guarded([&] { self->command(LOWORD(wp), HIWORD(wp)); });
            return TRUE;
        case WM_CLOSE: return TRUE;  // only unlocking takes the bar away
        default: return FALSE;
    }
}

void ApplicationBarForm::command(int id, int code) {
    switch (id) {
        case IDC_PCTBROWSER:
            if (c_.openInternalBrowser) c_.openInternalBrowser();
            break;
        case IDC_LBLINTERNETEXPLORER:
            if (code != STN_CLICKED) break;
            [[fallthrough]];
        case IDC_PCTINTERNETEXPLORER: {
            const ApplicationBarContext::Switches s = c_.switches ? c_.switches() : ApplicationBarContext::Switches{};
            if (browser::barChoices(s.internalBrowser).browser == browser::BrowserButton::Internal) {
                if (c_.openInternalBrowser) c_.openInternalBrowser();
            } else if (c_.openExternalBrowser) {
                c_.openExternalBrowser(browser::homePage(s.homePage, c_.defaultHomePage));
            }
            break;
        }
        case IDC_PCTOMBRIX:
            if (c_.showProgram) c_.showProgram();
            break;
        default: break;
    }
}

}  // namespace ombrix::win32

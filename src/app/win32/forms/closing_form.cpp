#include "app/win32/forms/closing_form.h"

#include "app/notices.h"
#include "app/win32/forms/resource.h"
#include "support/language.h"
#include "support/messages.h"
#include "support/win32/dialog_procedure.h"

namespace ombrix::win32 {
namespace {

constexpr UINT_PTR kSecondsTimer = 1;

}  // namespace

ClosingForm::ClosingForm(Language& language, HWND owner) : language_(language), owner_(owner) {}

ClosingForm::~ClosingForm() { close(); }

void ClosingForm::show() {
    if (dialog_) return;
    if (!dialog_.create(IDD_FRMCHIUSURAINCORSO, owner_, &ClosingForm::Proc, this, "frmChiusuraInCorso",
                        {{IDC_LBLCHIUSURAINCORSO, "lblChiusuraInCorso"}}, language_)) {
        return;
    }
    setWindowText(GetDlgItem(dialog_.get(), IDC_LBLCHIUSURAINCORSO), language_.messageText(msg::ClosingInProgress));
    SetTimer(dialog_.get(), kSecondsTimer, core::kClosingTickMs, nullptr);
    ShowWindow(dialog_.get(), SW_SHOWNORMAL);
    UpdateWindow(dialog_.get());
}

void ClosingForm::setTopmost() {
    if (dialog_) SetWindowPos(dialog_.get(), HWND_TOPMOST, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_SHOWWINDOW);
}

void ClosingForm::close() { dialog_.destroy(); }

INT_PTR CALLBACK ClosingForm::Proc(HWND dialog, UINT msg, WPARAM wp, LPARAM lp) {
    ClosingForm* form = attachState<ClosingForm>(dialog, msg, lp);
    if (!form) return FALSE;
    if (msg == WM_INITDIALOG) return TRUE;
    if (msg == WM_TIMER && wp == kSecondsTimer) {
        platform::guarded([&] {
            SYSTEMTIME now{};
            GetLocalTime(&now);
            setWindowText(
                GetDlgItem(dialog, IDC_LBLCHIUSURAINCORSO),
                core::closingText(form->language_.messageText(msg::ClosingInProgressTicking), now.wSecond));
        });
        return TRUE;
    }
    if (msg == WM_CLOSE) return TRUE;  // it goes away with the program
    return FALSE;
}

}  // namespace ombrix::win32

#include "app/win32/forms/notice_form.h"

#include <cstdint>

#include "app/win32/forms/resource.h"
#include "support/language.h"
#include "support/messages.h"
#include "support/win32/dialog_procedure.h"
#include "support/win32/program_icon.h"

namespace ombrix::win32 {
namespace {

constexpr UINT_PTR kCountdownTimer = 1;

}  // namespace

NoticeForm::NoticeForm(Language& language, HWND owner) : language_(language), owner_(owner) {}

NoticeForm::~NoticeForm() { close(); }

void NoticeForm::load() {
    if (!dialog_.create(IDD_FRMMESSAGGIO, owner_, &NoticeForm::Proc, this, "frmMessaggio",
                        {{IDC_LBLINTESTAZIONE, "lblIntestazione"},
                         {IDC_LBLTIPO, "lblTipo"},
                         {IDC_LBLMESSAGGIO, "lblMessaggio"},
                         {IDC_CMDOK, "cmdOK"}},
                        language_)) {
        return;
    }
    // The heading in bold, so the kind of notice reads at a glance.
    if (!bold_) {
        LOGFONTW lf{};
        GetObjectW(reinterpret_cast<HFONT>(SendMessageW(dialog_.get(), WM_GETFONT, 0, 0)), sizeof lf, &lf);
        lf.lfWeight = FW_BOLD;
        bold_.reset(CreateFontIndirectW(&lf));
    }
    SendMessageW(GetDlgItem(dialog_.get(), IDC_LBLTIPO), WM_SETFONT, reinterpret_cast<WPARAM>(bold_.get()), FALSE);
    SendMessageW(dialog_.get(), WM_SETICON, ICON_SMALL, reinterpret_cast<LPARAM>(programIcon(16)));
}

void NoticeForm::show(const std::string& text, const std::string& heading) {
    if (!dialog_) load();
    if (!dialog_) return;
    setWindowText(GetDlgItem(dialog_.get(), IDC_LBLINTESTAZIONE), language_.messageText(msg::NoticeFormHeading));
    setWindowText(GetDlgItem(dialog_.get(), IDC_LBLTIPO), heading);
    setWindowText(GetDlgItem(dialog_.get(), IDC_LBLMESSAGGIO), text);
    const std::uint64_t now = GetTickCount64();
    if (!life_.show(now)) return;  // already shown: its countdown goes on
    setWindowText(GetDlgItem(dialog_.get(), IDC_CMDOK), life_.caption(now));
    // Bottom right of the work area, on top of everything, without taking the focus.
    RECT work{}, box{};
    SystemParametersInfoW(SPI_GETWORKAREA, 0, &work, 0);
    GetWindowRect(dialog_.get(), &box);
    const int w = box.right - box.left, h = box.bottom - box.top;
    SetWindowPos(dialog_.get(), HWND_TOPMOST, work.right - w - 8, work.bottom - h - 8, 0, 0,
                 SWP_NOSIZE | SWP_NOACTIVATE | SWP_SHOWWINDOW);
    SetTimer(dialog_.get(), kCountdownTimer, core::kNoticeTickMs, nullptr);
}

void NoticeForm::tick() {
    if (!dialog_ || !life_.loaded()) return;
    const std::uint64_t now = GetTickCount64();
    setWindowText(GetDlgItem(dialog_.get(), IDC_CMDOK), life_.caption(now));
    if (life_.tick(now)) SendMessageW(dialog_.get(), WM_COMMAND, MAKEWPARAM(IDC_CMDOK, BN_CLICKED), 0);
}

void NoticeForm::close() {
    if (!dialog_) return;
    life_.closed();
    dialog_.destroy();
}

INT_PTR CALLBACK NoticeForm::Proc(HWND dialog, UINT msg, WPARAM wp, LPARAM lp) {
    NoticeForm* form = attachState<NoticeForm>(dialog, msg, lp);
    if (!form) return FALSE;
    switch (msg) {
        case WM_INITDIALOG:
            return FALSE;  // no focus taken from the user's window
        case WM_TIMER:
            if (wp == kCountdownTimer) platform::guarded([&] { form->tick(); });
            return TRUE;
        case WM_COMMAND:
            if (LOWORD(wp) == IDC_CMDOK || LOWORD(wp) == IDCANCEL) {
                // OK hides the notice; the form is kept for the next one.
                KillTimer(dialog, kCountdownTimer);
                ShowWindow(dialog, SW_HIDE);
                form->life_.closed();
                return TRUE;
            }
            return FALSE;
        case WM_CLOSE:
            KillTimer(dialog, kCountdownTimer);
            ShowWindow(dialog, SW_HIDE);
            form->life_.closed();
            return TRUE;
        default:
            return FALSE;
    }
}

}  // namespace ombrix::win32

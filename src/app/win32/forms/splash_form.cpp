#include "app/win32/forms/splash_form.h"

#include "app/win32/forms/resource.h"
#include "support/win32/dialog_procedure.h"

namespace ombrix::win32 {
namespace {

constexpr UINT_PTR kKillTimer = 1;
constexpr UINT_PTR kCloseTimer = 2;

}  // namespace

SplashForm::SplashForm(Language& language, HWND owner, std::function<void()> killTaskManager)
    : language_(language), owner_(owner), killTaskManager_(std::move(killTaskManager)) {}

SplashForm::~SplashForm() { close(); }

void SplashForm::show() {
    if (dialog_) return;
    if (!dialog_.create(IDD_FRMSPLASH, owner_, &SplashForm::Proc, this, "frmSplash", {{IDC_LBLSPLASH, "lblSplash"}},
                        language_)) {
        return;
    }
    SetTimer(dialog_.get(), kKillTimer, 100, nullptr);
    ShowWindow(dialog_.get(), SW_SHOWNORMAL);
    UpdateWindow(dialog_.get());
}

void SplashForm::closeSoon() {
    if (dialog_) SetTimer(dialog_.get(), kCloseTimer, 1000, nullptr);
}

void SplashForm::close() { dialog_.destroy(); }

INT_PTR CALLBACK SplashForm::Proc(HWND dialog, UINT msg, WPARAM wp, LPARAM lp) {
    SplashForm* form = attachState<SplashForm>(dialog, msg, lp);
    if (!form) return FALSE;
    if (msg == WM_INITDIALOG) return TRUE;
    if (msg == WM_TIMER) {
        platform::guarded([&] {
            if (wp == kKillTimer && form->killTaskManager_) form->killTaskManager_();
            if (wp == kCloseTimer) form->close();
        });
        return TRUE;
    }
    return FALSE;
}

}  // namespace ombrix::win32

#include "app/win32/forms/options_form.h"

#include <memory>

#include "app/win32/forms/resource.h"
#include "support/language.h"
#include "support/messages.h"
#include "support/win32/dialog_procedure.h"
#include "support/win32/dialog_translation.h"

namespace ombrix::win32 {
namespace {

struct State {
    Language& language;
    const SavePassword& save;
    bool managed = false;
    bool saved = false;
    std::unique_ptr<DialogTranslation> translation;
};

// The fields give way to the reason they cannot be used; only the way out stays.
void showManaged(HWND dialog, Language& language) {
    for (const int id : {IDC_LBLPASS, IDC_OPZ_TXTPASS, IDC_LBLPASS2, IDC_OPZ_TXTPASS2, IDC_CMDSALVA}) {
        ShowWindow(GetDlgItem(dialog, id), SW_HIDE);
    }
    HWND text = GetDlgItem(dialog, IDC_OPZ_LBLGESTITA);
    setWindowText(text, language.messageText(msg::PasswordManaged));
    ShowWindow(text, SW_SHOW);
    SendMessageW(dialog, DM_SETDEFID, IDC_CMDANNULLA, 0);
    // The text needs two lines of the fields' four: the rest of the form moves up.
    RECT gap{0, 0, 0, 30};
    MapDialogRect(dialog, &gap);
    RECT button{}, frame{};
    HWND cancel = GetDlgItem(dialog, IDC_CMDANNULLA);
    GetWindowRect(cancel, &button);
    MapWindowPoints(nullptr, dialog, reinterpret_cast<POINT*>(&button), 2);
    SetWindowPos(cancel, nullptr, button.left, button.top - gap.bottom, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
    GetWindowRect(dialog, &frame);
    SetWindowPos(dialog, nullptr, 0, 0, frame.right - frame.left, frame.bottom - frame.top - gap.bottom,
                 SWP_NOMOVE | SWP_NOZORDER);
}

INT_PTR CALLBACK proc(HWND dialog, UINT msg, WPARAM wp, LPARAM lp) {
    auto* st = attachState<State>(dialog, msg, lp);
    if (!st) return FALSE;
    switch (msg) {
        case WM_INITDIALOG:
            platform::guarded([&] {
                st->translation = std::make_unique<DialogTranslation>(
                    dialog, "frmOpzioni",
                    std::vector<NamedControl>{{IDC_LBLPASS, "lblPass"}, {IDC_OPZ_TXTPASS, "txtPass"},
                                              {IDC_LBLPASS2, "lblPass2"}, {IDC_OPZ_TXTPASS2, "txtPass2"},
                                              {IDC_CMDSALVA, "cmdSalva"}, {IDC_CMDANNULLA, "cmdAnnulla"}});
                st->translation->apply(st->language);
                // The fields start empty: the stored password cannot be shown.
                SetDlgItemTextW(dialog, IDC_OPZ_TXTPASS, L"");
                SetDlgItemTextW(dialog, IDC_OPZ_TXTPASS2, L"");
                if (st->managed) showManaged(dialog, st->language);
                keepAboveOwner(dialog);
                SetForegroundWindow(dialog);
            });
            SetFocus(GetDlgItem(dialog, st->managed ? IDC_CMDANNULLA : IDC_OPZ_TXTPASS));
            return FALSE;
        case WM_COMMAND:
            switch (LOWORD(wp)) {
                case IDOK:
                case IDC_CMDSALVA:
                    platform::guarded([&] {
                        const std::string a = windowText(GetDlgItem(dialog, IDC_OPZ_TXTPASS));
                        const std::string b = windowText(GetDlgItem(dialog, IDC_OPZ_TXTPASS2));
                        if (st->save(a, b)) {
                            st->saved = true;
                            EndDialog(dialog, IDOK);
                        }
                    });
                    return TRUE;
                case IDCANCEL:
                case IDC_CMDANNULLA:
                    EndDialog(dialog, IDCANCEL);
                    return TRUE;
                default:
                    return FALSE;
            }
        default:
            return FALSE;
    }
}

}  // namespace

bool showOptionsForm(HWND owner, Language& language, const SavePassword& save, bool passwordManaged) {
    State state{language, save, passwordManaged, false, nullptr};
    DialogBoxParamW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(IDD_FRMOPZIONI), owner, &proc,
                    reinterpret_cast<LPARAM>(&state));
    return state.saved;
}

}  // namespace ombrix::win32

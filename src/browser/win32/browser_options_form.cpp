#include "browser/win32/browser_options_form.h"

#include <memory>

#include "browser/win32/browser_form_ids.h"
#include "core/browser_switches.h"
#include "support/language.h"
#include "support/win32/dialog_procedure.h"
#include "support/win32/dialog_translation.h"

namespace ombrix::win32 {
namespace {

struct State {
    Language& language;
    core::Database& store;
    std::unique_ptr<DialogTranslation> translation;
};

struct Box {
    int id;
    std::string_view key;
};
constexpr Box kBoxes[] = {{IDC_CHKDISABILITAPOPUP, core::kNoPopup}, {IDC_CHKDISABILITASTAMPA, core::kNoPrint}};

// The box shows what is in force, whatever was clicked.
void showStored(HWND dialog, State& st, const Box& b) {
    CheckDlgButton(dialog, b.id, core::browserSwitchOn(st.store, b.key) ? BST_CHECKED : BST_UNCHECKED);
}

INT_PTR handle(HWND dialog, State& st, UINT msg, WPARAM wp, LPARAM) {
    switch (msg) {
        case WM_INITDIALOG:
            st.translation = std::make_unique<DialogTranslation>(
                dialog, "frmOpzioniBrowser",
                std::vector<NamedControl>{{IDC_CHKDISABILITAPOPUP, "chkDisabilitaPopUp"},
                                          {IDC_CHKDISABILITASTAMPA, "chkDisabilitaStampa"},
                                          {IDC_CMDESCIBROWSER, "cmdEsci"}});
            st.translation->apply(st.language);
            for (const Box& b : kBoxes) showStored(dialog, st, b);
            keepAboveOwner(dialog);
            SetForegroundWindow(dialog);
            return TRUE;
        case WM_COMMAND:
            for (const Box& b : kBoxes) {
                if (LOWORD(wp) != b.id || HIWORD(wp) != BN_CLICKED) continue;
                const bool ticked = IsDlgButtonChecked(dialog, b.id) == BST_CHECKED;
                if (!core::setBrowserSwitch(st.store, b.key, ticked)) showStored(dialog, st, b);
                return TRUE;
            }
            if (LOWORD(wp) == IDC_CMDESCIBROWSER || LOWORD(wp) == IDCANCEL || LOWORD(wp) == IDOK) {
                EndDialog(dialog, IDOK);
                return TRUE;
            }
            return FALSE;
        default: return FALSE;
    }
}

}  // namespace

void showBrowserOptionsForm(HWND owner, Language& language, core::Database& store) {
    State state{language, store, nullptr};
    showModal<State, &handle>(owner, IDD_FRMOPZIONIBROWSER, state);
}

}  // namespace ombrix::win32

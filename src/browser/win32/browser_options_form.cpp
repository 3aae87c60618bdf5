#include "browser/win32/browser_options_form.h"

#include <memory>

#include "browser/browser_settings.h"
#include "browser/win32/browser_form_ids.h"
#include "support/language.h"
#include "support/win32/dialog_procedure.h"
#include "support/win32/dialog_translation.h"

namespace ombrix::win32 {
namespace {

struct State {
    Language& language;
    browser::BrowserSettings settings;
    std::unique_ptr<DialogTranslation> translation;
};

struct Box {
    int id;
    std::string_view key;
};
constexpr Box kBoxes[] = {{IDC_CHKDISABILITAPOPUP, browser::kNoPopup}, {IDC_CHKDISABILITASTAMPA, browser::kNoPrint}};

INT_PTR handle(HWND dialog, State& st, UINT msg, WPARAM wp, LPARAM) {
    switch (msg) {
        case WM_INITDIALOG:
            st.translation = std::make_unique<DialogTranslation>(
                dialog, "frmOpzioniBrowser",
                std::vector<NamedControl>{{IDC_CHKDISABILITAPOPUP, "chkDisabilitaPopUp"},
                                          {IDC_CHKDISABILITASTAMPA, "chkDisabilitaStampa"},
                                          {IDC_CMDESCIBROWSER, "cmdEsci"}});
            st.translation->apply(st.language);
            for (const Box& b : kBoxes) CheckDlgButton(dialog, b.id, st.settings.on(b.key) ? BST_CHECKED : BST_UNCHECKED);
            keepAboveOwner(dialog);
            SetForegroundWindow(dialog);
            return TRUE;
        case WM_COMMAND:
            for (const Box& b : kBoxes) {
                if (LOWORD(wp) != b.id || HIWORD(wp) != BN_CLICKED) continue;
                const bool ticked = IsDlgButtonChecked(dialog, b.id) == BST_CHECKED;
                // Not saved: the box shows what is in force, not what was clicked.
                if (!st.settings.set(b.key, ticked)) {
                    CheckDlgButton(dialog, b.id, st.settings.on(b.key) ? BST_CHECKED : BST_UNCHECKED);
                }
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

void showBrowserOptionsForm(HWND owner, Language& language, platform::Registry& registry) {
    State state{language, browser::BrowserSettings(registry), nullptr};
    showModal<State, &handle>(owner, IDD_FRMOPZIONIBROWSER, state);
}

}  // namespace ombrix::win32

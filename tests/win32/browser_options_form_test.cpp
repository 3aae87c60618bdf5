#include <windows.h>

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "browser/win32/browser_form_ids.h"
#include "browser/win32/browser_options_form.h"
#include "core/browser_switches.h"
#include "fakes/fixtures.h"
#include "helpers.h"
#include "support/language.h"

namespace ombrix::win32 {
namespace {

// What the form showed and what each click left in the settings, seen from
// a timer while the modal form runs.
struct Seen {
    bool found = false;
    bool popupAtLoad = false, printAtLoad = false;
    bool popupSaved = false, printSaved = false;
};
Seen* seen = nullptr;
core::Database* store = nullptr;

void CALLBACK drive(HWND, UINT, UINT_PTR timer, DWORD) {
    HWND form = FindWindowW(nullptr, L"Opzioni del browser interno");
    if (!form || !IsWindowVisible(form)) return;
    KillTimer(nullptr, timer);
    seen->found = true;
    seen->popupAtLoad = IsDlgButtonChecked(form, IDC_CHKDISABILITAPOPUP) == BST_CHECKED;
    seen->printAtLoad = IsDlgButtonChecked(form, IDC_CHKDISABILITASTAMPA) == BST_CHECKED;
    test::screenshot("frmOpzioniBrowser");
    SendMessageW(GetDlgItem(form, IDC_CHKDISABILITAPOPUP), BM_CLICK, 0, 0);
    SendMessageW(GetDlgItem(form, IDC_CHKDISABILITASTAMPA), BM_CLICK, 0, 0);
    // Read while the form is still open: saved at the click, not at closing.
    seen->popupSaved = core::browserSwitchOn(*store, core::kNoPopup);
    seen->printSaved = core::browserSwitchOn(*store, core::kNoPrint);
    SendMessageW(GetDlgItem(form, IDC_CMDESCIBROWSER), BM_CLICK, 0, 0);
}

TEST(BrowserOptionsForm, ShowsBothSwitchesAndSavesEachTheMomentItIsClicked) {
    core::Database db = test::deliveredStore();
    ASSERT_TRUE(core::setBrowserSwitch(db, core::kNoPopup, true));
    ASSERT_TRUE(core::setBrowserSwitch(db, core::kNoPrint, false));
    Seen s;
    seen = &s;
    store = &db;
    Language language(platform::realSystem().programFolder(), '\\');
    const UINT_PTR timer = SetTimer(nullptr, 0, 100, &drive);
    showBrowserOptionsForm(nullptr, language, db);
    KillTimer(nullptr, timer);
    seen = nullptr;
    store = nullptr;
    ASSERT_TRUE(s.found) << "the form did not open";
    EXPECT_TRUE(s.popupAtLoad);
    EXPECT_FALSE(s.printAtLoad);
    EXPECT_FALSE(s.popupSaved);
    EXPECT_TRUE(s.printSaved);
    EXPECT_EQ(db.scalar("SELECT NoStampa FROM Opzioni;"), core::Value(core::kTrue));
}

}  // namespace
}  // namespace ombrix::win32

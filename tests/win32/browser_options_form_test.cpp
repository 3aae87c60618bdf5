#include <windows.h>

#include <gtest/gtest.h>

#include <vector>

#include "browser/win32/browser_form_ids.h"
#include "browser/win32/browser_options_form.h"
#include "core/browser_switches.h"
#include "fakes/fixtures.h"
#include "helpers.h"
#include "support/language.h"

namespace ombrix::win32 {
namespace {

// What the modal form showed, and what each click left in the store while it
// was still open, seen from a timer: popup and print at load, then saved.
bool g_seen[5] = {};
core::Database* g_store = nullptr;

void CALLBACK drive(HWND, UINT, UINT_PTR timer, DWORD) {
    HWND form = FindWindowW(nullptr, L"Opzioni del browser interno");
    if (!form || !IsWindowVisible(form)) return;
    KillTimer(nullptr, timer);
    g_seen[0] = true;
    g_seen[1] = IsDlgButtonChecked(form, IDC_CHKDISABILITAPOPUP) == BST_CHECKED;
    g_seen[2] = IsDlgButtonChecked(form, IDC_CHKDISABILITASTAMPA) == BST_CHECKED;
    SendMessageW(GetDlgItem(form, IDC_CHKDISABILITAPOPUP), BM_CLICK, 0, 0);
    SendMessageW(GetDlgItem(form, IDC_CHKDISABILITASTAMPA), BM_CLICK, 0, 0);
    g_seen[3] = core::browserSwitchOn(*g_store, core::kNoPopup);
    g_seen[4] = core::browserSwitchOn(*g_store, core::kNoPrint);
    SendMessageW(GetDlgItem(form, IDC_CMDESCIBROWSER), BM_CLICK, 0, 0);
}

TEST(BrowserOptionsForm, ShowsBothSwitchesAndSavesEachTheMomentItIsClicked) {
    core::Database db = test::deliveredStore();
    ASSERT_TRUE(core::setBrowserSwitch(db, core::kNoPopup, true));
    g_store = &db;
    const UINT_PTR timer = SetTimer(nullptr, 0, 100, &drive);
    Language language(platform::realSystem().programFolder(), '\\');
    showBrowserOptionsForm(nullptr, language, db);
    KillTimer(nullptr, timer);
    ASSERT_TRUE(g_seen[0]) << "the form did not open";
    EXPECT_EQ(std::vector<bool>(g_seen + 1, g_seen + 5), (std::vector<bool>{true, false, false, true}));
    EXPECT_EQ(db.scalar("SELECT NoStampa FROM Opzioni;"), core::Value(core::kTrue));
}

}  // namespace
}  // namespace ombrix::win32

// ombrix.exe in English: every form it shows takes its texts from
// english.lng, and no text of italian.lng is left on screen.
#include <windows.h>

#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "app/win32/forms/resource.h"
#include "browser/win32/browser_form_ids.h"
#include "e2e/driver.h"
#include "enforce/win32/log_form_ids.h"
#include "platform/files.h"
#include "platform/text.h"
#include "platform/win32/wide.h"
#include "profiles/win32/profile_form_ids.h"
#include "schedule/win32/slot_form_ids.h"

namespace ombrix::e2e {
namespace {

// The texts of a delivered language file.
std::set<std::wstring> valuesOf(const std::string& file) {
    std::set<std::wstring> values;
    const auto bytes = readWholeFile(test::builtProgram(file));
    EXPECT_TRUE(bytes) << file;
    std::istringstream lines(cp1252ToUtf8(bytes.value_or("")));
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        const std::size_t eq = line.find('=');
        if (line.empty() || line.front() == ';' || line.front() == '[' || eq == std::string::npos) continue;
        std::string value = line.substr(eq + 1);
        if (value.size() > 1 && value.front() == '"' && value.back() == '"') value = value.substr(1, value.size() - 2);
        if (!value.empty()) values.insert(win32::toWide(value));
    }
    return values;
}

BOOL CALLBACK collectText(HWND child, LPARAM texts) {
    if (IsWindowVisible(child)) reinterpret_cast<std::vector<std::wstring>*>(texts)->push_back(boxText(child));
    return TRUE;
}

class EnglishTest : public InstalledProgram {
protected:
    EnglishTest() {
        install.useLanguage("english");
        const std::set<std::wstring> italian = valuesOf("italian.lng");
        // "Ombrix", "OK" and the like are both languages' words.
        for (const std::wstring& text : italian) {
            if (!english_.contains(text) && text.size() > 2) italianOnly_.insert(text);
        }
        for (const std::wstring& text : english_) {
            if (!italian.contains(text)) englishOnly_.insert(text);
        }
    }

    // The form's caption and its controls' texts read in English: some are
    // texts only english.lng has, and none begins with one only italian.lng has.
    void expectEnglish(HWND form, const std::string& name) {
        ASSERT_TRUE(form) << name << " is not on screen";
        picture(form, "english-" + name);
        std::vector<std::wstring> texts{text(form)};
        EnumChildWindows(form, collectText, reinterpret_cast<LPARAM>(&texts));
        int fromEnglish = 0;
        for (const std::wstring& shown : texts) {
            fromEnglish += englishOnly_.contains(shown);
            for (const std::wstring& italian : italianOnly_) {
                if (shown.rfind(italian, 0) == 0) ADD_FAILURE() << name << " shows \"" << win32::fromWide(shown) << "\"";
            }
        }
        EXPECT_GT(fromEnglish, 0) << name << " shows no text of english.lng";
    }

    std::set<std::wstring> english_ = valuesOf("english.lng");
    std::set<std::wstring> italianOnly_;
    std::set<std::wstring> englishOnly_;
};

TEST_F(EnglishTest, TheMainFormAndTheAdministratorsFormsSpeakEnglish) {
    HWND main = start();
    expectEnglish(main, "frmOmbrix-locked");
    ASSERT_TRUE(admin(main));
    expectEnglish(main, "frmOmbrix-administrator");

    const struct {
        int button;
        int control;  // one of the form's own
        int closeButton;
        const char* name;
    } forms[] = {
        {IDC_CMDPASSWORD, IDC_OPZ_TXTPASS, IDC_CMDANNULLA, "frmOpzioni"},
        {IDC_CMDPERIODI, IDC_TXTFASCIA1DALLE, IDC_PER_CMDESCI, "frmPeriodi"},
        {IDC_CMDLOGSITI, IDC_TXTDATADA, IDC_LOG_CMDESCI, "frmLogSiti"},
        {IDC_CMDOPZIONIBROWSER, IDC_CHKDISABILITAPOPUP, IDC_CMDESCIBROWSER, "frmOpzioniBrowser"},
        {IDC_CMDPROFILI, IDC_LSTVSITI, IDC_PRO_CMDESCI, "frmProfili"},
    };
    for (const auto& f : forms) {
        SCOPED_TRACE(f.name);
        HWND form = open(main, f.button, f.control);
        expectEnglish(form, f.name);
        if (!form) continue;
        if (f.control == IDC_LSTVSITI) {
            // A new profile: its default name and its mark until it is saved.
            EXPECT_TRUE(barCommand(form, IDC_BNR_NEW, [&] { return boxText(GetDlgItem(form, IDC_TXTSTATO)) == L"New"; }));
            EXPECT_EQ(boxText(GetDlgItem(form, IDC_TXTPROFILO)), install.message(msg::NewProfileName));
            expectEnglish(form, "frmProfili-new");
            EXPECT_TRUE(barCommand(form, IDC_BNR_CANCEL, [&] { return boxText(GetDlgItem(form, IDC_TXTSTATO)).empty(); }));
        }
        EXPECT_TRUE(clickUntil(GetDlgItem(form, f.closeButton), [&] { return !visible(form); })) << windowInFront();
    }

    // The closing form lasts a moment: its text is read while it is there.
    std::wstring closing;
    EXPECT_TRUE(clickUntil(GetDlgItem(main, IDC_CMDESCI), [&] {
        if (HWND form = formWith(*program, IDC_LBLCHIUSURAINCORSO)) closing = text(GetDlgItem(form, IDC_LBLCHIUSURAINCORSO));
        if (closing.empty()) return !program->running();
        screenshot("english-frmChiusuraInCorso");
        return true;
    }));
    if (!closing.empty()) {
        EXPECT_TRUE(closing.rfind(install.message(msg::ClosingInProgress), 0) == 0 ||
                    closing.rfind(install.message(msg::ClosingInProgressTicking), 0) == 0)
            << win32::fromWide(closing);
    }
    EXPECT_EQ(program->waitForExit(), 0u);
}

}  // namespace
}  // namespace ombrix::e2e

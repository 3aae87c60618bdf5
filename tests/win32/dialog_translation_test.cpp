#include <windows.h>

#include <gtest/gtest.h>

#include "fakes/fixtures.h"
#include "support/language.h"
#include "support/win32/dialog_translation.h"

namespace ombrix::win32 {
namespace {

// A language file may name a Caption for any control; only the controls that
// have one take it, so nothing is ever written into what the user types.
TEST(DialogTranslation, CaptionsReachLabelsAndButtonsNeverTextOrComboBoxes) {
    test::TempDir dir;
    test::writeFile(dir.file("italian.lng"),
                    "[frmProva]\r\nfrmProva.Caption=Prova\r\nlblPass.Caption=Parola d'ordine\r\n"
                    "txtPass.Caption=intruso\r\ncmbProfili.Caption=intruso\r\ncmdSalva.Caption=Salva\r\n");
    Language language(dir.path().string(), '\\');

    HWND form = CreateWindowExW(0, L"STATIC", L"Modulo", WS_POPUP, 0, 0, 300, 200, nullptr, nullptr, nullptr, nullptr);
    ASSERT_NE(form, nullptr);
    struct Child {
        const wchar_t* cls;
        int id;
        const char* name;
        const char* expected;  // nullptr: as it was
    };
    const Child children[] = {{L"STATIC", 10, "lblPass", "Parola d'ordine"},
                              {L"EDIT", 11, "txtPass", nullptr},
                              {L"COMBOBOX", 12, "cmbProfili", nullptr},
                              {L"BUTTON", 13, "cmdSalva", "Salva"}};
    std::vector<NamedControl> named;
    for (const auto& c : children) {
        CreateWindowExW(0, c.cls, L"digitata", WS_CHILD | (c.id == 12 ? CBS_DROPDOWN : 0), 0, 0, 100, 20, form,
                        reinterpret_cast<HMENU>(static_cast<INT_PTR>(c.id)), nullptr, nullptr);
        named.push_back({c.id, c.name});
    }
    SetDlgItemTextW(form, 12, L"digitata");
    std::vector<std::string> before;
    for (const auto& c : children) before.push_back(windowText(GetDlgItem(form, c.id)));
    {
        DialogTranslation translation(form, "frmProva", named);
        translation.apply(language);
        EXPECT_EQ(windowText(form), "Prova");
        for (std::size_t i = 0; i < std::size(children); ++i) {
            const auto& c = children[i];
            EXPECT_EQ(windowText(GetDlgItem(form, c.id)), c.expected ? c.expected : before[i]) << c.name;
        }
    }
    DestroyWindow(form);
}

}  // namespace
}  // namespace ombrix::win32

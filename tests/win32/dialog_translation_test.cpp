#include <windows.h>

#include <gtest/gtest.h>

#include "fakes/fixtures.h"
#include "support/language.h"
#include "support/win32/dialog_translation.h"

namespace ombrix::win32 {
namespace {

// Only the controls that have a caption take one: nothing is written into what the user types.
TEST(DialogTranslation, CaptionsReachLabelsAndButtonsNeverTextOrComboBoxes) {
    test::TempDir dir;
    test::writeFile(dir.file("italian.lng"),
                    "[frmProva]\r\nfrmProva.Caption=Prova\r\nlblPass.Caption=Parola d'ordine\r\n"
                    "txtPass.Caption=intruso\r\ncmbProfili.Caption=intruso\r\ncmdSalva.Caption=Salva\r\n");
    Language language(dir.path().string(), '\\');
    const UniqueWindow form(
        CreateWindowExW(0, L"STATIC", L"Modulo", WS_POPUP, 0, 0, 300, 200, nullptr, nullptr, nullptr, nullptr));
    const struct {
        const wchar_t* cls;
        const char* name;
        const char* expected;
    } children[] = {{L"STATIC", "lblPass", "Parola d'ordine"}, {L"EDIT", "txtPass", "digitata"},
                    {L"COMBOBOX", "cmbProfili", "digitata"}, {L"BUTTON", "cmdSalva", "Salva"}};
    std::vector<NamedControl> named;
    for (int id = 0; id < 4; ++id) {
        HWND child = CreateWindowExW(0, children[id].cls, L"digitata", WS_CHILD | (id == 2 ? CBS_DROPDOWN : 0), 0, 0,
                                     100, 20, form.get(), reinterpret_cast<HMENU>(static_cast<INT_PTR>(10 + id)),
                                     nullptr, nullptr);
        SetWindowTextW(child, L"digitata");
        named.push_back({10 + id, children[id].name});
    }
    DialogTranslation(form.get(), "frmProva", named).apply(language);
    EXPECT_EQ(windowText(form.get()), "Prova");
    for (int id = 0; id < 4; ++id) EXPECT_EQ(windowText(GetDlgItem(form.get(), 10 + id)), children[id].expected) << id;
}

}  // namespace
}  // namespace ombrix::win32

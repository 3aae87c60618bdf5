#include "schedule/win32/slot_form.h"

#include <array>
#include <initializer_list>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/system.h"
#include "platform/win32/wide.h"
#include "schedule/slot_editor.h"
#include "schedule/win32/slot_form_ids.h"
#include "support/language.h"
#include "support/messages.h"
#include "support/win32/dialog_procedure.h"
#include "support/win32/dialog_translation.h"

namespace ombrix::win32 {
namespace {

constexpr std::array<int, 3> kFromBoxes = {IDC_TXTFASCIA1DALLE, IDC_TXTFASCIA2DALLE, IDC_TXTFASCIA3DALLE};
constexpr std::array<int, 3> kToBoxes = {IDC_TXTFASCIA1ALLE, IDC_TXTFASCIA2ALLE, IDC_TXTFASCIA3ALLE};
// The three slots' combos, then the fallback's, in the order of their empty entries.
constexpr std::array<int, 4> kCombos = {IDC_CMBPROFILOPERIODO1, IDC_CMBPROFILOPERIODO2, IDC_CMBPROFILOPERIODO3,
                                        IDC_CMBPROFILO};

struct State {
    SlotFormContext& context;
    char separator = ':';
    bool loading = true;  // the boxes are being filled: no change to save yet
    std::unique_ptr<DialogTranslation> translation;
};

int controlOf(schedule::SlotBox box) {
    const int i = static_cast<int>(box);
    const std::size_t slot = static_cast<std::size_t>(i / 3);
    switch (i % 3) {
        case 0: return kFromBoxes[slot];
        case 1: return kToBoxes[slot];
        default: return kCombos[slot];
    }
}

std::string text(HWND dialog, int id) { return windowText(GetDlgItem(dialog, id)); }

// The profile a combo shows: its item's identifier, 0 for the empty entry.
long long chosenProfile(HWND combo) {
    const LRESULT at = SendMessageW(combo, CB_GETCURSEL, 0, 0);
    if (at == CB_ERR) return 0;
    const LRESULT id = SendMessageW(combo, CB_GETITEMDATA, static_cast<WPARAM>(at), 0);
    return id == CB_ERR ? 0 : static_cast<long long>(id);
}

schedule::SlotBoxes readBoxes(HWND dialog) {
    schedule::SlotBoxes b;
    for (std::size_t i = 0; i < 3; ++i) {
        b.from[i] = text(dialog, kFromBoxes[i]);
        b.to[i] = text(dialog, kToBoxes[i]);
        b.profile[i] = chosenProfile(GetDlgItem(dialog, kCombos[i]));
    }
    b.fallback = chosenProfile(GetDlgItem(dialog, kCombos[3]));
    return b;
}

// Each item carries its profile's identifier, so that a profile named like
// the empty entry is still that profile.
void addItem(HWND combo, const std::string& name, long long id) {
    const LRESULT at = SendMessageW(combo, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(toWide(name).c_str()));
    if (at >= 0) SendMessageW(combo, CB_SETITEMDATA, static_cast<WPARAM>(at), static_cast<LPARAM>(id));
}

void selectProfile(HWND combo, long long id) {
    const LRESULT count = SendMessageW(combo, CB_GETCOUNT, 0, 0);
    LRESULT at = 0;
    for (LRESULT i = 0; i < count; ++i) {
        if (SendMessageW(combo, CB_GETITEMDATA, static_cast<WPARAM>(i), 0) == static_cast<LRESULT>(id)) at = i;
    }
    SendMessageW(combo, CB_SETCURSEL, static_cast<WPARAM>(at), 0);
}

// Under the fallback's combo, while it shows no profile: what that means.
void showEmptyFallback(HWND dialog) {
    const bool empty = chosenProfile(GetDlgItem(dialog, IDC_CMBPROFILO)) == 0;
    ShowWindow(GetDlgItem(dialog, IDC_PER_LBLEMPTYFALLBACK), empty ? SW_SHOW : SW_HIDE);
}

void load(HWND dialog, State& st) {
    Language& lang = st.context.language;
    setWindowText(GetDlgItem(dialog, IDC_LBLESEMPIO),
                  lang.messageText(msg::TimeExampleStart) + schedule::boxText(8 * 3600 + 30 * 60, st.separator) +
                      lang.messageText(msg::TimeExampleEnd));
    setWindowText(GetDlgItem(dialog, IDC_PER_LBLEMPTYFALLBACK), lang.messageText(msg::NoFallbackBlocksEverySite));
    const auto empty = schedule::emptyEntries(lang);
    const auto profiles = schedule::profileChoices(st.context.db);
    for (std::size_t i = 0; i < kCombos.size(); ++i) {
        HWND combo = GetDlgItem(dialog, kCombos[i]);
        SendMessageW(combo, CB_RESETCONTENT, 0, 0);
        addItem(combo, empty[i], 0);
        for (const auto& p : profiles) addItem(combo, p.name, p.id);
        SendMessageW(combo, CB_SETCURSEL, 0, 0);
    }
    if (const auto boxes = schedule::readSlotBoxes(st.context.db, st.separator)) {
        for (std::size_t i = 0; i < 3; ++i) {
            setWindowText(GetDlgItem(dialog, kFromBoxes[i]), boxes->from[i]);
            setWindowText(GetDlgItem(dialog, kToBoxes[i]), boxes->to[i]);
            selectProfile(GetDlgItem(dialog, kCombos[i]), boxes->profile[i]);
        }
        selectProfile(GetDlgItem(dialog, kCombos[3]), boxes->fallback);
    }
    showEmptyFallback(dialog);
    CheckDlgButton(dialog, IDC_CHKFASCEORARIE,
                   schedule::readScheduleSwitch(st.context.db) ? BST_CHECKED : BST_UNCHECKED);
    EnableWindow(GetDlgItem(dialog, IDC_PER_CMDSALVA), FALSE);
    st.loading = false;
}

// What the policy key decides stays disabled, and the text above the
// buttons names its values; the buttons and the form's bottom move down.
void showLocks(HWND dialog, const core::policy::Locks& locks, Language& language) {
    std::vector<std::string_view> names;
    const auto lock = [&](std::string_view name, std::initializer_list<int> controls) {
        if (name.empty()) return;
        names.push_back(name);
        for (const int id : controls) EnableWindow(GetDlgItem(dialog, id), FALSE);
    };
    lock(locks.timeSlots, {IDC_CHKFASCEORARIE});
    for (std::size_t i = 0; i < 3; ++i) lock(locks.slots[i], {kFromBoxes[i], kToBoxes[i], kCombos[i]});
    lock(locks.fallbackProfile, {kCombos[3]});
    if (names.empty()) return;
    HWND note = GetDlgItem(dialog, IDC_PER_LBLCRITERI);
    setWindowText(note, core::policy::lockedText(language, names));
    RECT gap{0, 0, 0, 30};
    MapDialogRect(dialog, &gap);
    for (const int id : {IDC_PER_CMDSALVA, IDC_PER_CMDESCI}) {
        HWND button = GetDlgItem(dialog, id);
        RECT r{};
        GetWindowRect(button, &r);
        MapWindowPoints(nullptr, dialog, reinterpret_cast<POINT*>(&r), 2);
        SetWindowPos(button, nullptr, r.left, r.top + gap.bottom, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
    }
    RECT frame{};
    GetWindowRect(dialog, &frame);
    SetWindowPos(dialog, nullptr, 0, 0, frame.right - frame.left, frame.bottom - frame.top + gap.bottom,
                 SWP_NOMOVE | SWP_NOZORDER);
    ShowWindow(note, SW_SHOW);
}

void show(State& st, MessageId id, const std::string& message, platform::MessageIcon icon) {
    st.context.dialogs.messageBox({id, message, "Ombrix", icon, platform::MessageButtons::Ok});
}

void showStoreFailed(State& st) {
    show(st, msg::StoreWriteFailed,
         st.context.language.messageText(msg::StoreWriteFailed) + " " + st.context.db.lastError(),
         platform::MessageIcon::Critical);
}

// Validates and stores; on a refusal the offending box gets the focus.
bool save(HWND dialog, State& st) {
    const schedule::SlotBoxes boxes = readBoxes(dialog);
    const bool on = IsDlgButtonChecked(dialog, IDC_CHKFASCEORARIE) == BST_CHECKED;
    if (const auto refusal = schedule::validateSlots(boxes, st.separator, on)) {
        show(st, refusal->messages.front(), schedule::refusalText(*refusal, st.context.language),
             platform::MessageIcon::Exclamation);
        SendMessageW(dialog, WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(GetDlgItem(dialog, controlOf(refusal->focus))),
                     TRUE);
        return false;
    }
    if (!schedule::saveSlots(st.context.db, boxes, st.separator)) {
        showStoreFailed(st);
        return false;
    }
    EnableWindow(GetDlgItem(dialog, IDC_PER_CMDSALVA), FALSE);
    return true;
}

// Unsaved changes are offered for saving first; a refusal keeps the form open.
void close(HWND dialog, State& st) {
    if (IsWindowEnabled(GetDlgItem(dialog, IDC_PER_CMDSALVA))) {
        const auto answer = st.context.dialogs.messageBox(
            {msg::SaveSlotChangesQuestion, st.context.language.messageText(msg::SaveSlotChangesQuestion), "Ombrix",
             platform::MessageIcon::Exclamation, platform::MessageButtons::YesNo});
        if (answer == platform::MessageAnswer::Yes && !save(dialog, st)) return;
    }
    EndDialog(dialog, IDCANCEL);
}

void switchClicked(HWND dialog, State& st) {
    const bool on = IsDlgButtonChecked(dialog, IDC_CHKFASCEORARIE) == BST_CHECKED;
    if (on && !schedule::slotOneHasTimes(readBoxes(dialog))) {
        show(st, msg::ScheduleNeedsFirstSlot, st.context.language.messageText(msg::ScheduleNeedsFirstSlot),
             platform::MessageIcon::Critical);
        CheckDlgButton(dialog, IDC_CHKFASCEORARIE, BST_UNCHECKED);
        return;
    }
    if (!schedule::writeScheduleSwitch(st.context.db, on)) {
        showStoreFailed(st);
        CheckDlgButton(dialog, IDC_CHKFASCEORARIE, on ? BST_UNCHECKED : BST_CHECKED);
    }
}

bool isTimeBox(int id) {
    for (std::size_t i = 0; i < 3; ++i) {
        if (id == kFromBoxes[i] || id == kToBoxes[i]) return true;
    }
    return false;
}

bool isCombo(int id) {
    for (int c : kCombos) {
        if (id == c) return true;
    }
    return false;
}

INT_PTR handle(HWND dialog, State& state, UINT msg, WPARAM wp, LPARAM) {
    State* const st = &state;
    switch (msg) {
        case WM_INITDIALOG:
            st->translation = std::make_unique<DialogTranslation>(
                dialog, "frmPeriodi",
                std::vector<NamedControl>{{IDC_LBLESEMPIO, "lblEsempio"},
                                          {IDC_LBLDALLE, "lblDalle"},
                                          {IDC_LBLALLE, "lblAlle"},
                                          {IDC_LBLPROFILOPERIODO, "lblProfiloPeriodo"},
                                          {IDC_LBLFASCIA1, "lblFascia1"},
                                          {IDC_LBLFASCIA2, "lblFascia2"},
                                          {IDC_LBLFASCIA3, "lblFascia3"},
                                          {IDC_TXTFASCIA1DALLE, "txtFascia1Dalle"},
                                          {IDC_TXTFASCIA1ALLE, "txtFascia1Alle"},
                                          {IDC_CMBPROFILOPERIODO1, "cmbProfiloPeriodo1"},
                                          {IDC_TXTFASCIA2DALLE, "txtFascia2Dalle"},
                                          {IDC_TXTFASCIA2ALLE, "txtFascia2Alle"},
                                          {IDC_CMBPROFILOPERIODO2, "cmbProfiloPeriodo2"},
                                          {IDC_TXTFASCIA3DALLE, "txtFascia3Dalle"},
                                          {IDC_TXTFASCIA3ALLE, "txtFascia3Alle"},
                                          {IDC_CMBPROFILOPERIODO3, "cmbProfiloPeriodo3"},
                                          {IDC_LBLFASCENONDEFINITE, "lblFasceNonDefinite"},
                                          {IDC_CMBPROFILO, "cmbProfilo"},
                                          {IDC_CHKFASCEORARIE, "chkFasceOrarie"},
                                          {IDC_PER_CMDSALVA, "cmdSalva"},
                                          {IDC_PER_CMDESCI, "cmdEsci"}});
            st->translation->apply(st->context.language);
            load(dialog, *st);
            showLocks(dialog, st->context.locks, st->context.language);
            keepAboveOwner(dialog);
            return TRUE;
        case WM_COMMAND: {
            const int id = LOWORD(wp);
            const int code = HIWORD(wp);
            if ((isTimeBox(id) && code == EN_CHANGE) || (isCombo(id) && code == CBN_SELCHANGE)) {
                if (!st->loading) EnableWindow(GetDlgItem(dialog, IDC_PER_CMDSALVA), TRUE);
                if (id == IDC_CMBPROFILO) showEmptyFallback(dialog);
                return TRUE;
            }
            switch (id) {
                case IDOK:
                case IDC_PER_CMDSALVA:
                    // Enter saves only what there is to save.
                    if (IsWindowEnabled(GetDlgItem(dialog, IDC_PER_CMDSALVA))) save(dialog, *st);
                    return TRUE;
                case IDC_CHKFASCEORARIE:
                    if (code == BN_CLICKED) switchClicked(dialog, *st);
                    return TRUE;
                case IDCANCEL:
                case IDC_PER_CMDESCI:
                    close(dialog, *st);
                    return TRUE;
                default:
                    return FALSE;
            }
        }
        case WM_DESTROY:
            st->translation.reset();
            return FALSE;
        default:
            return FALSE;
    }
}

}  // namespace

void showSlotForm(HWND owner, SlotFormContext& context) {
    State state{context, platform::timeSeparator(), true, nullptr};
    showModal<State, &handle>(owner, IDD_FRMPERIODI, state);
}

}  // namespace ombrix::win32

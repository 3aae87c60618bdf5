#include "profiles/win32/profile_form.h"

#include <commctrl.h>

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "platform/win32/file_dialogs_win32.h"
#include "platform/win32/handles.h"
#include "platform/win32/machine.h"
#include "platform/win32/wide.h"
#include "profiles/managed_profiles.h"
#include "profiles/profile_editor.h"
#include "profiles/profile_exchange.h"
#include "profiles/win32/profile_form_ids.h"
#include "support/language.h"
#include "support/win32/dialog_procedure.h"
#include "support/win32/dialog_translation.h"

namespace ombrix::win32 {
namespace {

using profiles::InfoButton;
using profiles::ListKind;
using profiles::ProfileEditor;

constexpr const char* kFormName = "frmProfili";

// One list with its entry box and buttons.
struct ListControls {
    ListKind kind;
    int list;
    int box;
    int add;
    int remove;
};
constexpr std::array<ListControls, 3> kLists = {{
    {ListKind::Sites, IDC_LSTVSITI, IDC_TXTSITO, IDC_CMDAGGIUNGISITO, IDC_CMDELIMINASITO},
    {ListKind::Processes, IDC_LSTVPROCESSIVIETATI, IDC_TXTPROCESSO, IDC_CMDAGGIUNGIPROCESSO, IDC_CMDELIMINAPROCESSO},
    {ListKind::WindowTitles, IDC_LSTVFINESTREVIETATE, IDC_TXTFINESTRA, IDC_CMDAGGIUNGIFINESTRA,
     IDC_CMDELIMINAFINESTRA},
}};

constexpr std::array<InfoButton, 10> kInfoButtons = {
    InfoButton::SiteEntry,    InfoButton::BlockDownloads,          InfoButton::InternalBrowser,
    InfoButton::ForbiddenWindows, InfoButton::SiteList,               InfoButton::HideNotices,
    InfoButton::HomePage, InfoButton::ForbiddenProcesses, InfoButton::MaxProtection,
    InfoButton::Printer};

// The navigation bar's buttons, in the order of their keys in the language file.
constexpr std::array<int, 8> kBarCommands = {IDC_BNR_FIRST, IDC_BNR_PREVIOUS, IDC_BNR_NEXT,   IDC_BNR_LAST,
                                             IDC_BNR_NEW,   IDC_BNR_SAVE,     IDC_BNR_DELETE, IDC_BNR_CANCEL};

struct State {
    ProfileFormContext& context;
    ProfileEditor editor;
    std::unique_ptr<DialogTranslation> translation;
    std::array<std::wstring, kBarCommands.size()> barTips;
    std::size_t printerTyped = 0;  // the typed length, to complete only while typing forward
    bool showing = false;          // the controls are being filled from the model
};

std::string text(HWND dialog, int id) { return windowText(GetDlgItem(dialog, id)); }
void setText(HWND dialog, int id, const std::string& value) { setWindowText(GetDlgItem(dialog, id), value); }
void check(HWND dialog, int id, bool on) { CheckDlgButton(dialog, id, on ? BST_CHECKED : BST_UNCHECKED); }
bool checked(HWND dialog, int id) { return IsDlgButtonChecked(dialog, id) == BST_CHECKED; }
void enable(HWND dialog, int id, bool on) { EnableWindow(GetDlgItem(dialog, id), on ? TRUE : FALSE); }

void setupBar(HWND dialog, State& st) {
    HWND bar = GetDlgItem(dialog, IDC_BNRPROFILI);
    SendMessageW(bar, TB_BUTTONSTRUCTSIZE, sizeof(TBBUTTON), 0);
    SendMessageW(bar, TB_SETBITMAPSIZE, 0, MAKELPARAM(0, 0));
    SendMessageW(bar, TB_SETEXTENDEDSTYLE, 0, TBSTYLE_EX_MIXEDBUTTONS);
    Language& lang = st.context.language;
    std::array<TBBUTTON, kBarCommands.size()> buttons{};
    std::array<std::wstring, kBarCommands.size()> captions;
    for (std::size_t i = 0; i < kBarCommands.size(); ++i) {
        const std::string key = "bnrProfili(" + std::to_string(i) + ")";
        captions[i] = toWide(lang.formValue(kFormName, key + ".Caption"));
        st.barTips[i] = toWide(lang.formValue(kFormName, key + ".ToolTipText"));
        buttons[i].iBitmap = I_IMAGENONE;
        buttons[i].idCommand = kBarCommands[i];
        buttons[i].fsState = TBSTATE_ENABLED;
        buttons[i].fsStyle = BTNS_BUTTON | BTNS_AUTOSIZE | BTNS_SHOWTEXT;
        buttons[i].iString = reinterpret_cast<INT_PTR>(captions[i].c_str());
    }
    SendMessageW(bar, TB_ADDBUTTONSW, buttons.size(), reinterpret_cast<LPARAM>(buttons.data()));
}

void setupLists(HWND dialog, State& st) {
    for (const ListControls& c : kLists) {
        HWND list = GetDlgItem(dialog, c.list);
        ListView_SetExtendedListViewStyle(list, LVS_EX_FULLROWSELECT | LVS_EX_GRIDLINES);
        RECT r{};
        GetClientRect(list, &r);
        std::wstring heading = toWide(st.context.language.messageText(ProfileEditor::listHeading(c.kind)));
        LVCOLUMNW col{};
        col.mask = LVCF_TEXT | LVCF_WIDTH;
        col.pszText = heading.data();
        // The whole view less a vertical scroll bar, so no horizontal one appears.
        col.cx = r.right - GetSystemMetrics(SM_CXVSCROLL);
        ListView_InsertColumn(list, 0, &col);
    }
}

void fillPrinters(HWND dialog) {
    HWND combo = GetDlgItem(dialog, IDC_CMBSTAMPANTI);
    for (const std::string& name : machine().printers().installed()) {
        SendMessageW(combo, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(toWide(name).c_str()));
    }
}

void fillList(HWND dialog, const ListControls& c, const std::vector<core::ListRow>& rows) {
    HWND list = GetDlgItem(dialog, c.list);
    SendMessageW(list, WM_SETREDRAW, FALSE, 0);
    ListView_DeleteAllItems(list);
    int n = 0;
    for (const auto& row : rows) {
        std::wstring value = toWide(row.text);
        LVITEMW item{};
        item.mask = LVIF_TEXT;
        item.iItem = n++;
        item.pszText = value.data();
        ListView_InsertItem(list, &item);
    }
    SendMessageW(list, WM_SETREDRAW, TRUE, 0);
    InvalidateRect(list, nullptr, TRUE);
}

// What changes the profile: shown, but not offered, while a file manages it.
constexpr std::array kEditingControls = {
    IDC_TXTPROFILO,          IDC_TXTPAGINAPREDEFINITA,   IDC_CMBSTAMPANTI,        IDC_OPTMODALITA0,
    IDC_OPTMODALITA1,        IDC_OPTMODALITA2,           IDC_CHKBLOCCADOWNLOAD,   IDC_CHKNOMESSAGGI,
    IDC_CHKTUTTOSCHERMO,     IDC_CHKUTILIZZABROWSERINTERNO, IDC_LBLBROWSERINTERNO, IDC_OPTSITI0,
    IDC_OPTSITI1,            IDC_TXTSITO,                IDC_CMDAGGIUNGISITO,     IDC_CMDELIMINASITO,
    IDC_TXTPROCESSO,         IDC_CMDAGGIUNGIPROCESSO,    IDC_CMDELIMINAPROCESSO,  IDC_TXTFINESTRA,
    IDC_CMDAGGIUNGIFINESTRA, IDC_CMDELIMINAFINESTRA};

void showManaged(HWND dialog, const ProfileEditor& ed) {
    const bool editable = !ed.managed();
    for (const int id : kEditingControls) enable(dialog, id, editable);
    enable(dialog, IDC_CHKPROTEZIONEAVANZATA, editable && ed.maxProtectionEnabled());
    HWND bar = GetDlgItem(dialog, IDC_BNRPROFILI);
    SendMessageW(bar, TB_ENABLEBUTTON, IDC_BNR_SAVE, editable);
    SendMessageW(bar, TB_ENABLEBUTTON, IDC_BNR_DELETE, editable);
    setText(dialog, IDC_LBLGESTITO, ed.managedNotice());
    ShowWindow(GetDlgItem(dialog, IDC_LBLGESTITO), editable ? SW_HIDE : SW_SHOW);
}

// The controls from the model, after every action.
void show(HWND dialog, State& st) {
    st.showing = true;
    ProfileEditor& ed = st.editor;
    const profiles::ProfileRecord& r = ed.record();
    setText(dialog, IDC_TXTPROFILO, r.name);
    setText(dialog, IDC_TXTSTATO, ed.statusText());
    setText(dialog, IDC_TXTPAGINAPREDEFINITA, r.homePage);
    setText(dialog, IDC_CMBSTAMPANTI, r.printer);
    const profiles::Mode mode = r.mode();
    check(dialog, IDC_OPTMODALITA0, mode == profiles::Mode::Kiosk);
    check(dialog, IDC_OPTMODALITA1, mode == profiles::Mode::NoStart);
    check(dialog, IDC_OPTMODALITA2, mode == profiles::Mode::Normal);
    check(dialog, IDC_CHKBLOCCADOWNLOAD, r.blockDownloads);
    check(dialog, IDC_CHKNOMESSAGGI, r.hideMessages);
    check(dialog, IDC_CHKUTILIZZABROWSERINTERNO, r.internalBrowser);
    ShowWindow(GetDlgItem(dialog, IDC_LBLBROWSERINTERNO), ed.internalBrowserLabelVisible() ? SW_SHOW : SW_HIDE);
    check(dialog, IDC_CHKTUTTOSCHERMO, r.fullScreen);
    check(dialog, IDC_OPTSITI0, r.forbiddenList);
    check(dialog, IDC_OPTSITI1, !r.forbiddenList);
    setText(dialog, IDC_FRALISTASITI, st.context.language.messageText(ed.siteFrameCaption()));
    check(dialog, IDC_CHKPROTEZIONEAVANZATA, r.maxProtection);
    enable(dialog, IDC_CHKPROTEZIONEAVANZATA, ed.maxProtectionEnabled());
    enable(dialog, IDC_PCTINFOPROTEZIONEMASSIMA, ed.maxProtectionEnabled());
    for (const ListControls& c : kLists) {
        fillList(dialog, c, ed.list(c.kind));
        setText(dialog, c.box, ed.entryBox(c.kind));
    }
    HWND bar = GetDlgItem(dialog, IDC_BNRPROFILI);
    SendMessageW(bar, TB_ENABLEBUTTON, IDC_BNR_FIRST, ed.canMovePrevious());
    SendMessageW(bar, TB_ENABLEBUTTON, IDC_BNR_PREVIOUS, ed.canMovePrevious());
    SendMessageW(bar, TB_ENABLEBUTTON, IDC_BNR_NEXT, ed.canMoveNext());
    SendMessageW(bar, TB_ENABLEBUTTON, IDC_BNR_LAST, ed.canMoveNext());
    enable(dialog, IDC_CMDESPORTA, ed.importExportEnabled());
    enable(dialog, IDC_CMDIMPORTA, ed.importExportEnabled());
    showManaged(dialog, ed);
    st.showing = false;
}

// What was typed, into the model, before every action.
void collect(HWND dialog, State& st) {
    profiles::ProfileRecord& r = st.editor.record();
    r.name = text(dialog, IDC_TXTPROFILO);
    r.homePage = text(dialog, IDC_TXTPAGINAPREDEFINITA);
    r.printer = text(dialog, IDC_CMBSTAMPANTI);
    for (const ListControls& c : kLists) st.editor.entryBox(c.kind) = text(dialog, c.box);
}

void focusOn(HWND dialog, int id) {
    SendMessageW(dialog, WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(GetDlgItem(dialog, id)), TRUE);
}

void focusRefusal(HWND dialog, const State& st) {
    switch (st.editor.focus()) {
        case ProfileEditor::Focus::Name: focusOn(dialog, IDC_TXTPROFILO); break;
        case ProfileEditor::Focus::SiteBox: focusOn(dialog, IDC_TXTSITO); break;
        case ProfileEditor::Focus::ProcessBox: focusOn(dialog, IDC_TXTPROCESSO); break;
        case ProfileEditor::Focus::WindowBox: focusOn(dialog, IDC_TXTFINESTRA); break;
        case ProfileEditor::Focus::None: break;
    }
}

void barCommand(HWND dialog, State& st, int id) {
    ProfileEditor& ed = st.editor;
    switch (id) {
        case IDC_BNR_FIRST: ed.moveFirst(); break;
        case IDC_BNR_PREVIOUS: ed.movePrevious(); break;
        case IDC_BNR_NEXT: ed.moveNext(); break;
        case IDC_BNR_LAST: ed.moveLast(); break;
        case IDC_BNR_NEW: {
            // With Ctrl held, the new profile starts as a copy of the one shown.
            const bool copy = (GetKeyState(VK_CONTROL) & 0x8000) != 0 && !ed.isNew();
            ed.addNew(copy ? ed.record().id : std::nullopt);
            break;
        }
        case IDC_BNR_SAVE: ed.save(); break;
        case IDC_BNR_DELETE: ed.deleteCurrent(); break;
        case IDC_BNR_CANCEL: ed.cancel(); break;
        default: return;
    }
    show(dialog, st);
    focusRefusal(dialog, st);
}

// cmdEsporta and cmdImporta: the profile as shown goes out; one that comes
// in is a new profile, shown at once.
void exchangeCommand(HWND dialog, State& st, int id) {
    Win32FileDialogs files(dialog);
    profiles::ProfileExchange exchange(st.context.db, st.context.dialogs, st.context.language,
                                       &machine().printers());
    if (id == IDC_CMDESPORTA) {
        (void)exchange.exportWithDialog(files, profiles::shownProfile(st.editor));  // it shows its own messages
        return;
    }
    long long imported = 0;
    if (exchange.importWithDialog(files, &imported) != profiles::ProfileExchange::Result::Done) return;
    st.editor.moveTo(imported);
    show(dialog, st);
}

const ListControls* listWithButton(int id) {
    for (const ListControls& c : kLists) {
        if (id == c.add || id == c.remove) return &c;
    }
    return nullptr;
}

void listCommand(HWND dialog, State& st, const ListControls& c, int id) {
    if (id == c.add) {
        st.editor.addEntry(c.kind);
    } else {
        const int row = ListView_GetNextItem(GetDlgItem(dialog, c.list), -1, LVNI_SELECTED);
        if (row < 0) return;
        st.editor.deleteEntry(c.kind, static_cast<std::size_t>(row));
    }
    show(dialog, st);
    focusRefusal(dialog, st);
}

// The switches act on the record at once; the form shows what they enable.
bool switchCommand(HWND dialog, State& st, int id) {
    profiles::ProfileRecord& r = st.editor.record();
    switch (id) {
        case IDC_OPTMODALITA0: r.setMode(profiles::Mode::Kiosk); break;
        case IDC_OPTMODALITA1: r.setMode(profiles::Mode::NoStart); break;
        case IDC_OPTMODALITA2: r.setMode(profiles::Mode::Normal); break;
        case IDC_CHKBLOCCADOWNLOAD: r.blockDownloads = checked(dialog, id); break;
        case IDC_CHKNOMESSAGGI: r.hideMessages = checked(dialog, id); break;
        case IDC_CHKUTILIZZABROWSERINTERNO: r.internalBrowser = checked(dialog, id); break;
        case IDC_LBLBROWSERINTERNO: st.editor.clickInternalBrowserLabel(); break;
        case IDC_CHKTUTTOSCHERMO: r.fullScreen = checked(dialog, id); break;
        case IDC_CHKPROTEZIONEAVANZATA: r.maxProtection = checked(dialog, id); break;
        case IDC_OPTSITI0: st.editor.setForbiddenList(true); break;
        case IDC_OPTSITI1: st.editor.setForbiddenList(false); break;
        default: return false;
    }
    show(dialog, st);
    return true;
}

// Typing in the printers' box opens the list and completes the name from it.
void printerTyped(HWND dialog, State& st) {
    HWND combo = GetDlgItem(dialog, IDC_CMBSTAMPANTI);
    const std::wstring typed = toWide(windowText(combo));
    const bool forward = typed.size() > st.printerTyped;
    st.printerTyped = typed.size();
    if (typed.empty()) return;
    // What follows changes the box itself: not typing.
    st.showing = true;
    struct Done {
        bool& flag;
        ~Done() { flag = false; }
    } done{st.showing};
    if (!SendMessageW(combo, CB_GETDROPPEDSTATE, 0, 0)) {
        SendMessageW(combo, CB_SHOWDROPDOWN, TRUE, 0);
        // Opening the list puts its selection in the box: the typing comes first.
        SetWindowTextW(combo, typed.c_str());
    }
    if (!forward) return;
    const LRESULT at = SendMessageW(combo, CB_FINDSTRING, static_cast<WPARAM>(-1), reinterpret_cast<LPARAM>(typed.c_str()));
    if (at == CB_ERR) {
        SendMessageW(combo, CB_SETEDITSEL, 0, MAKELPARAM(typed.size(), typed.size()));
        return;
    }
    SendMessageW(combo, CB_SETCURSEL, static_cast<WPARAM>(at), 0);
    SendMessageW(combo, CB_SETEDITSEL, 0, MAKELPARAM(typed.size(), -1));
}

// Enter in an input field moves on, as Tab does. (On a push button the
// dialog manager presses it and no IDOK comes.)
void enterPressed(HWND dialog) { SendMessageW(dialog, WM_NEXTDLGCTL, 0, FALSE); }

std::vector<NamedControl> namedControls() {
    return {{IDC_PRO_LBLPROFILO, "lblProfilo"},
            {IDC_TXTPROFILO, "txtCasellaInserimento", 1},
            {IDC_TXTSTATO, "txtStato"},
            {IDC_LBLPAGINAPREDEFINITA, "lblPaginaPredefinita"},
            {IDC_TXTPAGINAPREDEFINITA, "txtCasellaInserimento", 2},
            {IDC_LBLSTAMPANTI, "lblStampantePredefinita"},
            {IDC_CMBSTAMPANTI, "cmbStampanti"},
            {IDC_FRAMODALITA, "fraModalita"},
            {IDC_OPTMODALITA0, "optModalita", 0},
            {IDC_OPTMODALITA1, "optModalita", 1},
            {IDC_OPTMODALITA2, "optModalita", 2},
            {IDC_FRAOPZIONI, "fraOpzioni"},
            {IDC_CHKBLOCCADOWNLOAD, "chkBloccaDownload"},
            {IDC_CHKNOMESSAGGI, "chkNoMessaggi"},
            {IDC_CHKUTILIZZABROWSERINTERNO, "chkUtilizzaBrowserInterno"},
            {IDC_LBLBROWSERINTERNO, "lblBrowserInterno"},
            {IDC_CHKTUTTOSCHERMO, "chkTuttoSchermo"},
            {IDC_FRALISTASITI, "fraListaSiti"},
            {IDC_OPTSITI0, "optSiti", 0},
            {IDC_OPTSITI1, "optSiti", 1},
            {IDC_CHKPROTEZIONEAVANZATA, "chkProtezioneAvanzata"},
            {IDC_TXTSITO, "txtSito"},
            {IDC_CMDAGGIUNGISITO, "cmdAggiungiSito"},
            {IDC_CMDELIMINASITO, "cmdEliminaSito"},
            {IDC_FRAPROCESSI, "fraProcessiVietati"},
            {IDC_TXTPROCESSO, "txtProcesso"},
            {IDC_CMDAGGIUNGIPROCESSO, "cmdAggiungiProcesso"},
            {IDC_CMDELIMINAPROCESSO, "cmdEliminaProcesso"},
            {IDC_FRAFINESTRE, "fraFinestreVietate"},
            {IDC_TXTFINESTRA, "txtFinestra"},
            {IDC_CMDAGGIUNGIFINESTRA, "cmdAggiungiFinestra"},
            {IDC_CMDELIMINAFINESTRA, "cmdEliminaFinestra"},
            {IDC_PCTINFOAGGIUNGISITO, "pctInfoAggiungiSito"},
            {IDC_PCTINFOBLOCCADOWNLOAD, "pctInfoBloccaDownload"},
            {IDC_PCTINFOBROWSERINTERNO, "pctInfoBrowserInterno"},
            {IDC_PCTINFOFINESTREVIETATE, "pctInfoFinestreVietate"},
            {IDC_PCTINFOLISTASITI, "pctInfoListaSiti"},
            {IDC_PCTINFONOMESSAGGI, "pctInfoNoMessaggi"},
            {IDC_PCTINFOPAGINAINIZIALEPREDEFINITA, "pctInfoPaginaInizialePredefinita"},
            {IDC_PCTINFOPROCESSIVIETATI, "pctInfoProcessiVietati"},
            {IDC_PCTINFOPROTEZIONEMASSIMA, "pctInfoProtezioneMassima"},
            {IDC_PCTINFOSTAMPANTEPREDEFINITA, "pctInfoStampantePredefinita"},
            {IDC_PRO_CMDESCI, "cmdEsci"},
            {IDC_CMDESPORTA, "cmdEsporta"},
            {IDC_CMDIMPORTA, "cmdImporta"}};
}

INT_PTR command(HWND dialog, State& st, int id, int code) {
    if (id == IDC_CMBSTAMPANTI) {
        if (code == CBN_EDITUPDATE && !st.showing) printerTyped(dialog, st);
        return TRUE;
    }
    if (id >= IDC_PCTINFOAGGIUNGISITO && id <= IDC_PCTINFOSTAMPANTEPREDEFINITA) {
        st.editor.showInfo(kInfoButtons[static_cast<std::size_t>(id - IDC_PCTINFOAGGIUNGISITO)]);
        return TRUE;
    }
    switch (id) {
        case IDOK:
            enterPressed(dialog);
            return TRUE;
        case IDCANCEL:
        case IDC_PRO_CMDESCI:
            EndDialog(dialog, IDCANCEL);
            return TRUE;
        default: break;
    }
    if (code != BN_CLICKED && code != STN_CLICKED) return FALSE;
    collect(dialog, st);
    if (id >= IDC_BNR_FIRST && id <= IDC_BNR_CANCEL) {
        barCommand(dialog, st, id);
        return TRUE;
    }
    if (id == IDC_CMDESPORTA || id == IDC_CMDIMPORTA) {
        exchangeCommand(dialog, st, id);
        return TRUE;
    }
    if (const ListControls* c = listWithButton(id)) {
        listCommand(dialog, st, *c, id);
        return TRUE;
    }
    return switchCommand(dialog, st, id) ? TRUE : FALSE;
}

INT_PTR notify(State& st, const NMHDR& header) {
    if (header.code != TTN_GETDISPINFOW) return FALSE;
    auto& info = const_cast<NMTTDISPINFOW&>(reinterpret_cast<const NMTTDISPINFOW&>(header));
    for (std::size_t i = 0; i < kBarCommands.size(); ++i) {
        if (static_cast<int>(info.hdr.idFrom) == kBarCommands[i]) {
            info.lpszText = st.barTips[i].data();
            return TRUE;
        }
    }
    return FALSE;
}

INT_PTR handle(HWND dialog, State& state, UINT msg, WPARAM wp, LPARAM lp) {
    State* const st = &state;
    switch (msg) {
        case WM_INITDIALOG:
            st->translation = std::make_unique<DialogTranslation>(dialog, kFormName, namedControls());
            st->translation->apply(st->context.language);
            setupBar(dialog, *st);
            setupLists(dialog, *st);
            fillPrinters(dialog);
            st->editor.setManagedSource(profiles::readManagedSource(machine().registry()).path);
            st->editor.load();
            show(dialog, *st);
            keepAboveOwner(dialog);
            return TRUE;
        case WM_COMMAND:
            return command(dialog, *st, LOWORD(wp), HIWORD(wp));
        case WM_NOTIFY:
            return notify(*st, *reinterpret_cast<const NMHDR*>(lp));
        case WM_DESTROY:
            st->translation.reset();
            return FALSE;
        default:
            return FALSE;
    }
}

}  // namespace

void showProfileForm(HWND owner, ProfileFormContext& context) {
    State state{context, ProfileEditor(context.db, context.dialogs, context.language), nullptr, {}, 0, false};
    showModal<State, &handle>(owner, IDD_FRMPROFILI, state);
}

}  // namespace ombrix::win32

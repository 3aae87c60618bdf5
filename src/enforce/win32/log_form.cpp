#include "enforce/win32/log_form.h"

#include <commctrl.h>

#include <memory>

#include "enforce/site_log.h"
#include "enforce/win32/log_form_ids.h"
#include "platform/win32/handles.h"
#include "platform/win32/wide.h"
#include "support/language.h"
#include "support/messages.h"
#include "support/win32/dialog_procedure.h"
#include "support/win32/dialog_translation.h"

namespace ombrix::win32 {
namespace {

constexpr UINT kShowWhenVisible = WM_APP + 1;

struct State {
    LogFormContext& context;
    std::unique_ptr<DialogTranslation> translation;
    UniqueFont listFont;
};

// "YYYY-MM-DD HH:MM:SS" as the viewer shows it: "dd/mm/yyyy HH:MM:SS".
std::string displayDateTime(const std::string& stored) {
    if (stored.size() < 10 || stored[4] != '-' || stored[7] != '-') return stored;
    std::string out = stored.substr(8, 2) + "/" + stored.substr(5, 2) + "/" + stored.substr(0, 4);
    if (stored.size() > 10) out += stored.substr(10);
    return out;
}

void setupList(HWND dialog, State& st) {
    HWND list = GetDlgItem(dialog, IDC_LISTEXPORTSITIVISITATI);
    ListView_SetExtendedListViewStyle(list, LVS_EX_FULLROWSELECT | LVS_EX_GRIDLINES);
    // The list's own font, 9 points at the screen's DPI, so that rows of
    // long addresses stay readable at 144 DPI as at 96.
    LOGFONTW lf{};
    lf.lfHeight = -MulDiv(9, GetDeviceCaps(WindowDc(dialog).get(), LOGPIXELSY), 72);
    wcscpy(lf.lfFaceName, L"Segoe UI");
    st.listFont.reset(CreateFontIndirectW(&lf));
    SendMessageW(list, WM_SETFONT, reinterpret_cast<WPARAM>(st.listFont.get()), TRUE);
    const auto headings = enforce::logListHeadings(st.context.language);
    RECT r{};
    GetClientRect(list, &r);
    const int firstWidth = MulDiv(r.right, 32, 100);
    for (std::size_t i = 0; i < headings.size(); ++i) {
        std::wstring text = toWide(headings[i]);
        LVCOLUMNW col{};
        col.mask = LVCF_TEXT | LVCF_WIDTH;
        col.pszText = text.data();
        col.cx = i == 0 ? firstWidth : r.right - firstWidth - GetSystemMetrics(SM_CXVSCROLL);
        ListView_InsertColumn(list, static_cast<int>(i), &col);
    }
}

void fill(HWND dialog, const std::vector<enforce::LogRow>& rows) {
    HWND list = GetDlgItem(dialog, IDC_LISTEXPORTSITIVISITATI);
    SendMessageW(list, WM_SETREDRAW, FALSE, 0);
    ListView_DeleteAllItems(list);
    int n = 0;
    for (const auto& row : rows) {
        std::wstring when = toWide(displayDateTime(row.dateTime));
        std::wstring url = toWide(row.url);
        LVITEMW item{};
        item.mask = LVIF_TEXT;
        item.iItem = n;
        item.pszText = when.data();
        const int at = ListView_InsertItem(list, &item);
        ListView_SetItemText(list, at, 1, url.data());
        ++n;
    }
    SendMessageW(list, WM_SETREDRAW, TRUE, 0);
    InvalidateRect(list, nullptr, TRUE);
}

void exclamation(State& st, MessageId id) {
    st.context.dialogs.messageBox({id, st.context.language.messageText(id), "Ombrix",
                                   platform::MessageIcon::Exclamation, platform::MessageButtons::Ok});
}

void exclamation(State& st, MessageId id, const std::string& detail) {
    st.context.dialogs.messageBox({id, st.context.language.messageText(id) + " " + detail, "Ombrix",
                                   platform::MessageIcon::Exclamation, platform::MessageButtons::Ok});
}

// The log's connection; a log that cannot be opened is told, with why.
core::Database* logFile(State& st) {
    core::Database* log = st.context.log.connection();
    if (!log) exclamation(st, st.context.log.opening().messageId(), st.context.log.opening().detail());
    return log;
}

bool confirm(State& st, MessageId id, const std::string& question) {
    return st.context.dialogs.messageBox({id, question, "Ombrix", platform::MessageIcon::Exclamation,
                                          platform::MessageButtons::YesNo}) == platform::MessageAnswer::Yes;
}

void show(HWND dialog, State& st) {
    const std::string from = windowText(GetDlgItem(dialog, IDC_TXTDATADA));
    const std::string to = windowText(GetDlgItem(dialog, IDC_TXTDATAA));
    const enforce::LogRangeCheck check = enforce::checkLogRange(from, to);
    if (check.message) {
        exclamation(st, check.message);
        return;
    }
    core::Database* log = logFile(st);
    if (!log) {
        fill(dialog, {});
        return;
    }
    if (const auto rows = enforce::readLog(*log, check.from, check.to)) {
        fill(dialog, *rows);
    } else {
        fill(dialog, {});
        exclamation(st, msg::LogCannotBeRead, log->lastError());
    }
}

INT_PTR handle(HWND dialog, State& state, UINT msg, WPARAM wp, LPARAM) {
    State* const st = &state;
    switch (msg) {
        case WM_INITDIALOG: {
            st->translation = std::make_unique<DialogTranslation>(
                dialog, "frmLogSiti",
                std::vector<NamedControl>{{IDC_CHKLOGSITI, "chkLogSiti"},
                                          {IDC_LBLDATADA, "lblDataDa"},
                                          {IDC_TXTDATADA, "txtDataDa"},
                                          {IDC_LBLDATAA, "lblDataA"},
                                          {IDC_TXTDATAA, "txtDataA"},
                                          {IDC_CMDVISUALIZZA, "cmdVisualizza"},
                                          {IDC_CMDSVUOTALOGSITI, "cmdSvuotaLogSiti"},
                                          {IDC_LOG_CMDESCI, "cmdEsci"}});
            st->translation->apply(st->context.language);
            const std::string today = enforce::displayLogDate(enforce::logDateOf(st->context.clock.now()));
            setWindowText(GetDlgItem(dialog, IDC_TXTDATADA), today);
            setWindowText(GetDlgItem(dialog, IDC_TXTDATAA), today);
            CheckDlgButton(dialog, IDC_CHKLOGSITI, st->context.logSwitch ? BST_CHECKED : BST_UNCHECKED);
            setupList(dialog, *st);
            // A log that cannot be opened is told once the viewer is on
            // screen, so that the message stands over it.
            if (st->context.log.connection()) {
                show(dialog, *st);
            } else {
                PostMessageW(dialog, kShowWhenVisible, 0, 0);
            }
            keepAboveOwner(dialog);
            return TRUE;
        }
        case kShowWhenVisible:
            // The dialog box would be shown once the queue is idle: shown
            // and painted now, before the message covers it.
            ShowWindow(dialog, SW_SHOW);
            UpdateWindow(dialog);
            show(dialog, *st);
            return TRUE;
        case WM_COMMAND:
            switch (LOWORD(wp)) {
                case IDOK:
                case IDC_CMDVISUALIZZA:
                    show(dialog, *st);
                    return TRUE;
                case IDC_CHKLOGSITI: {
                    if (HIWORD(wp) != BN_CLICKED) return FALSE;
                    const bool on = IsDlgButtonChecked(dialog, IDC_CHKLOGSITI) == BST_CHECKED;
                    const std::string question = enforce::logSwitchQuestion(st->context.language);
                    if (confirm(*st, msg::LogSwitchChanging, question) && enforce::writeLogSwitch(st->context.db, on)) {
                        if (st->context.onLogSwitchChanged) st->context.onLogSwitchChanged(on);
                    } else {
                        CheckDlgButton(dialog, IDC_CHKLOGSITI, on ? BST_UNCHECKED : BST_CHECKED);
                    }
                    return TRUE;
                }
                case IDC_CMDSVUOTALOGSITI:
                    if (confirm(*st, msg::LogClearDeletesAll, enforce::clearLogQuestion(st->context.language))) {
                        if (core::Database* log = logFile(*st)) {
                            if (enforce::clearLog(*log)) {
                                fill(dialog, {});
                            } else {
                                exclamation(*st, msg::LogCannotBeWritten, log->lastError());
                            }
                        }
                    }
                    return TRUE;
                case IDCANCEL:
                case IDC_LOG_CMDESCI:
                    EndDialog(dialog, IDCANCEL);
                    return TRUE;
                default:
                    return FALSE;
            }
        case WM_DESTROY:
            st->translation.reset();
            st->listFont.reset();
            return FALSE;
        default:
            return FALSE;
    }
}

}  // namespace

void showLogForm(HWND owner, LogFormContext& context) {
    State state{context, nullptr, {}};
    showModal<State, &handle>(owner, IDD_FRMLOGSITI, state);
}

}  // namespace ombrix::win32

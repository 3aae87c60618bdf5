#pragma once
// The profile editor (frmProfili) without its window: the record navigation
// over Profili, the record's fields, the three lists, the entry rules, the
// save and delete checks and their messages. The form shows what this holds
// and forwards what the user does; `ombrixctl` drives the same object.
//
// A form drives it so: each button, option or check box calls the member
// of the same name, then the form shows record(), the lists, the boxes and
// what is enabled afresh. A save (and a copy's lists) is complete when
// save() returns, so the form needs no one-shot timers to finish it.
//
// Every refusal leaves the store unchanged. Store failures are shown as
// msg::StoreWriteFailed with the store's message; nothing throws.

#include <array>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/database.h"
#include "core/profile_switches.h"
#include "core/store.h"
#include "platform/dialogs.h"
#include "support/messages.h"

namespace ombrix {
class Language;
}

namespace ombrix::profiles {

using core::ListKind;

// optModalita: kiosk wins over the start-button flag wherever both are read.
enum class Mode { Kiosk = 0, NoStart = 1, Normal = 2 };

// One row of Profili as the form shows it: its name, how its site list
// reads, and the switches the program puts in force with it.
struct ProfileRecord : core::ProfileSwitches {
    std::optional<long long> id;  // empty while a new record is not saved
    std::string name;             // Profilo
    bool forbiddenList = true;    // SitiProibiti: false reads the site list as an allowed list

    [[nodiscard]] Mode mode() const;
    void setMode(Mode mode);
    bool operator==(const ProfileRecord&) const = default;
};

// The columns of Profili a record writes, in the order of profileValues.
[[nodiscard]] std::string profileColumns();
// The update of a record's columns; it binds the identifier last.
[[nodiscard]] std::string profileUpdate();
// The insert of a record with its identifier first, then profileValues, then
// `extra` columns whose values are the SQL in `extraValues`.
[[nodiscard]] std::string profileInsert(std::string_view extra = {}, std::string_view extraValues = {});
[[nodiscard]] std::vector<core::Value> profileValues(const ProfileRecord& r);

// The info pictures, each one message box of its texts joined by line breaks.
enum class InfoButton {
    SiteEntry,
    BlockDownloads,
    InternalBrowser,
    ForbiddenWindows,
    SiteList,
    HideNotices,
    HomePage,
    ForbiddenProcesses,
    MaxProtection,
    Printer
};
[[nodiscard]] std::span<const MessageId> infoMessageIds(InfoButton button);

// ---- The entry rules, shared by the form, the command line and the import.

// A rule's verdict on one typed entry.
struct EntryVerdict {
    enum class Kind { Accept, Ignore, Refuse } kind = Kind::Accept;
    std::string value;                  // what is stored on Accept (or would be, when known)
    std::vector<MessageId> messages;    // the refusal's texts, joined by line breaks
};

// The longest text a box takes, blanks included (refused beyond): far more
// than any site, program or title, and a bound for what is read from a file.
inline constexpr std::size_t kMaxEntryBytes = 64 * 1024;

// Every box refuses text that is too long or cannot be typed (a control
// character, a NUL, bytes that are not UTF-8), and ignores an empty one.
//
// The site box: trimmed; "http://" put in front unless the text begins with
// http, file, ftp, about: or outlook (compared exactly) or with "." or "*";
// an entry that then matches every address ("http://", "www.", "*", "*.",
// ".") is refused, with the value it would have had.
[[nodiscard]] EntryVerdict siteEntry(std::string_view typed);
// The process box: trimmed; a path is refused, so is a name not ending
// exactly in ".exe".
[[nodiscard]] EntryVerdict processEntry(std::string_view typed);
// The window-title box: trimmed, nothing else.
[[nodiscard]] EntryVerdict windowEntry(std::string_view typed);
[[nodiscard]] EntryVerdict entryVerdict(ListKind kind, std::string_view typed);

// The home page as saved: kept when it names a program
// (core::homePageIsProgram), otherwise "http://" in front unless it begins
// with http, ftp, file:/// or about:.
[[nodiscard]] std::string normalisedHomePage(std::string_view homePage);
// Whether an allowed list lets this home page through, by the rule the
// enforcement applies (a program as home page is never judged; a built-in
// page such as about:blank is, so an empty list lets no page through).
[[nodiscard]] bool homePageAllowed(std::string_view homePage, const std::vector<std::string>& sites);

// The silent add of the import: no message, a duplicate or an empty value
// skipped.
core::InsertResult addSilently(core::Database& db, ListKind kind, long long profileId, std::string_view value);

// Adds entries to one list of one profile inside the caller's transaction,
// each once: one already in the list, or added before (as the store
// compares text), is a duplicate. However many are added, memory stays
// small: the entries seen are kept in a temporary table of the store.
class ListInserter {
public:
    ListInserter(core::Database& db, ListKind kind, long long profileId);
    ListInserter(const ListInserter&) = delete;
    ListInserter& operator=(const ListInserter&) = delete;
    ~ListInserter();
    [[nodiscard]] bool ready() const { return ready_; }
    enum class Added { Added, Duplicate, Failed };
    [[nodiscard]] Added add(std::string_view value);
    // Drops the temporary table; before the caller commits.
    [[nodiscard]] bool finish();

private:
    core::Database& db_;
    long long profileId_;
    std::string seenTable_;
    core::Statement seen_, insert_;
    bool ready_ = false;
    bool finished_ = false;
};

// Many entries of one list added or removed at once, in one transaction,
// each through its rule. With any refused line nothing changes.
struct BulkRefusal {
    std::size_t line;  // 1-based
    std::string entry;
    std::vector<MessageId> messages;
};
struct BulkRefusals {
    std::vector<BulkRefusal> refusals;  // the first thousand
    void refuse(std::size_t line, std::string_view entry, std::vector<MessageId> messages);
};
// Adding: duplicates (in the store or earlier in the input) are skipped and
// counted.
struct BulkResult : BulkRefusals {
    bool storeFailed = false;
    std::string storeError;
    std::size_t added = 0;
    std::size_t duplicates = 0;
    std::size_t ignored = 0;  // empty lines
    [[nodiscard]] bool ok() const { return !storeFailed && refusals.empty(); }
};
// `next` gives one line at a time and false at the end.
BulkResult addEntries(core::Database& db, ListKind kind, long long profileId,
                      const std::function<bool(std::string& line)>& next);

// Removing: each entry must be in the list, compared as the store compares
// text, as given or (a site) as its rule would store it; one that cannot be
// typed is refused.
struct RemoveResult : BulkRefusals {
    bool storeFailed = false;
    std::string storeError;
    std::size_t removed = 0;
    std::vector<std::size_t> missing;  // 1-based lines
    [[nodiscard]] bool ok() const { return !storeFailed && missing.empty() && refusals.empty(); }
};
RemoveResult removeEntries(core::Database& db, ListKind kind, long long profileId,
                           const std::function<bool(std::string& line)>& next);

// ---- The editor.

class ProfileEditor {
public:
    ProfileEditor(core::Database& db, platform::Dialogs& dialogs, Language& language);

    enum class Outcome {
        Done,      // stored (or moved)
        Ignored,   // nothing to do (an empty box, no selection)
        Declined,  // the user answered No
        Refused,   // a rule refused, with its message shown
        Failed     // the store failed, with msg::StoreWriteFailed shown
    };
    // Where a refusal puts the focus.
    enum class Focus { None, Name, SiteBox, ProcessBox, WindowBox };

    // Loads the profiles and lands on the first (a new record when there is none).
    Outcome load();

    // ---- bnrProfili
    Outcome moveFirst();
    Outcome movePrevious();
    Outcome moveNext();
    Outcome moveLast();
    // A new record named msg::NewProfileName; with `copyOf`, a copy of that
    // profile's switches, and its lists follow when the copy is first saved.
    Outcome addNew(std::optional<long long> copyOf = std::nullopt);
    // Lands on the profile with this identifier.
    Outcome moveTo(long long id);
    // The before-save checks, then the write; a new record gets its identifier.
    Outcome save();
    // The before-delete check (refused while Clienti names it), then the three
    // lists and the row in one transaction.
    Outcome deleteCurrent();
    // Drops unsaved changes: the record as stored, or the one shown before New.
    Outcome cancel();

    [[nodiscard]] std::size_t count() const { return ids_.size(); }
    // 0-based among the stored profiles; count() while on a new record.
    [[nodiscard]] std::size_t position() const { return position_; }
    [[nodiscard]] bool canMovePrevious() const { return position_ > 0; }
    [[nodiscard]] bool canMoveNext() const { return !isNew() && position_ + 1 < ids_.size(); }

    // ---- The record and what it enables.
    [[nodiscard]] ProfileRecord& record() { return record_; }
    [[nodiscard]] const ProfileRecord& record() const { return record_; }
    [[nodiscard]] bool isNew() const { return !record_.id.has_value(); }
    // txtStato: on a new record the language file's word for it
    // (txtStato.Tag, "Nuovo"), else empty.
    [[nodiscard]] std::string statusText() const;
    [[nodiscard]] bool importExportEnabled() const { return !isNew(); }
    // optSiti: the list mode and the frame caption; maximum protection (and
    // its info button) is offered only with a forbidden list.
    void setForbiddenList(bool forbidden);
    [[nodiscard]] bool maxProtectionEnabled() const { return record_.forbiddenList; }
    // lblBrowserInterno is shown while the internal browser is on; a click
    // on it toggles the check box.
    [[nodiscard]] bool internalBrowserLabelVisible() const { return record_.internalBrowser; }
    void clickInternalBrowserLabel() { record_.internalBrowser = !record_.internalBrowser; }
    // fraListaSiti's caption now: the one of the last move, or the option
    // group's after it was clicked.
    [[nodiscard]] MessageId siteFrameCaption() const { return frameCaption_; }
    // The profile names in store order, for a copy's source or a combo.
    [[nodiscard]] std::vector<std::pair<long long, std::string>> profiles() const;

    // ---- The lists and the entry boxes.
    [[nodiscard]] const std::vector<core::ListRow>& list(ListKind kind) const { return lists_[index(kind)]; }
    // The column heading's message.
    [[nodiscard]] static MessageId listHeading(ListKind kind);
    // txtSito, txtProcesso, txtFinestra: the form writes what was typed and
    // shows what is left after an add.
    [[nodiscard]] std::string& entryBox(ListKind kind) { return boxes_[index(kind)]; }
    // cmdAggiungiSito, cmdAggiungiProcesso, cmdAggiungiFinestra.
    Outcome addEntry(ListKind kind);
    // cmdElimina...: the item at `row` of the list, after the question.
    Outcome deleteEntry(ListKind kind, std::size_t row);

    // The pctInfo pictures.
    void showInfo(InfoButton button);

    [[nodiscard]] Focus focus() const { return focus_; }

    // A managed profile (imported from the file Group Policy names) is
    // shown, never changed: save, delete and the lists refuse with
    // msg::ProfileManaged, followed by `source` (the policy's path).
    void setManagedSource(std::string source) { managedSource_ = std::move(source); }
    [[nodiscard]] bool managed() const { return managed_; }
    // The refusal's text while a managed profile is shown, else "".
    [[nodiscard]] std::string managedNotice() const;

private:
    static std::size_t index(ListKind kind) { return static_cast<std::size_t>(kind); }
    bool reloadIds();
    Outcome landOn(std::size_t position, MessageId forbiddenCaption, MessageId allowedCaption);
    enum class Read { Found, Missing, Failed };
    Read readRecord(long long id, ProfileRecord& into);
    void reloadLists();
    void setCaption(MessageId forbiddenCaption, MessageId allowedCaption);
    Outcome refuse(std::vector<MessageId> ids, Focus focus);
    bool managedNow();
    Outcome refuseManaged();
    Outcome storeFailed();
    bool ask(MessageId messageId, const std::string& text);
    std::string text(MessageId id) const;
    std::string joined(std::span<const MessageId> ids) const;

    core::Database& db_;
    platform::Dialogs& dialogs_;
    Language& language_;
    std::vector<long long> ids_;
    std::size_t position_ = 0;
    std::size_t beforeNew_ = 0;
    std::optional<long long> copyOf_;
    ProfileRecord record_;
    std::array<std::vector<core::ListRow>, 3> lists_;
    std::array<std::string, 3> boxes_;
    MessageId frameCaption_;
    Focus focus_ = Focus::None;
    bool managed_ = false;
    std::string managedSource_;
};

}  // namespace ombrix::profiles

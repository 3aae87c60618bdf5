#include "profiles/profile_editor.h"

#include <algorithm>

#include "core/profile_switches.h"
#include "core/settings_reg.h"
#include "core/site_entry.h"
#include "platform/text.h"
#include "profiles/managed_profiles.h"
#include "support/language.h"
#include "support/messages.h"

namespace ombrix::profiles {
namespace {

using core::Statement;
using core::Value;
using Verdict = EntryVerdict::Kind;

Value idValue(long long id) { return Value(static_cast<std::int64_t>(id)); }

bool endsWith(std::string_view text, std::string_view tail) {
    return text.size() >= tail.size() && text.substr(text.size() - tail.size()) == tail;
}

// The question asked before an entry is stored, and before one is deleted.
struct ListTexts {
    MessageId addQuestion[2];
    MessageId deleteQuestion[2];
    MessageId unsaved;  // the refusal while the record has no identifier
};
constexpr ListTexts kListTexts[3] = {
    {{msg::AddProcessQuestion, msg::AddProcessQuestionEnd},
     {msg::DeleteProcessQuestion, msg::DeleteProcessQuestionEnd},
     msg::SaveProfileBeforeProcesses},
    {{msg::AddWindowQuestion, msg::AddWindowQuestionEnd},
     {msg::DeleteWindowQuestion, msg::DeleteWindowQuestionEnd},
     msg::SaveProfileBeforeWindows},
    {{msg::AddSiteQuestion, msg::AddSiteQuestionEnd},
     {msg::DeleteSiteQuestion, msg::DeleteSiteQuestionEnd},
     msg::SaveProfileBeforeSites},
};
const ListTexts& listTexts(ListKind kind) { return kListTexts[static_cast<std::size_t>(kind)]; }

EntryVerdict accept(std::string value) { return {Verdict::Accept, std::move(value), {}}; }
EntryVerdict ignore() { return {Verdict::Ignore, {}, {}}; }
EntryVerdict refuse(std::vector<MessageId> ids) { return {Verdict::Refuse, {}, std::move(ids)}; }

// What every box refuses first: too long, or not typeable; nullopt for
// text the box's own rule may judge.
std::optional<EntryVerdict> unusable(std::string_view typed, std::string_view trimmed) {
    if (typed.size() > kMaxEntryBytes) return refuse({msg::TextTooLong});
    if (trimmed.empty()) return ignore();
    if (!typeableText(trimmed)) return refuse({msg::TextNotTypeable});
    return std::nullopt;
}
}  // namespace

std::vector<Value> profileValues(const ProfileRecord& r) {
    std::vector<Value> values{Value(r.name), Value::boolean(r.forbiddenList)};
    core::appendSwitchValues(r, values);
    return values;
}

std::string profileColumns() {
    std::string columns = "Profilo, SitiProibiti";
    for (const char* column : core::kSwitchColumns) columns += std::string(", ") + column;
    return columns;
}

std::string profileUpdate() {
    std::string sql = "UPDATE Profili SET Profilo = ?, SitiProibiti = ?";
    for (const char* column : core::kSwitchColumns) sql += std::string(", ") + column + " = ?";
    return sql + " WHERE IDProfilo = ?;";
}

std::string profileInsert(std::string_view extra, std::string_view extraValues) {
    std::string sql = "INSERT INTO Profili (IDProfilo, " + profileColumns();
    std::string values = "?, ?, ?";
    for (std::size_t i = 0; i < std::size(core::kSwitchColumns); ++i) values += ", ?";
    if (!extra.empty()) {
        sql += std::string(", ") + std::string(extra);
        values += std::string(", ") + std::string(extraValues);
    }
    return sql + ") VALUES (" + values + ");";
}

Mode ProfileRecord::mode() const {
    if (kiosk) return Mode::Kiosk;
    return startDisabled ? Mode::NoStart : Mode::Normal;
}

void ProfileRecord::setMode(Mode mode) {
    kiosk = mode == Mode::Kiosk;
    startDisabled = mode == Mode::NoStart;
}

std::span<const MessageId> infoMessageIds(InfoButton button) {
    switch (button) {
        case InfoButton::SiteEntry: return msg::InfoSiteEntry;
        case InfoButton::BlockDownloads: return msg::InfoBlockDownloads;
        case InfoButton::InternalBrowser: return msg::InfoInternalBrowser;
        case InfoButton::ForbiddenWindows: return msg::InfoForbiddenWindows;
        case InfoButton::SiteList: return msg::InfoSiteList;
        case InfoButton::HideNotices: return msg::InfoHideNotices;
        case InfoButton::HomePage: return msg::InfoHomePage;
        case InfoButton::ForbiddenProcesses: return msg::InfoForbiddenProcesses;
        case InfoButton::MaxProtection: return msg::InfoMaxProtection;
        case InfoButton::Printer: break;
    }
    return msg::InfoPrinter;
}

EntryVerdict siteEntry(std::string_view typed) {
    std::string text(trimBlanks(typed));
    if (auto v = unusable(typed, text)) return *v;
    // Compared exactly: "HTTP://x" gets a second, lower-case scheme in front.
    const bool keep = text.starts_with("http") || text.starts_with("file") || text.starts_with("ftp") ||
                      text.starts_with("about:") || text.starts_with("outlook") || text.front() == '.' ||
                      text.front() == '*';
    if (!keep) text = "http://" + text;
    // "." and "*" alone among them: they name no site.
    if (core::matchesEveryAddress(text)) return {Verdict::Refuse, std::move(text), {msg::EntryMatchesEveryAddress}};
    return accept(std::move(text));
}

EntryVerdict processEntry(std::string_view typed) {
    const std::string text(trimBlanks(typed));
    if (auto v = unusable(typed, text)) return *v;
    if (text.find_first_of(":/\\") != std::string::npos) return refuse({msg::ProcessFileNameOnly});
    // Case-sensitive on purpose: "NOTEPAD.EXE" is refused here, though the
    // import lowers it first.
    if (!endsWith(text, ".exe")) {
        return refuse({msg::ProcessNameInvalid, msg::ProcessNameEndsInExe, msg::ProcessNameExample});
    }
    return accept(text);
}

EntryVerdict windowEntry(std::string_view typed) {
    const std::string text(trimBlanks(typed));
    if (auto v = unusable(typed, text)) return *v;
    return accept(text);
}

EntryVerdict entryVerdict(ListKind kind, std::string_view typed) {
    switch (kind) {
        case ListKind::Processes: return processEntry(typed);
        case ListKind::WindowTitles: return windowEntry(typed);
        case ListKind::Sites: break;
    }
    return siteEntry(typed);
}

std::string normalisedHomePage(std::string_view homePage) {
    const std::string page(trimBlanks(homePage));
    if (page.empty() || core::homePageIsProgram(page)) return page;
    // Not the site list's exemptions: "file:///" needs its three slashes and
    // "outlook" gets the prefix.
    const bool keep = page.starts_with("http") || page.starts_with("ftp") || page.starts_with("file:///") ||
                      page.starts_with("about:");
    return keep ? page : "http://" + page;
}

bool homePageAllowed(std::string_view homePage, const std::vector<std::string>& sites) {
    const std::string_view page = trimBlanks(homePage);
    // A built-in page (about:blank) is judged as any other: an allowed list
    // must name the home page, so an empty one refuses every page.
    if (page.empty() || core::homePageIsProgram(page)) return true;
    // Empty entries never reach the enforcement's list, so they allow nothing.
    return std::any_of(sites.begin(), sites.end(),
                       [&](const std::string& e) { return !e.empty() && core::matchesEntry(page, e); });
}

core::InsertResult addSilently(core::Database& db, ListKind kind, long long profileId, std::string_view value) {
    return core::insertListEntry(db, kind, profileId, value);
}

ListInserter::ListInserter(core::Database& db, ListKind kind, long long profileId)
    : db_(db), profileId_(profileId),
      seenTable_("temp.ombrix_seen_" + std::to_string(static_cast<int>(kind))) {
    const core::ListTable& t = core::listTable(kind);
    // The collation is the connection's, so it may be named in a temporary table.
    ready_ = db.exec("DROP TABLE IF EXISTS " + seenTable_ + ";CREATE TABLE " + seenTable_ +
                     " (v TEXT PRIMARY KEY COLLATE NOCASE_LATIN) WITHOUT ROWID;") &&
             db.run("INSERT OR IGNORE INTO " + seenTable_ + " (v) SELECT " + t.valueColumn + " FROM " + t.table +
                        " WHERE IDProfilo = ? AND " + t.valueColumn + " IS NOT NULL;",
                    {idValue(profileId)});
    if (!ready_) return;
    seen_ = db.prepare("INSERT OR IGNORE INTO " + seenTable_ + " (v) VALUES (?);");
    insert_ = db.prepare(std::string("INSERT INTO ") + t.table + " (" + t.valueColumn + ", IDProfilo) VALUES (?, ?);");
    ready_ = seen_.valid() && insert_.valid();
}

ListInserter::~ListInserter() { (void)finish(); }

bool ListInserter::finish() {
    if (finished_) return true;
    finished_ = true;
    seen_ = Statement();
    insert_ = Statement();
    return db_.exec("DROP TABLE IF EXISTS " + seenTable_ + ";");
}

ListInserter::Added ListInserter::add(std::string_view value) {
    if (!ready_ || finished_) return Added::Failed;
    seen_.reset();
    if (!seen_.bind(1, Value(std::string(value)))) return Added::Failed;
    (void)seen_.step();
    if (seen_.failed()) return Added::Failed;
    if (db_.changes() == 0) return Added::Duplicate;
    insert_.reset();
    if (!insert_.bindAll({Value(std::string(value)), idValue(profileId_)})) return Added::Failed;
    (void)insert_.step();
    return insert_.failed() ? Added::Failed : Added::Added;
}

BulkResult addEntries(core::Database& db, ListKind kind, long long profileId,
                      const std::function<bool(std::string& line)>& next) {
    BulkResult result;
    const auto fail = [&] {
        result.storeFailed = true;
        result.storeError = db.lastError();
        return result;
    };
    core::Transaction tx(db);
    if (!tx.active()) return fail();
    ListInserter inserter(db, kind, profileId);
    if (!inserter.ready()) return fail();

    std::string line;
    std::size_t number = 0;
    while (next(line)) {
        ++number;
        EntryVerdict v = entryVerdict(kind, line);
        if (v.kind == Verdict::Ignore) {
            ++result.ignored;
            continue;
        }
        if (v.kind == Verdict::Refuse) {
            result.refuse(number, line, std::move(v.messages));
            continue;
        }
        if (!result.refusals.empty()) continue;  // nothing will be stored; only the refusals matter now
        switch (inserter.add(v.value)) {
            case ListInserter::Added::Added: ++result.added; break;
            case ListInserter::Added::Duplicate: ++result.duplicates; break;
            case ListInserter::Added::Failed: return fail();
        }
    }
    if (!result.refusals.empty()) {
        result.added = 0;
        return result;  // rolled back
    }
    if (!inserter.finish() || !tx.commit()) return fail();
    return result;
}

void BulkRefusals::refuse(std::size_t line, std::string_view entry, std::vector<MessageId> messages) {
    // Refusals beyond these are counted in the line numbers only: a wrong
    // file of a million lines must not fill the memory with its report.
    constexpr std::size_t kRefusalsKept = 1000;
    if (refusals.size() < kRefusalsKept) refusals.push_back({line, std::string(entry), std::move(messages)});
}

RemoveResult removeEntries(core::Database& db, ListKind kind, long long profileId,
                           const std::function<bool(std::string& line)>& next) {
    RemoveResult result;
    const auto fail = [&] {
        result.storeFailed = true;
        result.storeError = db.lastError();
        return result;
    };
    const core::ListTable& t = core::listTable(kind);
    core::Transaction tx(db);
    if (!tx.active()) return fail();
    Statement remove = db.prepare(std::string("DELETE FROM ") + t.table + " WHERE IDProfilo = ? AND " +
                                  t.valueColumn + OMBRIX_TEXT_EQUALS ";");
    if (!remove.valid()) return fail();
    const auto removeOne = [&](const std::string& value) {
        remove.reset();
        if (!remove.bindAll({idValue(profileId), Value(value)})) return -1;
        (void)remove.step();
        return remove.failed() ? -1 : db.changes();
    };
    std::string line;
    std::size_t number = 0;
    while (next(line)) {
        ++number;
        const std::string given(trimBlanks(line));
        if (auto v = unusable(line, given); v && v->kind == Verdict::Refuse) {
            result.refuse(number, line, std::move(v->messages));
            continue;
        }
        int n = given.empty() ? 0 : removeOne(given);
        if (n == 0 && kind == ListKind::Sites) {
            const EntryVerdict v = siteEntry(given);
            if (v.kind == Verdict::Accept && v.value != given) n = removeOne(v.value);
        }
        if (n < 0) return fail();
        if (n == 0) result.missing.push_back(number);
        result.removed += static_cast<std::size_t>(n);
    }
    if (!result.ok()) {
        result.removed = 0;
        return result;  // rolled back
    }
    if (!tx.commit()) return fail();
    return result;
}

// ---- ProfileEditor

ProfileEditor::ProfileEditor(core::Database& db, platform::Dialogs& dialogs, Language& language)
    : db_(db), dialogs_(dialogs), language_(language) {}

MessageId ProfileEditor::listHeading(ListKind kind) { return core::listTable(kind).headingMessage; }

std::string ProfileEditor::text(MessageId id) const { return language_.messageText(id); }

std::string ProfileEditor::statusText() const {
    return isNew() ? language_.formValue("frmProfili", "txtStato.Tag") : std::string();
}

std::string ProfileEditor::joined(std::span<const MessageId> ids) const {
    std::string out;
    for (const MessageId id : ids) {
        if (!out.empty()) out += "\n";
        out += text(id);
    }
    return out;
}

ProfileEditor::Outcome ProfileEditor::refuse(std::vector<MessageId> ids, Focus focus) {
    focus_ = focus;
    dialogs_.messageBox({ids.front(), joined(ids), std::string(core::kProgramTitle),
                         platform::MessageIcon::Exclamation, platform::MessageButtons::Ok});
    return Outcome::Refused;
}

bool ProfileEditor::managedNow() {
    // Asked at each write: the file may have made the profile managed since it was shown.
    return record_.id && profileManaged(db_, *record_.id).value_or(false);
}

std::string ProfileEditor::managedNotice() const {
    if (!managed_) return {};
    std::string notice = text(msg::ProfileManaged);
    if (!managedSource_.empty()) notice += " " + managedSource_;
    return notice;
}

ProfileEditor::Outcome ProfileEditor::refuseManaged() {
    managed_ = true;
    focus_ = Focus::None;
    dialogs_.messageBox({msg::ProfileManaged, managedNotice(), std::string(core::kProgramTitle),
                         platform::MessageIcon::Exclamation, platform::MessageButtons::Ok});
    return Outcome::Refused;
}

ProfileEditor::Outcome ProfileEditor::storeFailed() {
    dialogs_.messageBox({msg::StoreWriteFailed, text(msg::StoreWriteFailed) + " " + db_.lastError(),
                         std::string(core::kProgramTitle), platform::MessageIcon::Critical,
                         platform::MessageButtons::Ok});
    return Outcome::Failed;
}

bool ProfileEditor::ask(MessageId messageId, const std::string& question) {
    return dialogs_.messageBox({messageId, question, std::string(core::kProgramTitle),
                                platform::MessageIcon::Exclamation, platform::MessageButtons::YesNo}) ==
           platform::MessageAnswer::Yes;
}

bool ProfileEditor::reloadIds() {
    Statement q = db_.prepare("SELECT IDProfilo FROM Profili ORDER BY rowid;");
    std::vector<long long> ids;
    while (q.step()) ids.push_back(q.column(0).toInteger());
    if (!q.valid() || q.failed()) return false;
    ids_ = std::move(ids);
    return true;
}

std::vector<std::pair<long long, std::string>> ProfileEditor::profiles() const {
    std::vector<std::pair<long long, std::string>> out;
    Statement q = db_.prepare("SELECT IDProfilo, Profilo FROM Profili ORDER BY rowid;");
    while (q.step()) out.emplace_back(q.column(0).toInteger(), core::valueOrDefault(q.column(1)).toText());
    return out;
}

ProfileEditor::Read ProfileEditor::readRecord(long long id, ProfileRecord& into) {
    Statement q = db_.prepare("SELECT " + profileColumns() + " FROM Profili WHERE IDProfilo = ?;");
    if (!q.valid() || !q.bind(1, idValue(id))) return Read::Failed;
    if (!q.step()) return q.failed() ? Read::Failed : Read::Missing;
    ProfileRecord r;
    static_cast<core::ProfileSwitches&>(r) = core::switchesAt(q, 2);
    r.id = id;
    r.name = core::valueOrDefault(q.column(0)).toText();
    r.forbiddenList = q.column(1).toBool();
    into = std::move(r);
    return Read::Found;
}

void ProfileEditor::reloadLists() {
    for (const ListKind kind : {ListKind::Processes, ListKind::WindowTitles, ListKind::Sites}) {
        lists_[index(kind)] = record_.id ? core::loadListRows(db_, kind, *record_.id) : std::vector<core::ListRow>{};
    }
}

void ProfileEditor::setCaption(MessageId forbiddenCaption, MessageId allowedCaption) {
    frameCaption_ = record_.forbiddenList ? forbiddenCaption : allowedCaption;
}

void ProfileEditor::setForbiddenList(bool forbidden) {
    record_.forbiddenList = forbidden;
    setCaption(msg::ListCaptionForbiddenAfterOptionClick, msg::ListCaptionAllowedAfterOptionClick);
}

ProfileEditor::Outcome ProfileEditor::landOn(std::size_t position, MessageId forbiddenCaption,
                                             MessageId allowedCaption) {
    focus_ = Focus::None;
    if (ids_.empty()) return addNew();
    position = std::min(position, ids_.size() - 1);
    ProfileRecord r;
    Read read = readRecord(ids_[position], r);
    if (read == Read::Missing) {
        // Deleted under us (by ombrixctl, say): read the profiles again.
        if (!reloadIds()) return storeFailed();
        if (ids_.empty()) return addNew();
        position = std::min(position, ids_.size() - 1);
        read = readRecord(ids_[position], r);
    }
    if (read != Read::Found) return storeFailed();
    position_ = position;
    record_ = std::move(r);
    managed_ = profileManaged(db_, *record_.id).value_or(false);
    copyOf_.reset();
    boxes_[index(ListKind::Sites)].clear();
    boxes_[index(ListKind::Processes)].clear();
    reloadLists();
    setCaption(forbiddenCaption, allowedCaption);
    return Outcome::Done;
}

ProfileEditor::Outcome ProfileEditor::load() {
    if (!reloadIds()) return storeFailed();
    return landOn(0, msg::ListCaptionForbiddenAfterLoad, msg::ListCaptionAllowedAfterLoad);
}

ProfileEditor::Outcome ProfileEditor::moveFirst() {
    return landOn(0, msg::ListCaptionForbiddenAfterMoveFirst, msg::ListCaptionAllowedAfterMoveFirst);
}
ProfileEditor::Outcome ProfileEditor::movePrevious() {
    // From a new record (placed after the last) this is the last one.
    return landOn(position_ == 0 ? 0 : position_ - 1, msg::ListCaptionForbiddenAfterMovePrevious,
                  msg::ListCaptionAllowedAfterMovePrevious);
}
ProfileEditor::Outcome ProfileEditor::moveNext() {
    return landOn(isNew() ? position_ : position_ + 1, msg::ListCaptionForbiddenAfterMoveNext,
                  msg::ListCaptionAllowedAfterMoveNext);
}
ProfileEditor::Outcome ProfileEditor::moveLast() {
    return landOn(ids_.empty() ? 0 : ids_.size() - 1, msg::ListCaptionForbiddenAfterMoveLast,
                  msg::ListCaptionAllowedAfterMoveLast);
}

ProfileEditor::Outcome ProfileEditor::moveTo(long long id) {
    if (!reloadIds()) return storeFailed();
    const auto it = std::find(ids_.begin(), ids_.end(), id);
    if (it == ids_.end()) return Outcome::Ignored;
    return landOn(static_cast<std::size_t>(it - ids_.begin()), msg::ListCaptionForbiddenAfterLoad,
                  msg::ListCaptionAllowedAfterLoad);
}

ProfileEditor::Outcome ProfileEditor::addNew(std::optional<long long> copyOf) {
    focus_ = Focus::None;
    ProfileRecord r;
    if (copyOf && readRecord(*copyOf, r) != Read::Found) return storeFailed();
    if (!isNew()) beforeNew_ = position_;
    r.id.reset();
    r.name = text(msg::NewProfileName);
    record_ = std::move(r);
    managed_ = false;
    copyOf_ = copyOf;
    position_ = ids_.size();
    for (auto& box : boxes_) box.clear();
    reloadLists();
    setCaption(msg::ListCaptionForbiddenOnNew, msg::ListCaptionAllowedOnNew);
    return Outcome::Done;
}

ProfileEditor::Outcome ProfileEditor::cancel() {
    if (isNew()) {
        copyOf_.reset();
        if (ids_.empty()) return addNew();
        return landOn(beforeNew_, msg::ListCaptionForbiddenAfterCancelOrDelete,
                      msg::ListCaptionAllowedAfterCancelOrDelete);
    }
    return landOn(position_, msg::ListCaptionForbiddenAfterCancelOrDelete, msg::ListCaptionAllowedAfterCancelOrDelete);
}

ProfileEditor::Outcome ProfileEditor::save() {
    focus_ = Focus::None;
    if (managedNow()) return refuseManaged();
    const std::string name(trimBlanks(record_.name));
    if (name.empty()) return refuse({msg::ProfileNameBlank, msg::EnterProfileNameBeforeSaving}, Focus::Name);
    if (!typeableText(name)) return refuse({msg::TextNotTypeable}, Focus::Name);

    Statement taken = db_.prepare("SELECT IDProfilo FROM Profili WHERE Profilo" OMBRIX_TEXT_EQUALS
                                  " AND (? IS NULL OR IDProfilo <> ?) LIMIT 1;");
    const Value self = record_.id ? idValue(*record_.id) : Value::null();
    if (!taken.valid() || !taken.bindAll({Value(name), self, self})) return storeFailed();
    if (taken.step()) return refuse({msg::ProfileNameTaken}, Focus::Name);
    if (taken.failed()) return storeFailed();

    record_.homePage = normalisedHomePage(record_.homePage);
    if (!typeableText(record_.homePage) || !typeableText(record_.printer)) {
        return refuse({msg::TextNotTypeable}, Focus::None);
    }
    if (!record_.forbiddenList && !record_.homePage.empty()) {
        // A copy is judged by the list it is about to take.
        const std::vector<core::ListRow> rows =
            copyOf_ && isNew() ? core::loadListRows(db_, ListKind::Sites, *copyOf_) : list(ListKind::Sites);
        std::vector<std::string> sites;
        for (const auto& row : rows) sites.push_back(row.text);
        if (!homePageAllowed(record_.homePage, sites)) {
            return refuse({msg::HomePageNotAllowed, msg::AddSiteOrChooseHomePage}, Focus::None);
        }
    }

    ProfileRecord toWrite = record_;
    toWrite.name = name;
    core::Transaction tx(db_);
    if (!tx.active()) return storeFailed();
    long long id = 0;
    if (toWrite.id) {
        id = *toWrite.id;
        std::vector<Value> values = profileValues(toWrite);
        values.push_back(idValue(id));
        if (!db_.run(profileUpdate(), values)) {
            return storeFailed();
        }
    } else {
        const Value next = db_.scalar("SELECT COALESCE(MAX(IDProfilo), 0) + 1 FROM Profili;");
        if (next.isEmpty()) return storeFailed();
        id = next.toInteger();
        std::vector<Value> values{idValue(id)};
        const std::vector<Value> fields = profileValues(toWrite);
        values.insert(values.end(), fields.begin(), fields.end());
        if (!db_.run(profileInsert(), values)) {
            return storeFailed();
        }
        // A copy takes its source's lists with the new identifier, in their order.
        if (copyOf_) {
            for (const ListKind kind : {ListKind::Processes, ListKind::Sites, ListKind::WindowTitles}) {
                const core::ListTable& t = core::listTable(kind);
                const std::string column = t.valueColumn;
                if (!db_.run("INSERT INTO " + std::string(t.table) + " (" + column + ", IDProfilo) SELECT " + column +
                                 ", ? FROM " + t.table + " WHERE IDProfilo = ? AND " + column + " IS NOT NULL AND " +
                                 column + " <> '' ORDER BY rowid;",
                             {idValue(id), idValue(*copyOf_)})) {
                    return storeFailed();
                }
            }
        }
    }
    if (!tx.commit()) return storeFailed();
    copyOf_.reset();
    if (!reloadIds()) return storeFailed();
    const auto it = std::find(ids_.begin(), ids_.end(), id);
    return landOn(static_cast<std::size_t>(it - ids_.begin()), msg::ListCaptionForbiddenAfterSave,
                  msg::ListCaptionAllowedAfterSave);
}

ProfileEditor::Outcome ProfileEditor::deleteCurrent() {
    if (isNew()) return cancel();
    if (managedNow()) return refuseManaged();
    const long long id = *record_.id;
    Statement assigned = db_.prepare("SELECT 1 FROM Clienti WHERE IDProfilo = ? LIMIT 1;");
    if (!assigned.valid() || !assigned.bind(1, idValue(id))) return storeFailed();
    if (assigned.step()) return refuse({msg::ProfileStillAssigned}, Focus::None);
    if (assigned.failed()) return storeFailed();
    core::Transaction tx(db_);
    if (!tx.active()) return storeFailed();
    for (const char* table : {"ProcessiVietati", "SitiVietatiConsentiti", "NomiFinestreVietate", "Profili"}) {
        if (!db_.run(std::string("DELETE FROM ") + table + " WHERE IDProfilo = ?;", {idValue(id)})) {
            return storeFailed();
        }
    }
    if (!tx.commit()) return storeFailed();
    if (!reloadIds()) return storeFailed();
    return landOn(position_, msg::ListCaptionForbiddenAfterCancelOrDelete, msg::ListCaptionAllowedAfterCancelOrDelete);
}

ProfileEditor::Outcome ProfileEditor::addEntry(ListKind kind) {
    focus_ = Focus::None;
    std::string& box = entryBox(kind);
    const EntryVerdict v = entryVerdict(kind, box);
    if (v.kind == Verdict::Ignore) {
        if (kind == ListKind::Sites) box = std::string(trimBlanks(box));
        return Outcome::Ignored;
    }
    // The site box shows the entry as it would be stored.
    if (kind == ListKind::Sites && !v.value.empty()) box = v.value;
    const Focus focus = kind == ListKind::Sites       ? Focus::SiteBox
                        : kind == ListKind::Processes ? Focus::ProcessBox
                                                      : Focus::WindowBox;
    if (isNew()) {
        box.clear();
        return refuse({listTexts(kind).unsaved}, focus);
    }
    if (managedNow()) return refuseManaged();
    if (v.kind == Verdict::Refuse) {
        // A path is cleared; a name with the wrong ending stays to be corrected.
        if (v.messages.front() == msg::ProcessFileNameOnly) box.clear();
        return refuse(v.messages, focus);
    }
    const auto& q = listTexts(kind).addQuestion;
    if (!ask(q[0], text(q[0]) + " " + v.value + " " + text(q[1]))) return Outcome::Declined;
    const core::InsertResult r = core::insertListEntryInteractive(db_, dialogs_, language_, kind, *record_.id, v.value,
                                                                  [&] { reloadLists(); });
    box.clear();
    switch (r) {
        case core::InsertResult::Inserted: return Outcome::Done;
        case core::InsertResult::Duplicate: return Outcome::Refused;
        case core::InsertResult::EmptyValue: return Outcome::Ignored;
        case core::InsertResult::Failed: break;
    }
    return storeFailed();
}

ProfileEditor::Outcome ProfileEditor::deleteEntry(ListKind kind, std::size_t row) {
    focus_ = Focus::None;
    const auto& rows = list(kind);
    if (isNew() || row >= rows.size() || rows[row].text.empty()) return Outcome::Ignored;
    if (managedNow()) return refuseManaged();
    const core::ListRow item = rows[row];
    const auto& q = listTexts(kind).deleteQuestion;
    if (!ask(q[0], text(q[0]) + " " + item.text + " " + text(q[1]))) return Outcome::Declined;
    const core::ListTable& t = core::listTable(kind);
    if (!db_.run(std::string("DELETE FROM ") + t.table + " WHERE " + t.idColumn + " = ? AND IDProfilo = ?;",
                 {idValue(item.id), idValue(*record_.id)})) {
        return storeFailed();
    }
    reloadLists();
    return Outcome::Done;
}

void ProfileEditor::showInfo(InfoButton button) {
    const std::span<const MessageId> ids = infoMessageIds(button);
    dialogs_.messageBox({ids.front(), joined(ids), std::string(core::kProgramTitle),
                         platform::MessageIcon::Information, platform::MessageButtons::Ok});
}

}  // namespace ombrix::profiles

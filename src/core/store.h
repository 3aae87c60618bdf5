#pragma once
// The store's generic helpers: one-field reads and updates, the identifier
// generator, and the inserts and loaders of the three per-profile lists.

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/database.h"
#include "core/value.h"
#include "platform/dialogs.h"

namespace ombrix {
class Language;
}

namespace ombrix::core {

// A WHERE clause with its bound values, e.g. {"IDProfilo = ?", {id}}. The
// single options row is addressed with kOptionsRow.
struct Condition {
    std::string sql;
    std::vector<Value> params;
};
inline const Condition kOptionsRow{"1 = 1", {}};

// The first matching row's value of one column; Empty when no row matches or
// the read fails. Table and column must be plain names.
[[nodiscard]] Value ReadField(Database& db, std::string_view table, std::string_view column,
                              const std::optional<Condition>& where = std::nullopt);

// Sets the column of the first matching row. Never inserts: false when no row
// matches, or the names are not plain, or the write fails.
[[nodiscard]] bool UpdateField(Database& db, std::string_view table, std::string_view column, const Value& value,
                               const Condition& where);

// A free identifier: prefix, zero padding to `width` characters, then the
// first free number at or above (row count + start), or `start` in an empty
// table. "" when the table cannot be read.
[[nodiscard]] std::string nextFreeId(Database& db, std::string_view table, std::string_view column,
                                   std::string_view prefix, long long start = 1, int width = 12);

// The three lists of a profile.
enum class ListKind { Processes, WindowTitles, Sites };

struct ListTable {
    ListKind kind;
    const char* table;
    const char* idColumn;
    const char* valueColumn;
    platform::MessageId duplicateMessage;  // shown when the value is already in the list
    platform::MessageId headingMessage;    // the editor list's column heading
};
[[nodiscard]] const ListTable& listTable(ListKind kind);

enum class InsertResult { Inserted, Duplicate, EmptyValue, Failed };

// The silent insert used by the profile import: duplicate test (case
// ignored, as the store compares text), then the insert. Empty values are
// never stored.
[[nodiscard]] InsertResult insertListEntry(Database& db, ListKind kind, long long profileId,
                                           std::string_view value);

// One member per list, as the editor and the import call them.
InsertResult insertForbiddenProcessSilently(Database& db, long long profileId, std::string_view value);
InsertResult insertForbiddenWindowSilently(Database& db, long long profileId, std::string_view value);
InsertResult insertSiteSilently(Database& db, long long profileId, std::string_view value);

// The editor's insert: as above, then on a duplicate the list's message
// (duplicateMessage) with the exclamation icon, and after an insert
// `reload` (the editor refills its list).
InsertResult insertListEntryInteractive(Database& db, platform::Dialogs& dialogs, Language& language, ListKind kind,
                                        long long profileId, std::string_view value,
                                        const std::function<void()>& reload);

// One row of an editor list: the value, and the key "_" + row identifier
// (the underscore keeps the key from being numeric).
struct ListRow {
    std::string text;
    std::string key;
    long long id = 0;
};

// The rows of one list of a profile, in store order.
[[nodiscard]] std::vector<ListRow> loadListRows(Database& db, ListKind kind, long long profileId);

}  // namespace ombrix::core

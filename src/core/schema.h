#pragma once
// The store's structure: the delivered empty database, the checks for a
// column or a table, and the upgrade that brings an older file up to date.

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "core/database.h"

namespace ombrix::core {

// The statements that build the delivered empty database.
[[nodiscard]] std::string_view deliveredSchemaSql();

// Writes the delivered empty database to `path`, through `path` + ".new".
// Refuses (false) when either exists; on failure nothing is left behind.
[[nodiscard]] bool createDeliveredDatabase(const std::string& path, std::string* error = nullptr);

// Whether a column of a table, or a table, exists. Names compare exactly.
[[nodiscard]] bool columnExists(Database& db, std::string_view column, std::string_view table);
[[nodiscard]] bool tableExists(Database& db, std::string_view table);

// What the upgrade did.
struct UpgradeResult {
    enum class Outcome { UpToDate, Upgraded, Failed, NotOurStore };
    Outcome outcome = Outcome::UpToDate;
    std::string step;   // Failed: the step that failed
    std::string error;  // Failed, NotOurStore: the store's message, or what is missing
    [[nodiscard]] bool changed() const { return outcome == Outcome::Upgraded; }
};

// The value a column starts with when the upgrade adds it, taken from where
// the program kept that setting before; nullopt leaves it Null.
using CarriedValue = std::function<std::optional<Value>(std::string_view table, std::string_view column)>;

// Adds, in a fixed order, every column and table that later versions
// introduced and the file lacks, widens SitiVietatiConsentiti.Sito to 255
// when it is not, and takes our collation out of the schema. A column added
// to Opzioni starts with what `carried` gives for it. One transaction: the
// first step that fails is reported and nothing changes, so the next start
// tries again from the same state. A file without the base tables of our
// store is refused untouched.
[[nodiscard]] UpgradeResult upgradeToCurrentStructure(Database& db, const CarriedValue& carried = {});

// The declared width of a text column ("TEXT(100)" gives 100); 0 when the
// declaration carries none or the column is missing.
[[nodiscard]] int declaredTextWidth(Database& db, std::string_view table, std::string_view column);

}  // namespace ombrix::core

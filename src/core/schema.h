#pragma once
// The store's structure: the delivered empty database, the checks for a
// column or a table, and the upgrade that brings an older file up to date.

#include <string>
#include <string_view>

#include "core/database.h"

namespace ombrix::core {

// The statements that build the delivered empty database.
[[nodiscard]] std::string_view deliveredSchemaSql();

// Writes the delivered empty database to `path`. Refuses (false) when the
// file exists; on failure nothing is left behind.
[[nodiscard]] bool createDeliveredDatabase(const std::string& path, std::string* error = nullptr);

// Whether a column of a table, or a table, exists. Names compare exactly.
[[nodiscard]] bool VerificaEsistenzaCampo(Database& db, std::string_view column, std::string_view table);
[[nodiscard]] bool VerificaEsistenzaTabella(Database& db, std::string_view table);

// Adds, in a fixed order, every column and table that later versions
// introduced and the file lacks. True when it changed the structure. A step
// that fails is left for the next start.
bool AggiornaDBAVersioneCorrente(Database& db);

// The declared width of a text column ("TEXT(100)" gives 100); 0 when the
// declaration carries none or the column is missing.
[[nodiscard]] int declaredTextWidth(Database& db, std::string_view table, std::string_view column);

}  // namespace ombrix::core

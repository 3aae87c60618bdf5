#pragma once
// The store's copy, kept beside it in the store's folder by whoever writes
// the store (an administrator: a pupil's account can write neither). When
// the store is lost, the program reads the copy, read-only, for the last
// profile's programs and windows; the journal, which the pupil's session
// writes, is never trusted for them.

#include <optional>
#include <string>
#include <string_view>

#include "core/database.h"

namespace ombrix::core {

// "DataBase.db" -> "DataBase.copia.db", beside it.
inline constexpr std::string_view kStoreCopySuffix = ".copia.db";
[[nodiscard]] std::string storeCopyPath(std::string_view storeFile);

// Copies the open store over its copy, as one transaction of the copy, so a
// cut leaves the old copy whole; a copy that is no database is made anew.
// nullopt when done, else the reason.
[[nodiscard]] std::optional<std::string> keepStoreCopy(Database& store);

// Opens the copy of the store file `storeFile` read-only; false when there is
// none or it cannot be read.
[[nodiscard]] bool openStoreCopy(Database& copy, std::string_view storeFile);

}  // namespace ombrix::core

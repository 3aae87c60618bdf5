#pragma once
// Test data and helpers shared by the test suites.
#include <filesystem>
#include <string>
#include <string_view>

#include "core/database.h"
#include "core/password.h"

namespace ombrix::test {

// The statements of the oldest store structure the program upgrades.
std::string_view oldestSchemaSql();

// A fresh folder under the temporary directory, removed with the object.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    [[nodiscard]] std::string file(std::string_view name) const;  // the UTF-8 path of a file inside

private:
    std::filesystem::path path_;
};

// While it lives, new password hashes take a thousand rounds instead of the
// program's work, so that tests which set or renew passwords stay quick.
struct QuickPasswords {
    QuickPasswords() { core::setPasswordWorkForTests(1000); }
    ~QuickPasswords() { core::setPasswordWorkForTests(core::kPasswordIterations); }
    QuickPasswords(const QuickPasswords&) = delete;
    QuickPasswords& operator=(const QuickPasswords&) = delete;
};

// The [Strings] lines of a language file whose every message reads "T<id>",
// so that a joined text shows which identifiers were shown.
std::string numberedTexts();
// Writes bytes to a file, creating folders as needed.
void writeFile(const std::string& path, std::string_view bytes);
// Writes the language file with these [Strings] lines into `dir`; returns the folder.
std::string writeLanguage(const TempDir& dir, const std::string& strings);
// An in-memory store built from the delivered schema, or from the oldest one.
core::Database deliveredStore();
core::Database oldestStore();

}  // namespace ombrix::test

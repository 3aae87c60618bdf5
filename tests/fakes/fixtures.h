#pragma once
// Test data and helpers shared by the test suites.
#include <filesystem>
#include <string>
#include <string_view>

#include "core/database.h"
#include "core/password.h"

namespace ombrix::test {

std::string_view oldestSchemaSql();  // the oldest store structure the program upgrades

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

// While it lives, new password hashes take a thousand rounds, so tests that set passwords stay quick.
struct QuickPasswords {
    QuickPasswords() { core::setPasswordWorkForTests(1000); }
    ~QuickPasswords() { core::setPasswordWorkForTests(core::kPasswordIterations); }
    QuickPasswords(const QuickPasswords&) = delete;
    QuickPasswords& operator=(const QuickPasswords&) = delete;
};

// The [Strings] lines of a language file whose every message reads "T<id>".
std::string numberedTexts();
void writeFile(const std::string& path, std::string_view bytes);  // creating folders as needed
std::string writeLanguage(const TempDir& dir, const std::string& strings);  // [Strings] lines; returns the folder
// An in-memory store built from the delivered schema, or from the oldest one.
core::Database deliveredStore();
core::Database oldestStore();

}  // namespace ombrix::test

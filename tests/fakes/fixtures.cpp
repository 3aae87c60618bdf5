#include "fakes/fixtures.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <fstream>
#include <random>

#include "core/schema.h"
#include "platform/files.h"

namespace ombrix::test {

TempDir::TempDir() {
    static std::atomic<int> counter{0};
    path_ = std::filesystem::temp_directory_path() /
            ("ombrix-test-" + std::to_string(std::random_device{}()) + "-" + std::to_string(counter++));
    std::filesystem::create_directories(path_);
}
TempDir::~TempDir() { std::error_code ec; std::filesystem::remove_all(path_, ec); }
std::string TempDir::file(std::string_view name) const { return pathToUtf8(path_ / pathFromUtf8(name)); }
std::string numberedTexts() {
    std::string lng;
    char line[16];
    for (int id = 1; id <= 439; ++id) lng.append(line, std::snprintf(line, sizeof line, "%04d=T%04d\r\n", id, id));
    return lng;
}
void writeFile(const std::string& path, std::string_view bytes) {
    std::filesystem::create_directories(pathFromUtf8(path).parent_path());
    std::ofstream out(pathFromUtf8(path), std::ios::binary | std::ios::trunc);
    if (!out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()))) ADD_FAILURE() << "cannot write " << path;
}
std::string writeLanguage(const TempDir& dir, const std::string& strings) {
    writeFile(dir.file("italian.lng"), "[Strings]\r\n" + strings);
    return pathToUtf8(dir.path());
}
static core::Database storeFrom(std::string_view sql) {
    core::Database db;
    EXPECT_TRUE(db.open(":memory:", core::Database::Mode::CreateIfMissing)) << db.lastError();
    EXPECT_TRUE(db.exec(sql)) << db.lastError();
    return db;
}
core::Database deliveredStore() { return storeFrom(core::deliveredSchemaSql()); }
core::Database oldestStore() { return storeFrom(oldestSchemaSql()); }

}  // namespace ombrix::test

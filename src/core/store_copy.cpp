#include "core/store_copy.h"

#include <filesystem>
#include <system_error>

#include "platform/files.h"
#include "platform/text.h"

namespace ombrix::core {

std::string storeCopyPath(std::string_view storeFile) {
    constexpr std::string_view extension = ".db";
    std::string_view stem = storeFile;
    if (stem.size() > extension.size() && equalsNoCase(stem.substr(stem.size() - extension.size()), extension)) {
        stem.remove_suffix(extension.size());
    }
    return std::string(stem) + std::string(kStoreCopySuffix);
}

std::optional<std::string> keepStoreCopy(Database& store) {
    if (!store.isOpen()) return std::string("the store is not open");
    const std::string path = storeCopyPath(store.path());
    Database copy;
    if (!copy.open(path, Database::Mode::CreateIfMissing)) {
        // Damaged, or something else under that name: the store's folder is
        // the administrator's, and so is whatever lies there.
        std::error_code ec;
        std::filesystem::remove(pathFromUtf8(path), ec);
        if (!copy.open(path, Database::Mode::CreateIfMissing)) return path + ": " + copy.lastError();
    }
    if (!store.copyTo(copy)) return path + ": " + copy.lastError();
    return std::nullopt;
}

bool openStoreCopy(Database& copy, std::string_view storeFile) {
    const std::string path = storeCopyPath(storeFile);
    std::error_code ec;
    if (!std::filesystem::is_regular_file(pathFromUtf8(path), ec)) return false;
    return copy.open(path, Database::Mode::ReadOnly);
}

}  // namespace ombrix::core

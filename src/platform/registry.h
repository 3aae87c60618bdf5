#pragma once
// The registry, as the program uses it: text and double-word values under the
// current-user and local-machine roots. Key paths use "\" and ignore case.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ombrix::platform {

enum class RegRoot { CurrentUser, LocalMachine };

class Registry {
public:
    virtual ~Registry() = default;
    // A text value as it is, a double-word value in decimal; nullopt when the
    // key or the value is missing or has another type.
    [[nodiscard]] virtual std::optional<std::string> readValue(RegRoot root, std::string_view path,
                                                               std::string_view name) = 0;
    // Both create the key when it is missing; false when nothing was written.
    virtual bool writeString(RegRoot root, std::string_view path, std::string_view name,
                             std::string_view value) = 0;
    virtual bool writeDword(RegRoot root, std::string_view path, std::string_view name,
                            std::uint32_t value) = 0;
    // True when the value is gone afterwards (also when it never existed).
    virtual bool deleteValue(RegRoot root, std::string_view path, std::string_view name) = 0;
    // False only when the key is known to be missing: a key that cannot be
    // opened may still be someone's.
    [[nodiscard]] virtual bool keyExists(RegRoot root, std::string_view path) = 0;
    // Deletes the key only when it holds nothing (no values, no subkeys): a
    // key another program put something in is never ours to delete. True
    // when the key is gone afterwards (also when it never existed).
    virtual bool deleteEmptyKey(RegRoot root, std::string_view path) = 0;
};

}  // namespace ombrix::platform

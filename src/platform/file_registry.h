#pragma once
// A registry kept in a small text file, for the native build where there is
// no registry. Every write is saved at once. Also serves tests: without a
// file it lives in memory only. As in the real one, a key outlives its
// values: writing creates it and every key above it, and only
// deleteEmptyKey removes it.

#include <map>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "platform/registry.h"

namespace ombrix::platform {

class FileRegistry final : public Registry {
public:
    // An empty path keeps everything in memory.
    explicit FileRegistry(std::string path = {});

    std::optional<std::string> readValue(RegRoot root, std::string_view path, std::string_view name) override;
    bool writeString(RegRoot root, std::string_view path, std::string_view name, std::string_view value) override;
    bool writeDword(RegRoot root, std::string_view path, std::string_view name, std::uint32_t value) override;
    bool deleteValue(RegRoot root, std::string_view path, std::string_view name) override;
    bool keyExists(RegRoot root, std::string_view path) override;
    bool deleteEmptyKey(RegRoot root, std::string_view path) override;

private:
    struct Entry {
        bool dword = false;
        std::string value;
    };
    // Keys and names ignore case: stored folded, the original kept aside.
    using Id = std::tuple<int, std::string, std::string>;
    using KeyId = std::pair<int, std::string>;
    static Id makeId(RegRoot root, std::string_view path, std::string_view name);
    static KeyId makeKeyId(RegRoot root, std::string_view path);
    // The key and the keys above it; returns those that were not there.
    std::vector<KeyId> addKeys(const KeyId& key);
    bool put(const Id& id, Entry entry);
    void load();
    bool save() const;

    std::string file_;
    std::map<Id, Entry> values_;
    std::set<KeyId> keys_;
};

// The registry of this machine: the real one on Windows; natively a file
// registry at $OMBRIX_REGISTRY, else ~/.config/ombrix/registry.txt.
Registry& systemRegistry();

}  // namespace ombrix::platform

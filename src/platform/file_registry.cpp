#include "platform/file_registry.h"

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <vector>

#include "platform/files.h"
#include "platform/text.h"

namespace ombrix::platform {
namespace {

// Fields are separated by tabs; backslash escapes tab, newline and itself.
std::string escape(std::string_view s) {
    std::string out;
    for (const char c : s) {
        if (c == '\\') out += "\\\\";
        else if (c == '\t') out += "\\t";
        else if (c == '\n') out += "\\n";
        else if (c == '\r') out += "\\r";
        else out += c;
    }
    return out;
}

std::string unescape(std::string_view s) {
    std::string out;
    for (std::size_t i = 0; i < s.size(); ++i) {
        if (s[i] == '\\' && i + 1 < s.size()) {
            const char n = s[++i];
            out += n == 't' ? '\t' : n == 'n' ? '\n' : n == 'r' ? '\r' : n;
        } else {
            out += s[i];
        }
    }
    return out;
}

std::string normaliseKey(std::string_view path) {
    std::string p = lowerText(path);
    while (!p.empty() && p.back() == '\\') p.pop_back();
    return p;
}

}  // namespace

FileRegistry::FileRegistry(std::string path) : file_(std::move(path)) { load(); }

FileRegistry::Id FileRegistry::makeId(RegRoot root, std::string_view path, std::string_view name) {
    return {root == RegRoot::LocalMachine ? 1 : 0, normaliseKey(path), lowerText(name)};
}

FileRegistry::KeyId FileRegistry::makeKeyId(RegRoot root, std::string_view path) {
    return {root == RegRoot::LocalMachine ? 1 : 0, normaliseKey(path)};
}

std::vector<FileRegistry::KeyId> FileRegistry::addKeys(const KeyId& key) {
    std::vector<KeyId> added;
    const auto& [root, path] = key;
    for (std::size_t end = 0; end != std::string::npos && !path.empty();) {
        end = path.find('\\', end + 1);
        KeyId part{root, path.substr(0, end)};
        if (!part.second.empty() && keys_.insert(part).second) added.push_back(std::move(part));
    }
    return added;
}

std::optional<std::string> FileRegistry::readValue(RegRoot root, std::string_view path, std::string_view name) {
    const auto it = values_.find(makeId(root, path, name));
    if (it == values_.end()) return std::nullopt;
    return it->second.value;
}

bool FileRegistry::writeString(RegRoot root, std::string_view path, std::string_view name, std::string_view value) {
    return put(makeId(root, path, name), {false, std::string(value)});
}

bool FileRegistry::writeDword(RegRoot root, std::string_view path, std::string_view name, std::uint32_t value) {
    return put(makeId(root, path, name), {true, std::to_string(value)});
}

bool FileRegistry::deleteValue(RegRoot root, std::string_view path, std::string_view name) {
    if (values_.erase(makeId(root, path, name)) == 0) return true;
    return save();
}

bool FileRegistry::keyExists(RegRoot root, std::string_view path) { return keys_.count(makeKeyId(root, path)) > 0; }

bool FileRegistry::deleteEmptyKey(RegRoot root, std::string_view path) {
    const KeyId key = makeKeyId(root, path);
    if (!keys_.count(key)) return true;
    const std::string below = key.second + "\\";
    for (const auto& [id, entry] : values_) {
        if (std::get<0>(id) == key.first && std::get<1>(id) == key.second) return false;
    }
    for (const auto& [keyRoot, keyPath] : keys_) {
        if (keyRoot == key.first && keyPath.rfind(below, 0) == 0) return false;
    }
    keys_.erase(key);
    if (save()) return true;
    keys_.insert(key);
    return false;
}

bool FileRegistry::put(const Id& id, Entry entry) {
    const auto old = values_.find(id);
    const std::optional<Entry> previous = old == values_.end() ? std::nullopt : std::optional<Entry>(old->second);
    values_[id] = std::move(entry);
    const std::vector<KeyId> added = addKeys({std::get<0>(id), std::get<1>(id)});
    if (save()) return true;
    if (previous) values_[id] = *previous;
    else values_.erase(id);
    for (const auto& key : added) keys_.erase(key);
    return false;
}

void FileRegistry::load() {
    if (file_.empty()) return;
    const auto text = readWholeFile(file_);
    if (!text) return;
    std::istringstream in(*text);
    std::string line;
    while (std::getline(in, line)) {
        std::vector<std::string> fields;
        std::size_t start = 0;
        while (true) {
            const std::size_t tab = line.find('\t', start);
            fields.push_back(unescape(line.substr(start, tab == std::string::npos ? std::string::npos : tab - start)));
            if (tab == std::string::npos) break;
            start = tab + 1;
        }
        if (fields.size() < 2 || (fields[0] != "HKLM" && fields[0] != "HKCU")) continue;
        const int root = fields[0] == "HKLM" ? 1 : 0;
        // A key line (a key that may hold nothing), or a value line.
        if (fields.size() == 2) addKeys({root, normaliseKey(fields[1])});
        if (fields.size() != 5) continue;
        values_[{root, fields[1], fields[2]}] = {fields[3] == "dword", fields[4]};
        addKeys({root, fields[1]});
    }
}

bool FileRegistry::save() const {
    if (file_.empty()) return true;
    std::string out;
    for (const auto& [root, path] : keys_) out += (root == 1 ? "HKLM\t" : "HKCU\t") + escape(path) + '\n';
    for (const auto& [id, entry] : values_) {
        const auto& [root, path, name] = id;
        out += (root == 1 ? "HKLM" : "HKCU");
        out += '\t' + escape(path) + '\t' + escape(name) + '\t' + (entry.dword ? "dword" : "string") + '\t' +
               escape(entry.value) + '\n';
    }
    std::error_code ec;
    std::filesystem::create_directories(pathFromUtf8(file_).parent_path(), ec);
    return writeWholeFile(file_, out);
}

}  // namespace ombrix::platform

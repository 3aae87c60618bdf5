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

bool FileRegistry::keyExists(RegRoot root, std::string_view path) const {
    const int r = root == RegRoot::LocalMachine ? 1 : 0;
    const std::string key = normaliseKey(path);
    for (const auto& [id, entry] : values_) {
        const auto& [idRoot, idPath, idName] = id;
        if (idRoot == r && (idPath == key || idPath.rfind(key + "\\", 0) == 0)) return true;
    }
    return false;
}

bool FileRegistry::put(const Id& id, Entry entry) {
    const auto old = values_.find(id);
    const std::optional<Entry> previous = old == values_.end() ? std::nullopt : std::optional<Entry>(old->second);
    values_[id] = std::move(entry);
    if (save()) return true;
    if (previous) values_[id] = *previous;
    else values_.erase(id);
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
        if (fields.size() != 5 || (fields[0] != "HKLM" && fields[0] != "HKCU")) continue;
        values_[{fields[0] == "HKLM" ? 1 : 0, fields[1], fields[2]}] = {fields[3] == "dword", fields[4]};
    }
}

bool FileRegistry::save() const {
    if (file_.empty()) return true;
    std::string out;
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

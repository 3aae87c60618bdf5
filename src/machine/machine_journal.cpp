#include "machine/machine_journal.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>

#include "core/store_location.h"
#include "platform/crypto.h"
#include "platform/failures.h"

namespace ombrix::core {
namespace {

constexpr std::string_view kHeader = "ombrix machine journal 1\n";
// Both headers are the same length: the records start at the same place.
constexpr std::string_view kHeaderWithKeys = "ombrix machine journal 2\n";
constexpr std::string_view kEnd = "end\t";

std::string escape(std::string_view text) {
    std::string out;
    for (const char c : text) {
        switch (c) {
            case '\\': out += "\\\\"; break;
            case '\t': out += "\\t"; break;
            case '\n': out += "\\n"; break;
            case '\r': out += "\\r"; break;
            default: out += c;
        }
    }
    return out;
}

// For a person to read: paths keep their backslashes, a control character
// shows as \xHH so that no value can forge a line.
std::string shown(std::string_view text) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string out;
    for (const char c : text) {
        const auto b = static_cast<unsigned char>(c);
        if (b < 0x20 || b == 0x7f) {
            out += "\\x";
            out += kDigits[b >> 4];
            out += kDigits[b & 15];
        } else {
            out += c;
        }
    }
    return out;
}

std::optional<std::string> unescape(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            out += text[i];
            continue;
        }
        if (++i == text.size()) return std::nullopt;
        switch (text[i]) {
            case '\\': out += '\\'; break;
            case 't': out += '\t'; break;
            case 'n': out += '\n'; break;
            case 'r': out += '\r'; break;
            default: return std::nullopt;
        }
    }
    return out;
}

std::vector<std::string_view> split(std::string_view line, char separator) {
    std::vector<std::string_view> fields;
    std::size_t start = 0;
    for (std::size_t at; (at = line.find(separator, start)) != std::string_view::npos; start = at + 1) {
        fields.push_back(line.substr(start, at - start));
    }
    fields.push_back(line.substr(start));
    return fields;
}

std::optional<std::string> digest(std::string_view bytes) {
    std::array<std::uint8_t, 32> sum{};
    if (!platform::sha256(bytes, sum)) return std::nullopt;
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string hex;
    for (const auto b : sum) {
        hex += kDigits[b >> 4];
        hex += kDigits[b & 15];
    }
    return hex;
}

const char* kindName(SavedSetting::Kind kind) {
    switch (kind) {
        case SavedSetting::Kind::Registry: return "registry";
        case SavedSetting::Kind::DefaultPrinter: return "printer";
        case SavedSetting::Kind::FirefoxHomePage: return "firefox";
        case SavedSetting::Kind::Desktop: return "desktop";
        case SavedSetting::Kind::CreatedKey: return "key";
    }
    return "?";
}

const char* typeName(SavedSetting::Value type) {
    switch (type) {
        case SavedSetting::Value::Text: return "text";
        case SavedSetting::Value::Dword: return "dword";
        case SavedSetting::Value::Absent: return "absent";
    }
    return "?";
}

template <typename T, std::size_t N>
std::optional<T> byName(std::string_view name, const std::array<T, N>& all, const char* (*nameOf)(T)) {
    for (const T value : all) {
        if (name == nameOf(value)) return value;
    }
    return std::nullopt;
}

std::optional<SavedSetting> parseRecord(std::string_view line, bool keysAllowed) {
    const auto fields = split(line, '\t');
    if (fields.size() != 6) return std::nullopt;
    SavedSetting s;
    using K = SavedSetting::Kind;
    using V = SavedSetting::Value;
    const auto kind = byName<K>(
        fields[0], std::array{K::Registry, K::DefaultPrinter, K::FirefoxHomePage, K::Desktop, K::CreatedKey}, kindName);
    const auto type = byName<V>(fields[4], std::array{V::Text, V::Dword, V::Absent}, typeName);
    if (!kind || !type || (fields[1] != "HKCU" && fields[1] != "HKLM")) return std::nullopt;
    s.kind = *kind;
    s.type = *type;
    s.root = fields[1] == "HKCU" ? platform::RegRoot::CurrentUser : platform::RegRoot::LocalMachine;
    auto path = unescape(fields[2]);
    auto name = unescape(fields[3]);
    auto value = unescape(fields[5]);
    if (!path || !name || !value) return std::nullopt;
    s.path = std::move(*path);
    s.name = std::move(*name);
    s.value = std::move(*value);
    if (s.kind == K::CreatedKey && (!keysAllowed || s.path.empty() || !s.name.empty() || s.type != V::Absent ||
                                    !s.value.empty())) {
        return std::nullopt;
    }
    if (s.type == V::Dword) {
        std::uint32_t number = 0;
        const auto [end, ec] = std::from_chars(s.value.data(), s.value.data() + s.value.size(), number);
        if (ec != std::errc() || end != s.value.data() + s.value.size() || s.value.empty()) return std::nullopt;
    }
    return s;
}

}  // namespace

std::string journalLocation(StoreEnvironment& env, const std::string& storeFolder) {
    const std::string beside = storeFolder.empty() ? std::string() : joinPath(storeFolder, kJournalFileName, env.separator);
    const std::string local = env.system.environment("LOCALAPPDATA");
    if (local.empty()) return beside;
    const std::string folder = joinPath(local, kProductFolder, env.separator);
    if (!env.files.createDirectory(folder)) return beside;
    const std::string own = joinPath(folder, kJournalFileName, env.separator);
    if (!beside.empty() && env.files.fileExists(beside) && !env.files.fileExists(own)) {
        if (!env.files.copyFile(beside, own)) return beside;
        if (!env.files.removeFile(beside)) {
            // Two copies would give the same values back twice.
            env.files.removeFile(own);
            return beside;
        }
    }
    return own;
}

std::string SavedSetting::key() const {
    switch (kind) {
        case Kind::Registry:
            return std::string(root == platform::RegRoot::CurrentUser ? "HKCU\\" : "HKLM\\") + lowerAscii(path) + "\\" +
                   lowerAscii(name);
        case Kind::DefaultPrinter: return "printer";
        case Kind::FirefoxHomePage: return "firefox\\" + path;
        case Kind::Desktop: return "desktop";
        case Kind::CreatedKey:
            return std::string(root == platform::RegRoot::CurrentUser ? "key\\HKCU\\" : "key\\HKLM\\") +
                   lowerAscii(path);
    }
    return {};
}

std::string SavedSetting::lowerAscii(std::string_view text) {
    std::string out(text);
    for (char& c : out) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return out;
}

std::string SavedSetting::describe(bool leftInPlace) const {
    const auto shownValue = [&] {
        if (type == Value::Absent) return std::string("(none)");
        if (type == Value::Dword) return value;
        return "\"" + shown(value) + "\"";
    };
    switch (kind) {
        case Kind::Registry:
            return std::string(root == platform::RegRoot::CurrentUser ? "HKCU\\" : "HKLM\\") + shown(path) + "\\" +
                   shown(name) + " = " + (type == Value::Absent ? "(removed)" : shownValue());
        case Kind::DefaultPrinter: return "default printer = " + shownValue();
        case Kind::FirefoxHomePage: return "Firefox home page in " + shown(path) + " = " + shownValue();
        case Kind::Desktop: return "task bar, start button and desktop = shown";
        case Kind::CreatedKey:
            return std::string("key ") + (root == platform::RegRoot::CurrentUser ? "HKCU\\" : "HKLM\\") + shown(path) +
                   (leftInPlace ? " = (kept: another program's values are in it)" : " = (removed)");
    }
    return {};
}

std::string serialiseJournal(const std::vector<SavedSetting>& settings) {
    const bool keys = std::any_of(settings.begin(), settings.end(),
                                  [](const SavedSetting& s) { return s.kind == SavedSetting::Kind::CreatedKey; });
    std::string body(keys ? kHeaderWithKeys : kHeader);
    for (const auto& s : settings) {
        body += std::string(kindName(s.kind)) + "\t" + (s.root == platform::RegRoot::CurrentUser ? "HKCU" : "HKLM") +
                "\t" + escape(s.path) + "\t" + escape(s.name) + "\t" + typeName(s.type) + "\t" + escape(s.value) +
                "\n";
    }
    const auto sum = digest(body);
    if (!sum) return {};
    return body + std::string(kEnd) + std::to_string(settings.size()) + "\t" + *sum + "\n";
}

std::optional<std::vector<SavedSetting>> parseJournal(std::string_view bytes) {
    const std::string_view header = bytes.substr(0, kHeader.size());
    const bool keysAllowed = header == kHeaderWithKeys;
    if ((header != kHeader && !keysAllowed) || bytes.empty() || bytes.back() != '\n') return std::nullopt;
    const std::size_t endAt = bytes.rfind(std::string("\n") + std::string(kEnd));
    if (endAt == std::string_view::npos) return std::nullopt;
    const std::string_view body = bytes.substr(0, endAt + 1);
    const auto trailer = split(bytes.substr(endAt + 1 + kEnd.size(), bytes.size() - endAt - 2 - kEnd.size()), '\t');
    const auto sum = digest(body);
    if (trailer.size() != 2 || !sum || trailer[1] != *sum) return std::nullopt;

    std::vector<SavedSetting> settings;
    std::string_view records = body.substr(kHeader.size());
    while (!records.empty()) {
        const std::size_t eol = records.find('\n');
        auto record = parseRecord(records.substr(0, eol), keysAllowed);
        if (!record) return std::nullopt;
        settings.push_back(std::move(*record));
        records.remove_prefix(eol + 1);
    }
    if (trailer[0] != std::to_string(settings.size())) return std::nullopt;
    return settings;
}

MachineJournal::OnDisk MachineJournal::read() const {
    if (path_.empty() || !files_.fileExists(path_)) return {};
    // Larger than any journal the program writes: not ours, and not to be
    // held in memory.
    const platform::BoundedRead file = files_.readFile(path_, kJournalLimit);
    auto settings = file.outcome == platform::BoundedRead::Outcome::Read ? parseJournal(file.bytes) : std::nullopt;
    if (!settings) return {State::Damaged, {}};
    return {State::Intact, std::move(*settings)};
}

void MachineJournal::setAsideDamaged() {
    platform::recordFailure("the machine journal is damaged: it was not applied, and is kept as .damaged", path_);
    // The newest damaged one is kept. Renamed, never copied: the file may be
    // as large as the disk.
    const std::string aside = path_ + ".damaged";
    files_.removeFile(aside);
    if (!files_.moveFile(path_, aside)) files_.removeFile(path_);
}

const SavedSetting* MachineJournal::find(const std::string& key) const {
    const auto it = index_.find(key);
    return it == index_.end() ? nullptr : &settings_[it->second];
}

bool MachineJournal::remember(const SavedSetting& previous) { return remember(std::vector<SavedSetting>{previous}); }

bool MachineJournal::remember(const std::vector<SavedSetting>& previous) {
    bool added = false;
    for (const auto& s : previous) {
        if (!index_.emplace(s.key(), settings_.size()).second) continue;
        settings_.push_back(s);
        added = true;
    }
    if (!added || save()) return true;
    // Kept in memory all the same: the orderly shutdown still gives it back.
    platform::recordFailure("the machine journal could not be written", path_);
    return false;
}

bool MachineJournal::reset(std::vector<SavedSetting> settings) {
    settings_.clear();
    index_.clear();
    for (auto& s : settings) {
        if (index_.emplace(s.key(), settings_.size()).second) settings_.push_back(std::move(s));
    }
    return save();
}

bool MachineJournal::save() {
    if (path_.empty()) return false;
    if (settings_.empty()) return files_.removeFile(path_) || !files_.fileExists(path_);
    const std::string bytes = serialiseJournal(settings_);
    // One the next start would refuse is not written: the old file stays.
    return !bytes.empty() && bytes.size() <= kJournalLimit && writer_.replace(path_, bytes);
}

}  // namespace ombrix::core

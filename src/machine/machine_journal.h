#pragma once
// The journal of the machine settings the program changed: before a setting
// is changed for the first time in a run, its previous value is written to a
// small file beside the store. The orderly shutdown gives the values back and
// removes the file; a start that finds it gives them back first, so a crash,
// a power cut or a forced end cannot leave the machine locked down.
//
// The file is replaced whole on every record (a new file, flushed, renamed
// over the old), so a cut leaves the previous journal, which lacks only the
// setting that had not been changed yet. Its last line carries the number of
// records and the SHA-256 of everything above it: a file that is cut short or
// damaged fails the check and is never applied.
//
// A key the program created is a record of its own, given back after every
// value by deleting it if nothing is left in it. Only a journal with such a
// record is marked version 2; one without stays version 1, which a program
// that knows no key records can still give back. Both read here.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/durable.h"
#include "platform/filesystem.h"
#include "platform/registry.h"

namespace ombrix::core {

struct StoreEnvironment;

inline constexpr const char* kJournalFileName = "Ripristino.journal";
// The journal of the machine settings this user's session changed: in the
// user's own local folder, where only they (and administrators) write, so an
// elevated give-back never reads what a pupil could have written for another
// account. Where the system names no such folder it stays beside the store.
// A journal an earlier version left beside the store moves here once; one
// that cannot leave that folder is used where it is.
[[nodiscard]] std::string journalLocation(StoreEnvironment& env, const std::string& storeFolder);

// The largest journal the program writes, and reads: six browser lists of a
// thousand values and the few settings beside them come to 13 MB even when
// each value they replaced was 2 KB long. Anything larger was not written
// by the program; it is set aside unread.
inline constexpr std::size_t kJournalLimit = 16 * 1024 * 1024;

struct SavedSetting {
    // CreatedKey: a registry key that did not exist before (root and path only).
    enum class Kind { Registry, DefaultPrinter, FirefoxHomePage, Desktop, CreatedKey };
    enum class Value { Text, Dword, Absent };

    Kind kind = Kind::Registry;
    platform::RegRoot root = platform::RegRoot::CurrentUser;
    std::string path;   // the registry key, or Firefox's profile folder
    std::string name;   // the registry value's name
    Value type = Value::Text;
    std::string value;  // text, a double word in decimal, the printer's "Device", an address

    // One record per setting: two settings with the same key are the same.
    [[nodiscard]] std::string key() const;
    // What a support person reads: the setting and the value it went back to
    // (a created key left in place says so).
    [[nodiscard]] std::string describe(bool leftInPlace = false) const;
    bool operator==(const SavedSetting&) const = default;

private:
    static std::string lowerAscii(std::string_view text);
};

[[nodiscard]] std::string serialiseJournal(const std::vector<SavedSetting>& settings);
// nullopt for anything but a whole, intact journal.
[[nodiscard]] std::optional<std::vector<SavedSetting>> parseJournal(std::string_view bytes);

class MachineJournal {
public:
    MachineJournal(platform::DurableWriter& writer, platform::FileSystem& files) : writer_(writer), files_(files) {}

    // Where the journal lives (beside the store); set before it is used.
    void setPath(std::string path) { path_ = std::move(path); }
    [[nodiscard]] const std::string& path() const { return path_; }

    enum class State { None, Intact, Damaged };
    struct OnDisk {
        State state = State::None;
        std::vector<SavedSetting> settings;
    };
    // What the file holds now, whatever this run recorded.
    [[nodiscard]] OnDisk read() const;
    // A damaged file is moved aside (".damaged") for a person to read: it is
    // never applied, and it must not stop a fresh journal.
    void setAsideDamaged();

    // Records the previous value of a setting about to change, unless this
    // run recorded it already. False when the record could not be made durable.
    bool remember(const SavedSetting& previous);
    // Many at once, in one write of the file (the browsers' lists run to thousands).
    bool remember(const std::vector<SavedSetting>& previous);
    [[nodiscard]] const SavedSetting* find(const std::string& key) const;
    [[nodiscard]] const std::vector<SavedSetting>& settings() const { return settings_; }
    // The journal becomes exactly `settings`; none removes the file.
    bool reset(std::vector<SavedSetting> settings);

private:
    bool save();

    platform::DurableWriter& writer_;
    platform::FileSystem& files_;
    std::string path_;
    std::vector<SavedSetting> settings_;
    std::unordered_map<std::string, std::size_t> index_;  // key -> position in settings_
};

}  // namespace ombrix::core

#pragma once
// Managed profiles: the profiles of the exchange file (or of every exchange
// file in the folder) that Group Policy names, kept in the store marked
// Profili.Gestito. Only a new file changes them; the editor and ombrixctl
// refuse to (msg::ProfileManaged).
//
// A file is read whole, up to kMaxManagedFileBytes, and the bytes hashed are
// the bytes parsed: a file swapped between the pin's check and the read
// cannot slip in. A set replaces the managed profiles in one transaction,
// or nothing changes: a file that cannot be read, is damaged, does not match
// its pinned SHA-256, or names a profile a local one already has, leaves the
// last good set in force and is traced. An empty folder is no set either.

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/database.h"
#include "core/machine_policy.h"
#include "platform/registry.h"
#include "profiles/profile_exchange.h"

namespace ombrix::profiles {

// Far above a million entries of ordinary length.
inline constexpr std::size_t kMaxManagedFileBytes = 256u * 1024 * 1024;

// The policy's two values, read by the policy's own reader.
using core::policy::ManagedSource;
using core::policy::readManagedSource;

// Whether the profile is managed; nullopt when the store cannot tell.
[[nodiscard]] std::optional<bool> profileManaged(core::Database& db, long long profileId);

// What a file was when it was last read: an unchanged size and time are
// not read again, and a changed one with the same hash is not imported.
struct FileStamp {
    std::string path;
    std::uintmax_t size = 0;
    std::int64_t modified = 0;  // the file system's time, in its own ticks
    std::string sha256;         // lower-case hex
    bool operator==(const FileStamp&) const = default;
};

struct ManagedCheck {
    enum class Outcome {
        NoPolicy,    // no path configured: nothing managed changes
        Unchanged,   // the same files as the last good set
        Imported,    // the store holds the new set
        Refused,     // the last good set stays; `reason` and `subject` say why
    } outcome = Outcome::NoPolicy;
    std::string reason;   // a short English sentence, for the trace
    std::string subject;  // the file or the profile concerned
    // Every profile the import wrote or removed: the program reloads the
    // one in use when it is among them.
    std::vector<long long> changed;
    // Managed profiles the file no longer names that stay, since the
    // profile in use or a time slot names them.
    std::vector<std::string> kept;
};

// Reads the set at `source` and, when it differs from `last`, imports it
// into `db`. `last` becomes the set's stamps after an import or when the
// files are unchanged; it is left as it was after a refusal, so the next
// check reads the files again. The first check starts from the stamps the
// last import recorded in the store (ImportGestito), whichever process made
// it: a start, or a session that may only read the store, does not import
// an unchanged set again.
class ManagedProfiles {
public:
    explicit ManagedProfiles(core::Database& db) : db_(db) {}
    [[nodiscard]] ManagedCheck check(const ManagedSource& source);
    // Forget the stamps: the next check reads and imports the files.
    void forget() {
        last_.clear();
        recalled_ = true;
    }

private:
    void recall();

    core::Database& db_;
    bool recalled_ = false;
    std::vector<FileStamp> last_;
    ManagedSource lastSource_;
};

// Leaves a refusal in the trace (the last good set stays).
void traceRefusal(const ManagedCheck& refused);

// Replaces the managed set with `profiles` (each already valid) in one
// transaction, which also records `source` and the files' `stamps` (each
// profile's file, named in a refusal).
[[nodiscard]] ManagedCheck replaceManagedSet(core::Database& db, const std::vector<ExchangeProfile>& profiles,
                                             const ManagedSource& source, const std::vector<FileStamp>& stamps);

}  // namespace ombrix::profiles

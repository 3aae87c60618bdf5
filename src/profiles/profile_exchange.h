#pragma once
// The profile exchange file (.OX): a profile's name, switches and lists as
// tagged lines, so that a profile moves between PCs. The editor's buttons and
// `ombrixctl export`/`import` both come here.
//
// The file is Windows-1252 with CR LF after every line, values written as
// they stand, without escaping. A file read back must give the profile that
// was written, so the export refuses (message "0334" with the value) any
// value the file cannot carry: a character outside the code page (a Greek
// or Cyrillic letter, an emoji), a line break or NUL, or a whole line that
// reads as one of the tags. Writing '?' in its place, as the code page
// conversion would, makes an import create a different profile without a word.
//
// An import reads the whole file (at most kExchangeFileLimit bytes), checks
// it, and only then stores the profile and its lists in one transaction:
// a refused file stores nothing.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/database.h"
#include "platform/dialogs.h"
#include "platform/file_dialogs.h"
#include "platform/printers.h"
#include "profiles/profile_editor.h"

namespace ombrix {
class Language;
}

namespace ombrix::profiles {

inline constexpr std::string_view kExchangeFilter = "Ombrix files (*.OX)|*.OX";
// A profile is a few kilobytes; a larger file is not one, and is refused
// before it is read.
inline constexpr std::size_t kExchangeFileLimit = 16u * 1024u * 1024u;

// The save dialog's proposed name: \ / : * " < > | each become "-", nothing else.
[[nodiscard]] std::string proposedFileName(std::string_view profileName);

// A profile as the file carries it.
struct ExchangeProfile {
    ProfileRecord record;  // the identifier is not carried
    std::vector<std::string> sites, processes, windows;
    bool operator==(const ExchangeProfile&) const = default;
};
// The profile the editor shows, with its lists.
[[nodiscard]] ExchangeProfile shownProfile(const ProfileEditor& editor);

// The file's bytes, or the first value the file cannot carry.
struct ExchangeText {
    std::string bytes;
    std::optional<std::string> uncarried;
};
[[nodiscard]] ExchangeText exchangeText(const ExchangeProfile& profile);

// A file read and checked, before anything is stored.
struct ExchangeRead {
    enum class Status { Valid, NotText, MissingPair } status = Status::Valid;
    std::string name;        // the trimmed <NOME> value, read before the check
    std::string missingTag;  // the opening tag of the first pair missing
    // When valid: every section as the import stores it. Lists are
    // normalised (sites by the editor's rule, processes lowered and
    // filtered, titles trimmed) but not yet freed of duplicates.
    ExchangeProfile profile;
};
[[nodiscard]] ExchangeRead readExchange(std::string_view bytes);

class ProfileExchange {
public:
    ProfileExchange(core::Database& db, platform::Dialogs& dialogs, Language& language,
                    platform::Printers* printers);

    enum class Result { Done, Cancelled, Refused, Failed };

    // cmdEsporta: the save dialog (asked again when the user will not replace
    // an existing file), then exportTo.
    Result exportWithDialog(platform::FileDialogs& files, const ExchangeProfile& profile);
    // Writes the file and shows the closing message.
    Result exportTo(const ExchangeProfile& profile, const std::string& path);

    // cmdImporta: the open dialog, then importFrom.
    Result importWithDialog(platform::FileDialogs& files, long long* newId = nullptr);
    // The extension, the file's presence and size, then importBytes.
    Result importFrom(const std::string& path, long long* newId = nullptr);
    // The name, the check, the printer, then the profile stored at once.
    Result importBytes(std::string_view bytes, long long* newId = nullptr);

private:
    Result show(const std::string& id, const std::string& text, const std::string& title,
                platform::MessageIcon icon);
    Result invalidFile(const std::string& detailId = {});
    Result storeFailed();
    std::string text(std::string_view id) const;

    core::Database& db_;
    platform::Dialogs& dialogs_;
    Language& language_;
    platform::Printers* printers_;
};

}  // namespace ombrix::profiles

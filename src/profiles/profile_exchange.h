#pragma once
// The profile exchange file (.OX): a profile's name, switches and lists as
// tagged lines, so that a profile moves between PCs. The editor's buttons and
// `ombrixctl export`/`import` both come here.
//
// The file is Windows-1252 with CR LF after every line, values written as
// they stand, without escaping. A file read back must give the profile that
// was written, so the export refuses (msg::ExportCannotCarryText with the value) any
// value the file cannot carry: a character outside the code page (a Greek
// or Cyrillic letter, an emoji), a line break or NUL, or a whole line that
// reads as one of the tags. Writing '?' in its place, as the code page
// conversion would, makes an import create a different profile without a word.
//
// An import reads the file line by line (the code page, or UTF-8 or UTF-16
// by their mark; no line longer than kMaxEntryBytes, which no export writes),
// storing each list entry as it is read, in one transaction that commits only
// when the whole file passed every check: a refused file stores nothing, and
// an export of any size is read back in little memory.

#include <cstddef>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/database.h"
#include "platform/dialogs.h"
#include "platform/file_dialogs.h"
#include "platform/printers.h"
#include "profiles/profile_editor.h"
#include "support/messages.h"

namespace ombrix {
class Language;
}

namespace ombrix::profiles {

inline constexpr std::string_view kExchangeFilter = "Ombrix files (*.OX)|*.OX";

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

// A file read and checked, as the import reads it.
struct ExchangeRead {
    enum class Status {
        Valid,
        NotText,      // a NUL, or bytes that break the UTF-8 its mark announced
        LineTooLong,  // a line longer than kMaxEntryBytes
        MissingPair,  // a required pair of tags is missing
        RefusedLine,  // an entry or a value the editor's rules refuse, or a site-list word that is
                      // neither PROIBITI nor CONSENTITI (in any case, blanks around it aside)
    } status = Status::Valid;
    std::string name;        // the trimmed <NOME> value
    std::string missingTag;  // the opening tag of the first pair missing
    std::size_t line = 0;    // the first line not text, too long or refused
    std::vector<MessageId> messages;  // why that line was refused
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
    // The extension and the file's presence, then the file read line by line.
    Result importFrom(const std::string& path, long long* newId = nullptr);
    // The same for a file's bytes already read.
    Result importBytes(std::string_view bytes, long long* newId = nullptr);

private:
    // storeImport, then its messages.
    Result importStream(std::istream& in, long long* newId);
    // The lists stored as read; then the name, the checks, the printer and
    // the profile; committed only when all passed.
    Result storeImport(std::istream& in, long long* newId);
    Result show(MessageId id, const std::string& text, const std::string& title, platform::MessageIcon icon);
    // A message box now, or kept for later while an import holds the store.
    void tell(const platform::MessageBoxRequest& request);
    Result invalidFile(MessageId detail = {}, std::size_t line = 0);
    Result refusedLine(const std::vector<MessageId>& ids, std::size_t line);
    Result storeFailed();
    std::string text(MessageId id) const;

    core::Database& db_;
    platform::Dialogs& dialogs_;
    Language& language_;
    platform::Printers* printers_;
    std::vector<platform::MessageBoxRequest>* deferred_ = nullptr;
};

}  // namespace ombrix::profiles

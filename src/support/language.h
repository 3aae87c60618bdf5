#pragma once
// Message texts and form texts from the language file beside the program.
// The file is chosen and read afresh on every lookup: an administrator may
// edit it, or choose another, while the program runs.

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/ini.h"
#include "platform/message_id.h"

namespace ombrix {

// Windows' language identifier of Italian (Italy); any identifier whose
// primary language is Italian's reads as Italian.
inline constexpr std::uint16_t kItalianLanguageId = 0x0410;

class Language {
public:
    // `separator` is what the platform puts between folder and file names;
    // `displayLanguage` is the user's display language as Windows
    // identifies it (platform::System::userInterfaceLanguage).
    explicit Language(std::string programFolder, char separator, std::uint16_t displayLanguage = kItalianLanguageId,
                      ini::ProfileReader reader = ini::systemProfileReader());

    // The text of a message (named in support/messages.h); "" when the file lacks it.
    [[nodiscard]] std::string messageText(platform::MessageId id) const;

    // The language in use: the name LangSetting.ini's CurrentLanguage gives
    // when the program's folder holds its file; else "italian" for an
    // Italian display language and "english" for any other; else, when that
    // file is missing, the other of the two if it is there.
    [[nodiscard]] std::string currentName() const;
    // The language file in use: folder, one separator, name, ".lng".
    [[nodiscard]] std::string languageFilePath() const;
    // A value of the language file, for the form translator.
    [[nodiscard]] std::string formValue(const std::string& section, const std::string& key) const;

    [[nodiscard]] const std::string& programFolder() const { return programFolder_; }

private:
    [[nodiscard]] std::string inProgramFolder(std::string_view fileName) const;
    [[nodiscard]] bool hasLanguageFile(const std::string& name) const;

    std::string programFolder_;
    char separator_;
    std::uint16_t displayLanguage_;
    ini::ProfileReader reader_;
};

}  // namespace ombrix

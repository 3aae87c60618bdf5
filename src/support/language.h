#pragma once
// Message texts and form texts from the language file beside the program.
// The file is read afresh on every lookup: an administrator may edit it
// while the program runs.

#include <string>
#include <string_view>

#include "platform/ini.h"
#include "platform/message_id.h"

namespace ombrix {

class Language {
public:
    // `separator` is what the platform puts between folder and file names.
    explicit Language(std::string programFolder, char separator, ini::ProfileReader reader = ini::systemProfileReader());

    // The text of a message (named in support/messages.h); "" when the file lacks it.
    [[nodiscard]] std::string messageText(platform::MessageId id);

    // The language file in use: folder, one separator, name, ".lng".
    [[nodiscard]] std::string languageFilePath() const;
    // A value of the language file, for the form translator.
    [[nodiscard]] std::string formValue(const std::string& section, const std::string& key) const;

    [[nodiscard]] const std::string& currentName() const { return currentName_; }
    [[nodiscard]] const std::string& programFolder() const { return programFolder_; }

private:
    [[nodiscard]] std::string inProgramFolder(std::string_view fileName) const;

    std::string programFolder_;
    char separator_;
    ini::ProfileReader reader_;
    std::string currentName_ = "italian";
};


}  // namespace ombrix

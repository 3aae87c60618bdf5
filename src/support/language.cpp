#include "support/language.h"

#include <utility>

namespace ombrix {

Language::Language(std::string programFolder, char separator, ini::ProfileReader reader)
    : programFolder_(std::move(programFolder)), separator_(separator), reader_(reader) {}

std::string Language::inProgramFolder(std::string_view fileName) const {
    std::string path = programFolder_;
    if (path.empty() || path.back() != separator_) path += separator_;
    path += fileName;
    return path;
}

std::string Language::languageFilePath() const { return inProgramFolder(currentName_ + ".lng"); }

std::string Language::messageText(platform::MessageId id) {
    // The language is fixed; the settings file below is consulted only for an
    // empty name, which cannot happen after this line. Both stay on purpose:
    // a future language choice plugs in here.
    currentName_ = "italian";
    if (currentName_.empty()) {
        currentName_ = ini::readValue(inProgramFolder("LangSetting.ini"), "Language", "CurrentLanguage", reader_);
    }
    return ini::readValue(languageFilePath(), "Strings", std::string(id.number()), reader_);
}

std::string Language::formValue(const std::string& section, const std::string& key) const {
    return ini::readValue(languageFilePath(), section, key, reader_);
}

}  // namespace ombrix

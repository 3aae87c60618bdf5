#include "support/language.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "platform/files.h"

namespace ombrix {
namespace {

constexpr std::string_view kItalian = "italian";
constexpr std::string_view kEnglish = "english";

// The name of a file beside the program, never a path elsewhere.
bool plainName(std::string_view name) {
    if (name.empty() || name == "." || name == "..") return false;
    for (const char c : name) {
        if (c == '\\' || c == '/' || c == ':' || static_cast<unsigned char>(c) < 0x20) return false;
    }
    return true;
}

}  // namespace

Language::Language(std::string programFolder, char separator, std::uint16_t displayLanguage, ini::ProfileReader reader)
    : programFolder_(std::move(programFolder)), separator_(separator), displayLanguage_(displayLanguage), reader_(reader) {}

std::string Language::inProgramFolder(std::string_view fileName) const {
    std::string path = programFolder_;
    if (path.empty() || path.back() != separator_) path += separator_;
    path += fileName;
    return path;
}

bool Language::hasLanguageFile(const std::string& name) const {
    std::error_code ec;
    return std::filesystem::is_regular_file(pathFromUtf8(inProgramFolder(name + ".lng")), ec);
}

std::string Language::currentName() const {
    const std::string chosen =
        ini::readValue(inProgramFolder("LangSetting.ini"), "Language", "CurrentLanguage", reader_);
    if (plainName(chosen) && hasLanguageFile(chosen)) return chosen;
    // The primary language is the identifier's low ten bits.
    const bool italian = (displayLanguage_ & 0x3FF) == (kItalianLanguageId & 0x3FF);
    const std::string preferred(italian ? kItalian : kEnglish);
    const std::string other(italian ? kEnglish : kItalian);
    // Texts in the other language beat none at all.
    if (!hasLanguageFile(preferred) && hasLanguageFile(other)) return other;
    return preferred;
}

std::string Language::languageFilePath() const { return inProgramFolder(currentName() + ".lng"); }

std::string Language::messageText(platform::MessageId id) const {
    return ini::readValue(languageFilePath(), "Strings", std::string(id.number()), reader_);
}

std::string Language::formValue(const std::string& section, const std::string& key) const {
    return ini::readValue(languageFilePath(), section, key, reader_);
}

}  // namespace ombrix

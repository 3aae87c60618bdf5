#include "support/language.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "fakes/fixtures.h"
#include "platform/system.h"
#include "platform/files.h"
#include "platform/text.h"
#include "support/messages.h"

namespace ombrix {
namespace {

constexpr std::uint16_t kItalianItaly = 0x0410, kItalianSwitzerland = 0x0810, kEnglishUs = 0x0409, kGerman = 0x0407;

// The file in use: the settings file's name when its file is there, else
// the display language's (Italian for any Italian, English for the rest),
// else whichever of the two is there.
TEST(Language, ChoosesTheFileBySettingThenDisplayLanguage) {
    const struct {
        const char* files;    // the .lng files beside the program
        const char* setting;  // LangSetting.ini's CurrentLanguage, or null for no file
        std::uint16_t display;
        const char* chosen;
    } cases[] = {
        {"italian english", nullptr, kItalianItaly, "italian"},
        {"italian english", nullptr, kItalianSwitzerland, "italian"},
        {"italian english", "", kGerman, "english"},
        {"italian english", "english", kItalianItaly, "english"},
        {"italian english", "german", kItalianItaly, "italian"},  // no german.lng
        {"italian english german", "german", kItalianItaly, "german"},
        {"italian english sub/english", "sub/english", kItalianItaly, "italian"},  // a name, never a path
        {"italian", nullptr, kEnglishUs, "italian"},  // an installation without English
        {"english", "italian", kItalianItaly, "english"},
        {"", nullptr, kEnglishUs, "english"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.files) + " / " + (c.setting ? c.setting : "no setting") + " / " +
                     std::to_string(c.display));
        test::TempDir dir;
        std::istringstream names(c.files);
        for (std::string name; names >> name;) {
            test::writeFile(dir.file(name + ".lng"), "[Strings]\r\n0106=" + name + "\r\n");
        }
        if (c.setting) test::writeFile(dir.file("LangSetting.ini"), std::string("[Language]\r\nCurrentLanguage=") + c.setting + "\r\n");
        Language lang(pathToUtf8(dir.path()), platform::pathSeparator(), c.display);
        EXPECT_EQ(lang.currentName(), c.chosen);
        EXPECT_EQ(lang.messageText(msg::ProcessAlreadyListed), std::string_view(c.files).empty() ? "" : c.chosen);
    }
}

// Every lookup reads afresh: a changed setting takes effect at the next
// message and the next form text.
TEST(Language, FollowsTheSettingsFileBetweenLookupsAndJoinsItsPath) {
    test::TempDir dir;
    Language lang(pathToUtf8(dir.path()), platform::pathSeparator(), kItalianItaly);
    EXPECT_EQ(lang.messageText(msg::ProcessAlreadyListed), "");
    test::writeFile(dir.file("italian.lng"), "[Strings]\r\n0106=Processo gi\xE0 presente\r\n[frmOmbrix]\r\ncmdEsci.Caption=Esci\r\n");
    test::writeFile(dir.file("english.lng"), "[Strings]\r\n0106=Already listed\r\n[frmOmbrix]\r\ncmdEsci.Caption=Exit\r\n");
    EXPECT_EQ(lang.messageText(msg::ProcessAlreadyListed), "Processo già presente");
    EXPECT_EQ(lang.formValue("frmOmbrix", "cmdEsci.Caption"), "Esci");
    test::writeFile(dir.file("LangSetting.ini"), "[Language]\r\nCurrentLanguage=english\r\n");
    EXPECT_EQ(lang.formValue("frmOmbrix", "cmdEsci.Caption"), "Exit");
    EXPECT_EQ(lang.messageText(msg::ProcessAlreadyListed), "Already listed");
    EXPECT_EQ(lang.messageText(MessageId{"0999"}), "");
    // One separator between folder and file.
    EXPECT_EQ(Language("C:\\", '\\').languageFilePath(), "C:\\italian.lng");
    EXPECT_EQ(Language("C:\\Programmi\\Ombrix", '\\', kEnglishUs).languageFilePath(), "C:\\Programmi\\Ombrix\\english.lng");
    EXPECT_EQ(Language("/opt/ombrix/", '/').languageFilePath(), "/opt/ombrix/italian.lng");
}

#ifndef _WIN32
// Messages are named in support/messages.h and their numbers quoted nowhere
// else in the code; the delivered file holds each one named, in the file's
// own encoding and line ends.
TEST(DeliveredLanguageFile, HoldsEveryMessageTheCodeNamesAndNoNumberIsQuotedElsewhere) {
    const std::string root = OMBRIX_SOURCE_DIR;
    Language lang(root + "/data", '/', kItalianItaly);
    // A four-digit string literal: a message when it starts with 0 or the
    // file has it ("1803", a registry value, is neither).
    const std::regex quoted(R"re("([0-9]{4})")re");
    const std::filesystem::path declarations = std::filesystem::path(root) / "src/support/messages.h";
    std::set<std::string> declared;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root + "/src")) {
        const auto ext = entry.path().extension();
        if (ext != ".cpp" && ext != ".h") continue;
        const auto text = readWholeFile(pathToUtf8(entry.path()));
        ASSERT_TRUE(text);
        const bool isDeclarations = entry.path() == declarations;
        for (std::sregex_iterator it(text->begin(), text->end(), quoted), end; it != end; ++it) {
            const std::string number = (*it)[1].str();
            const bool inFile = !lang.formValue("Strings", number).empty();
            if (isDeclarations) {
                if (!declared.insert(number).second) ADD_FAILURE() << "messages.h declares " << number << " twice";
                if (!inFile) ADD_FAILURE() << "messages.h declares " << number << ", which italian.lng lacks";
            } else if (inFile || number.front() == '0') {
                ADD_FAILURE() << entry.path().lexically_relative(root).string() << " quotes message " << number
                              << ": name it from support/messages.h";
            }
        }
    }
    EXPECT_GT(declared.size(), 100u);
}

// A language file as its keys and values, section by section ("Strings/0106",
// "frmOmbrix/cmdEsci.Caption"); a key twice in a section is a failure, since
// the reader would never see the second.
std::map<std::string, std::string> languageFileEntries(const std::string& name) {
    const auto bytes = readWholeFile(std::string(OMBRIX_SOURCE_DIR) + "/data/" + name);
    if (!bytes) {
        ADD_FAILURE() << name << " is missing";
        return {};
    }
    EXPECT_NE(bytes->find("\r\n"), std::string::npos) << name;
    EXPECT_EQ(replaceAll(*bytes, "\r\n", "").find('\n'), std::string::npos) << name << ": a bare LF";
    std::map<std::string, std::string> entries;
    std::string section;
    std::istringstream lines(cp1252ToUtf8(*bytes));
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty() || line.front() == ';') continue;
        if (line.front() == '[') {
            section = line.substr(1, line.find(']') - 1);
            continue;
        }
        const std::size_t eq = line.find('=');
        EXPECT_NE(eq, std::string::npos) << name << ": " << line;
        if (eq == std::string::npos) continue;
        std::string value = line.substr(eq + 1);
        if (value.size() > 1 && value.front() == '"' && value.back() == '"') value = value.substr(1, value.size() - 2);
        if (!entries.emplace(section + "/" + line.substr(0, eq), value).second) {
            ADD_FAILURE() << name << " holds " << section << "/" << line.substr(0, eq) << " twice";
        }
    }
    return entries;
}

// What a text carries that the program fills in or joins: %-style
// placeholders, written line breaks, an access key, and blanks at either
// end (a text followed or preceded by a name).
std::string carried(const std::string& text) {
    static const std::regex marks(R"re(%[0-9]+|%[-+ #0]*[0-9]*(\.[0-9]+)?[a-zA-Z%]|\\[nrt]|&&|&)re");
    std::multiset<std::string> found;
    for (std::sregex_iterator it(text.begin(), text.end(), marks), end; it != end; ++it) found.insert(it->str());
    if (text.starts_with(' ')) found.insert("a blank at the start");
    if (text.ends_with(' ')) found.insert("a blank at the end");
    std::string out;
    for (const std::string& m : found) out += "[" + m + "]";
    return out;
}

// The shipped languages answer every lookup the other answers, and carry
// the same placeholders in each text.
TEST(DeliveredLanguageFiles, EnglishAndItalianHoldTheSameKeysAndPlaceholders) {
    const auto italian = languageFileEntries("italian.lng");
    const auto english = languageFileEntries("english.lng");
    ASSERT_FALSE(italian.empty());
    for (const auto& [key, text] : italian) {
        const auto other = english.find(key);
        if (other == english.end()) {
            ADD_FAILURE() << "english.lng lacks " << key;
            continue;
        }
        EXPECT_EQ(text.empty(), other->second.empty()) << key;
        EXPECT_EQ(carried(text), carried(other->second)) << key << ": \"" << text << "\" / \""
                                                                        << other->second << "\"";
    }
    for (const auto& [key, text] : english) {
        if (!italian.contains(key)) ADD_FAILURE() << "italian.lng lacks " << key;
    }
}
#endif

}  // namespace
}  // namespace ombrix

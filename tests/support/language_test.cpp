#include "support/language.h"

#include <gtest/gtest.h>

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

// The settings file's name when its file is there, else the display
// language's (Italian for any Italian, English for the rest), else either.
TEST(Language, ChoosesTheFileBySettingThenDisplayLanguage) {
    const struct {
        const char* files;    // the .lng files beside the program
        const char* setting;  // LangSetting.ini's CurrentLanguage, or null for no file
        std::uint16_t display;
        const char* chosen;
    } cases[] = {
        {"italian english", nullptr, kItalianSwitzerland, "italian"},
        {"italian english", "", kGerman, "english"},
        {"italian english", "german", kItalianItaly, "italian"},  // no german.lng
        {"italian english german", "german", kItalianItaly, "german"},
        {"italian english sub/english", "sub/english", kItalianItaly, "italian"},  // a name, never a path
        {"english", "italian", kItalianItaly, "english"},
        {"", nullptr, kEnglishUs, "english"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.files) + " / " + (c.setting ? c.setting : "-") + " / " + std::to_string(c.display));
        test::TempDir dir;
        std::istringstream names(c.files);
        for (std::string name; names >> name;) test::writeFile(dir.file(name + ".lng"), "[Strings]\r\n0106=" + name + "\r\n");
        if (c.setting) test::writeFile(dir.file("LangSetting.ini"), std::string("[Language]\r\nCurrentLanguage=") + c.setting + "\r\n");
        Language lang(pathToUtf8(dir.path()), platform::pathSeparator(), c.display);
        EXPECT_EQ(lang.currentName(), c.chosen);
        EXPECT_EQ(lang.messageText(msg::ProcessAlreadyListed), std::string_view(c.files).empty() ? "" : c.chosen);
    }
}

// Every lookup reads afresh: a changed setting takes effect at the next message and form text.
TEST(Language, FollowsTheSettingsFileBetweenLookupsAndJoinsItsPath) {
    test::TempDir dir;
    Language lang(pathToUtf8(dir.path()), platform::pathSeparator(), kItalianItaly);
    test::writeFile(dir.file("italian.lng"), "[Strings]\r\n0106=Processo gi\xE0 presente\r\n");
    test::writeFile(dir.file("english.lng"), "[Strings]\r\n0106=Already listed\r\n[frmOmbrix]\r\ncmdEsci.Caption=Exit\r\n");
    EXPECT_EQ(lang.messageText(msg::ProcessAlreadyListed), "Processo già presente");
    test::writeFile(dir.file("LangSetting.ini"), "[Language]\r\nCurrentLanguage=english\r\n");
    EXPECT_EQ(lang.formValue("frmOmbrix", "cmdEsci.Caption") + "|" + lang.messageText(msg::ProcessAlreadyListed),
              "Exit|Already listed");
    EXPECT_EQ(lang.messageText(MessageId{"0999"}), "");
    // One separator between folder and file.
    EXPECT_EQ(Language("C:\\", '\\').languageFilePath(), "C:\\italian.lng");
    EXPECT_EQ(Language("/opt/ombrix", '/', kEnglishUs).languageFilePath(), "/opt/ombrix/english.lng");
}

#ifndef _WIN32  // reads the repository's own data folder
// A shipped file as "section/key" -> text; a key twice in a section fails (the reader never sees the second).
std::map<std::string, std::string> entriesOf(const std::string& name) {
    const auto bytes = readWholeFile(std::string(OMBRIX_SOURCE_DIR) + "/data/" + name);
    EXPECT_TRUE(bytes && replaceAll(*bytes, "\r\n", "").find('\n') == std::string::npos) << name << ": lost or a bare LF";
    std::map<std::string, std::string> entries;
    std::string section;
    std::istringstream lines(cp1252ToUtf8(bytes.value_or("")));
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty() || line.front() == ';') continue;
        if (line.front() == '[') {
            section = line.substr(1, line.find(']') - 1);
            continue;
        }
        const std::size_t eq = line.find('=');
        EXPECT_TRUE(eq != std::string::npos && entries.emplace(section + "/" + line.substr(0, eq), line.substr(eq + 1)).second)
            << name << ": " << line;
    }
    return entries;
}

// What the program fills in or joins: placeholders, line breaks, access keys, blanks at either end.
std::string carried(const std::string& text) {
    static const std::regex marks(R"re(%[0-9]+|%[-+ #0]*[0-9]*(\.[0-9]+)?[a-zA-Z%]|\\[nrt]|&&|&)re");
    std::multiset<std::string> found;
    for (std::sregex_iterator it(text.begin(), text.end(), marks), end; it != end; ++it) found.insert(it->str());
    if (text.starts_with(' ')) found.insert("blank first");
    if (text.ends_with(' ')) found.insert("blank last");
    std::string out;
    for (const std::string& m : found) out += "[" + m + "]";
    return out;
}

TEST(DeliveredLanguageFiles, EnglishAndItalianHoldTheSameKeysAndPlaceholders) {
    const auto italian = entriesOf("italian.lng"), english = entriesOf("english.lng");
    ASSERT_GT(italian.size(), 100u);
    for (const auto& [key, text] : italian) {
        const auto other = english.find(key);
        EXPECT_EQ(carried(text), other == english.end() ? "(lacking)" : carried(other->second)) << key << ": " << text;
    }
    for (const auto& entry : english) EXPECT_TRUE(italian.contains(entry.first)) << "italian.lng lacks " << entry.first;
    // Every message the code names has its text.
    const auto declared = readWholeFile(std::string(OMBRIX_SOURCE_DIR) + "/src/support/messages.h").value_or("");
    static const std::regex number(R"re(\{"([0-9]{4})"\})re");
    int named = 0;
    for (std::sregex_iterator it(declared.begin(), declared.end(), number), end; it != end; ++it, ++named) {
        EXPECT_TRUE(italian.contains("Strings/" + (*it)[1].str())) << "italian.lng lacks message " << (*it)[1];
    }
    EXPECT_GT(named, 100);
}
#endif

}  // namespace
}  // namespace ombrix

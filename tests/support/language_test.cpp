#include "support/language.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <set>

#include "fakes/fixtures.h"
#include "platform/system.h"
#include "platform/files.h"
#include "platform/text.h"
#include "support/messages.h"

namespace ombrix {
namespace {

// Always italian.lng beside the program: a settings file naming another
// language changes nothing, and a missing file gives empty texts.
TEST(Language, ReadsTheItalianFileBesideTheProgram) {
    test::TempDir dir;
    Language lang(pathToUtf8(dir.path()), platform::pathSeparator());
    EXPECT_EQ(lang.messageText(msg::ProcessAlreadyListed), "");
    EXPECT_EQ(lang.formValue("frmOmbrix", "frmOmbrix.Caption"), "");
    test::writeFile(dir.file("italian.lng"), "[Strings]\r\n0106=Processo gi\xE0 presente\r\n");
    test::writeFile(dir.file("english.lng"), "[Strings]\r\n0106=Process already there\r\n");
    test::writeFile(dir.file("LangSetting.ini"), "[Language]\r\nCurrentLanguage=english\r\n");
    EXPECT_EQ(lang.messageText(msg::ProcessAlreadyListed), "Processo già presente");
    EXPECT_EQ(lang.messageText(MessageId{"0999"}), "");
    EXPECT_EQ(lang.currentName(), "italian");
}

TEST(Language, OneSeparatorBetweenFolderAndFile) {
    EXPECT_EQ(Language("C:\\", '\\').languageFilePath(), "C:\\italian.lng");
    EXPECT_EQ(Language("C:\\Programmi\\Ombrix", '\\').languageFilePath(), "C:\\Programmi\\Ombrix\\italian.lng");
    EXPECT_EQ(Language("/opt/ombrix/", '/').languageFilePath(), "/opt/ombrix/italian.lng");
}

#ifndef _WIN32
// Messages are named in support/messages.h and their numbers quoted nowhere
// else in the code; the delivered file holds each one named, in the file's
// own encoding and line ends.
TEST(DeliveredLanguageFile, HoldsEveryMessageTheCodeNamesAndNoNumberIsQuotedElsewhere) {
    const std::string root = OMBRIX_SOURCE_DIR;
    const auto bytes = readWholeFile(root + "/data/italian.lng");
    ASSERT_TRUE(bytes) << "data/italian.lng is missing";
    EXPECT_NE(bytes->find("\r\n"), std::string::npos);
    EXPECT_EQ(replaceAll(*bytes, "\r\n", "").find('\n'), std::string::npos) << "a bare LF";

    Language lang(root + "/data", '/');
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
#endif

}  // namespace
}  // namespace ombrix

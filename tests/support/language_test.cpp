#include "support/language.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <set>

#include "fakes/fixtures.h"
#include "platform/system.h"
#include "platform/files.h"
#include "platform/text.h"

namespace ombrix {
namespace {

// Always italian.lng beside the program: a settings file naming another
// language changes nothing, and a missing file gives empty texts.
TEST(Language, ReadsTheItalianFileBesideTheProgram) {
    test::TempDir dir;
    Language lang(pathToUtf8(dir.path()), platform::pathSeparator());
    EXPECT_EQ(lang.TestoMessaggio("0106"), "");
    EXPECT_EQ(lang.formValue("frmOmbrix", "frmOmbrix.Caption"), "");
    test::writeFile(dir.file("italian.lng"), "[Strings]\r\n0106=Processo gi\xE0 presente\r\n");
    test::writeFile(dir.file("english.lng"), "[Strings]\r\n0106=Process already there\r\n");
    test::writeFile(dir.file("LangSetting.ini"), "[Language]\r\nCurrentLanguage=english\r\n");
    EXPECT_EQ(lang.TestoMessaggio("0106"), "Processo già presente");
    EXPECT_EQ(lang.TestoMessaggio("0999"), "");
    EXPECT_EQ(lang.currentName(), "italian");
}

TEST(Language, OneSeparatorBetweenFolderAndFile) {
    EXPECT_EQ(Language("C:\\", '\\').languageFilePath(), "C:\\italian.lng");
    EXPECT_EQ(Language("C:\\Programmi\\Ombrix", '\\').languageFilePath(), "C:\\Programmi\\Ombrix\\italian.lng");
    EXPECT_EQ(Language("/opt/ombrix/", '/').languageFilePath(), "/opt/ombrix/italian.lng");
}

#ifndef _WIN32
// The delivered language file must hold every message the code asks for, in
// the file's own encoding and line ends.
TEST(DeliveredLanguageFile, HoldsEveryIdentifierTheCodeUses) {
    const std::string root = OMBRIX_SOURCE_DIR;
    const auto bytes = readWholeFile(root + "/data/italian.lng");
    ASSERT_TRUE(bytes) << "data/italian.lng is missing";
    EXPECT_NE(bytes->find("\r\n"), std::string::npos);
    EXPECT_EQ(replaceAll(*bytes, "\r\n", "").find('\n'), std::string::npos) << "a bare LF";

    Language lang(root + "/data", '/');
    // A message identifier in code is a four-digit string literal.
    const std::regex id(R"re("(0[0-9]{3})")re");
    std::set<std::string> missing;
    int seen = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root + "/src")) {
        const auto ext = entry.path().extension();
        if (ext != ".cpp" && ext != ".h") continue;
        const auto text = readWholeFile(pathToUtf8(entry.path()));
        ASSERT_TRUE(text);
        for (std::sregex_iterator it(text->begin(), text->end(), id), end; it != end; ++it) {
            ++seen;
            const std::string identifier = (*it)[1].str();
            if (lang.TestoMessaggio(identifier).empty())
                missing.insert(entry.path().filename().string() + ": " + identifier);
        }
    }
    EXPECT_GT(seen, 5);
    for (const auto& m : missing) ADD_FAILURE() << "no text for " << m;
}
#endif

}  // namespace
}  // namespace ombrix

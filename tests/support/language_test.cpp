#include "support/language.h"

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace ombrix

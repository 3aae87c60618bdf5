#include "platform/text.h"

#include <gtest/gtest.h>

namespace ombrix {
namespace {

TEST(Cp1252, DecodesEveryByteRoundTripsAndMarksWhatItCannotHold) {
    std::string all;
    for (int b = 1; b < 256; ++b) all += static_cast<char>(b);
    EXPECT_EQ(utf8ToCp1252(cp1252ToUtf8(all)), all);
    EXPECT_EQ(cp1252ToUtf8("\x80 \xE8\xC8 \x93x\x94 \x8A\x9A plain"), "€ èÈ \u201Cx\u201D Šš plain");
    // Characters outside the code page, and stray bytes, become question marks.
    EXPECT_EQ(utf8ToCp1252("\u4E2D\u6587 ok"), "?? ok");
    EXPECT_EQ(utf8ToCp1252("bad \xFF byte"), "bad ? byte");
}

TEST(LowerText, LowersAccentedLettersAsWindowsDoes) {
    struct Case {
        const char* in;
        const char* out;
    } cases[] = {
        {"HTTP://WWW.Example.ORG/", "http://www.example.org/"},
        {"ÀÈÉÌÒÙ", "àèéìòù"},
        {"Œuvre Štěpán Ÿ", "œuvre štěpán ÿ"},
        {"ÆØÅ×", "æøå×"},  // × is not a letter
        {"ΑΒΓ Ключ", "αβγ ключ"},
        // The ends of each run the folding knows.
        {"AZ ÀÞ ĀĞ ĹŽ", "az àþ āğ ĺž"},
        {"ΑΩΫ Ά ΈΊ", "αωϋ ά έί"},
        {"АЯ ЀЏ", "ая ѐџ"},
        {"ß already lower", "ß already lower"},
        {"\xFF stray", "\xFF stray"},
    };
    for (const auto& c : cases) EXPECT_EQ(lowerText(c.in), c.out) << c.in;
}

TEST(CompareNoCase, IgnoresCaseOfAsciiAndLatinLettersAlike) {
    EXPECT_TRUE(equalsNoCase("È", "è"));
    EXPECT_TRUE(equalsNoCase("Città", "CITTÀ"));
    EXPECT_TRUE(equalsNoCase("Notepad.EXE", "notepad.exe"));
    EXPECT_TRUE(equalsNoCase("ZOOM.EXE", "zoom.exe"));
    EXPECT_TRUE(equalsNoCase("zoom.exe", "ZOOM.EXE"));
    EXPECT_TRUE(equalsNoCase("ЯНДЕКС", "яндекс"));
    EXPECT_FALSE(equalsNoCase("e", "è"));
    EXPECT_FALSE(equalsNoCase("abc", "abcd"));
    EXPECT_LT(compareNoCase("abc", "ABD"), 0);
    EXPECT_GT(compareNoCase("b", "A"), 0);
    EXPECT_LT(compareNoCase("", "a"), 0);
}

TEST(Text, TrimAndReplace) {
    EXPECT_EQ(trimBlanks("  a b  "), "a b");
    EXPECT_EQ(trimBlanks("   "), "");
    EXPECT_EQ(trimBlanks("\ta\t"), "\ta\t");  // only blanks, as Trim does
    EXPECT_EQ(replaceAll("l'uno e l'altro", "'", "''"), "l''uno e l''altro");
    EXPECT_EQ(replaceAll("aaa", "aa", "b"), "ba");
}

}  // namespace
}  // namespace ombrix

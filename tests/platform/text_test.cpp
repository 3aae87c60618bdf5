#include "platform/text.h"

#include <gtest/gtest.h>

#include <sstream>
#include <tuple>

#include "platform/text_input.h"

namespace ombrix {
namespace {

using E = TextEncoding;

TEST(Cp1252, DecodesEveryByteRoundTripsAndMarksWhatItCannotHold) {
    std::string all;
    for (int b = 1; b < 256; ++b) all += static_cast<char>(b);
    EXPECT_EQ(utf8ToCp1252(cp1252ToUtf8(all)), all);
    EXPECT_EQ(cp1252ToUtf8("\x80 \xE8\xC8 \x93x\x94 \x8A\x9A plain"), "€ èÈ \u201Cx\u201D Šš plain");
    EXPECT_EQ(utf8ToCp1252("\u4E2D\u6587 ok \xFF"), "?? ok ?") << "outside the code page, and stray bytes";
    EXPECT_EQ(utf8ToCp1252("\xC0\xAF|\xED\xBF\xBF|\xF4\x90\x80\x80|\xFF x|\xF4\x8F\xBF\xBF"), "??|???|????|? x|?") << "overlong, surrogate, past U+10FFFF, stray: a mark a byte";
}

TEST(LowerText, LowersAccentedLettersAsWindowsDoes) {
    const std::pair<const char*, const char*> cases[] = {
        {"Œuvre Štěpán Ÿ", "œuvre štěpán ÿ"}, {"ÆØÅ×", "æøå×"},  // × is not a letter
        {"AZ ÀÞ ĀĞ ĹŽ", "az àþ āğ ĺž"}, {"ΑΩΫ Ά ΈΊ", "αωϋ ά έί"}, {"АЯ ЀЏ", "ая ѐџ"},  // the ends of each run folded
        {"ß \xFF stray", "ß \xFF stray"},
    };
    for (const auto& [in, out] : cases) EXPECT_EQ(lowerText(in), out) << in;
}

TEST(Text, CompareIgnoringCaseTrimAndReplace) {
    EXPECT_TRUE(equalsNoCase("Città", "CITTÀ") && equalsNoCase("zoom.exe", "ZOOM.EXE") && equalsNoCase("ЯНДЕКС", "яндекс"));
    EXPECT_FALSE(equalsNoCase("e", "è") || equalsNoCase("abc", "abcd"));
    EXPECT_TRUE(compareNoCase("abc", "ABD") < 0 && compareNoCase("b", "A") > 0 && compareNoCase("", "a") < 0);
    EXPECT_EQ(std::string(trimBlanks("  a b  ")) + "|" + std::string(trimBlanks("   ")) + "|" + std::string(trimBlanks("\ta\t")),
              "a b||\ta\t");  // only blanks
    EXPECT_EQ(replaceAll("l'uno e l'aaa", "'", "''") + replaceAll("aaa", "aa", "b"), "l''uno e l''aaaba");
}

// Every line of `bytes`, each followed by "|", and "(cut)" after a cut one.
std::string linesOf(const std::string& bytes, TextLines::Options options) {
    std::istringstream in(bytes);
    TextLines lines(in, options);
    std::string out, line;
    while (lines.next(line)) out += line + (lines.lineCut() ? "(cut)|" : "|");
    return out;
}

TEST(TextLines, EveryEncodingAWindowsToolSavesReadsAsTheSameText) {
    const std::tuple<const char*, std::string, E, std::string> cases[] = {  // name, bytes, encoding without a mark, lines
        {"UTF-8", "a.it\r\nb\xC3\xA8.it\nc", E::Utf8, "a.it|b\xC3\xA8.it|c|"},
        {"UTF-8 with its mark", "\xEF\xBB\xBF" "a.it\r\n", E::Utf8, "a.it|"},
        {"UTF-16 LE", std::string("\xFF\xFE" "a\0\xE8\0\r\0\n\0b\0", 12), E::Utf8, "a\xC3\xA8|b|"},
        {"UTF-16 BE", std::string("\xFE\xFF\0a\0\xE8\0\n\0b", 10), E::Utf8, "a\xC3\xA8|b|"},
        {"a pair of surrogates", std::string("\xFF\xFE\x3D\xD8\x00\xDE", 6), E::Utf8, "\xF0\x9F\x98\x80|"},
        {"a lone surrogate", std::string("\xFF\xFE\x3D\xD8" "a\0", 6), E::Utf8, "\xED\xA0\xBD" "a|"},
        {"an odd last byte", std::string("\xFF\xFE" "a\0b", 5), E::Utf8, "a\xFF|"},
        {"the code page", "caff\xE8 \x80\r\n", E::Windows1252, "caff\xC3\xA8 \xE2\x82\xAC|"},
        {"the code page, with UTF-8's mark", "\xEF\xBB\xBF" "caff\xC3\xA8", E::Windows1252, "caff\xC3\xA8|"},
        {"a lone CR stays", "a\rb\r\n\r", E::Utf8, "a\rb||"},
    };
    for (const auto& [name, bytes, withoutMark, lines] : cases) EXPECT_EQ(linesOf(bytes, {withoutMark, 1024, false}), lines) << name;
    EXPECT_EQ(linesOf("a\rb\r\nc\n", {E::Utf8, 1024, true}), "a|b|c|") << "a lone CR ends a line";
}

TEST(TextLines, ALongLineIsCutAndCountedButNotKept) {
    EXPECT_EQ(linesOf("abcdef\nxy\n" + std::string(100000, 'z') + "\nend", {E::Utf8, 4, false}), "abcd(cut)|xy|zzzz(cut)|end|");
    // A decoded character is never split; UTF-8 passes byte by byte (a cut line is refused whole anyway).
    EXPECT_EQ(linesOf("ab\xC3\xA8", {E::Utf8, 3, false}) + linesOf("ab\xE8", {E::Windows1252, 3, false}), "ab\xC3(cut)|ab(cut)|");
}

}  // namespace
}  // namespace ombrix

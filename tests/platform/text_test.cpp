#include "platform/text.h"

#include <gtest/gtest.h>

#include <sstream>

#include "platform/text_input.h"

namespace ombrix {
namespace {

TEST(Cp1252, DecodesEveryByteRoundTripsAndMarksWhatItCannotHold) {
    std::string all;
    for (int b = 1; b < 256; ++b) all += static_cast<char>(b);
    EXPECT_EQ(utf8ToCp1252(cp1252ToUtf8(all)), all);
    EXPECT_EQ(cp1252ToUtf8("\x80 \xE8\xC8 \x93x\x94 \x8A\x9A plain"), "€ èÈ \u201Cx\u201D Šš plain");
    EXPECT_EQ(utf8ToCp1252("\u4E2D\u6587 ok \xFF"), "?? ok ?") << "outside the code page, and stray bytes";
    // Overlong, surrogate, past U+10FFFF, stray: each byte is one mark.
    EXPECT_EQ(utf8ToCp1252("\xC0\xAF|\xED\xBF\xBF|\xF4\x90\x80\x80|\xFF x|\xF4\x8F\xBF\xBF"), "??|???|????|? x|?");
}

TEST(LowerText, LowersAccentedLettersAsWindowsDoes) {
    const std::pair<const char*, const char*> cases[] = {
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
    for (const auto& [in, out] : cases) EXPECT_EQ(lowerText(in), out) << in;
}

TEST(CompareNoCase, IgnoresCaseOfAsciiAndLatinLettersAlike) {
    EXPECT_TRUE(equalsNoCase("Città", "CITTÀ") && equalsNoCase("zoom.exe", "ZOOM.EXE") && equalsNoCase("ЯНДЕКС", "яндекс"));
    EXPECT_FALSE(equalsNoCase("e", "è") || equalsNoCase("abc", "abcd"));
    EXPECT_TRUE(compareNoCase("abc", "ABD") < 0 && compareNoCase("b", "A") > 0);
    EXPECT_LT(compareNoCase("", "a"), 0);
}

TEST(Text, TrimAndReplace) {
    EXPECT_EQ(std::string(trimBlanks("  a b  ")) + "|" + std::string(trimBlanks("   ")), "a b|");
    EXPECT_EQ(trimBlanks("\ta\t"), "\ta\t");  // only blanks, as Trim does
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
    using E = TextEncoding;
    const struct {
        const char* name;
        std::string bytes;
        E withoutMark;
        std::string lines;
    } cases[] = {
        {"UTF-8", "a.it\r\nb\xC3\xA8.it\nc", E::Utf8, "a.it|b\xC3\xA8.it|c|"},
        {"UTF-8 with its mark", "\xEF\xBB\xBF" "a.it\r\n", E::Utf8, "a.it|"},
        {"UTF-16 LE", std::string("\xFF\xFE" "a\0\xE8\0\r\0\n\0b\0", 12), E::Utf8, "a\xC3\xA8|b|"},
        {"UTF-16 BE", std::string("\xFE\xFF\0a\0\xE8\0\n\0b", 10), E::Utf8, "a\xC3\xA8|b|"},
        {"a pair of surrogates", std::string("\xFF\xFE\x3D\xD8\x00\xDE", 6), E::Utf8, "\xF0\x9F\x98\x80|"},
        // What is not text comes out as bytes that are not UTF-8.
        {"a lone surrogate", std::string("\xFF\xFE\x3D\xD8" "a\0", 6), E::Utf8, "\xED\xA0\xBD" "a|"},
        {"an odd last byte", std::string("\xFF\xFE" "a\0b", 5), E::Utf8, "a\xFF|"},
        {"the code page", "caff\xE8 \x80\r\n", E::Windows1252, "caff\xC3\xA8 \xE2\x82\xAC|"},
        {"the code page, with UTF-8's mark", "\xEF\xBB\xBF" "caff\xC3\xA8", E::Windows1252, "caff\xC3\xA8|"},
        {"a lone CR stays", "a\rb\r\n\r", E::Utf8, "a\rb||"},  // the last one ends its empty line
    };
    for (const auto& c : cases) EXPECT_EQ(linesOf(c.bytes, {c.withoutMark, 1024, false}), c.lines) << c.name;
    EXPECT_EQ(linesOf("a\rb\r\nc\n", {TextEncoding::Utf8, 1024, true}), "a|b|c|") << "a lone CR ends a line";
}

TEST(TextLines, ALongLineIsCutAndCountedButNotKept) {
    EXPECT_EQ(linesOf("abcdef\nxy\n" + std::string(100000, 'z') + "\nend", {TextEncoding::Utf8, 4, false}), "abcd(cut)|xy|zzzz(cut)|end|");
    // A decoded character is never split; UTF-8 passes byte by byte (a cut line is refused whole anyway).
    EXPECT_EQ(linesOf("ab\xC3\xA8", {TextEncoding::Utf8, 3, false}), "ab\xC3(cut)|");
    EXPECT_EQ(linesOf("ab\xE8", {TextEncoding::Windows1252, 3, false}), "ab(cut)|");

}

}  // namespace
}  // namespace ombrix

#include "platform/text_input.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace ombrix {
namespace {

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
        {"the mark alone", "\xEF\xBB\xBF", E::Utf8, ""},
        {"UTF-16 LE", std::string("\xFF\xFE" "a\0\xE8\0\r\0\n\0b\0", 12), E::Utf8, "a\xC3\xA8|b|"},
        {"UTF-16 BE", std::string("\xFE\xFF\0a\0\xE8\0\n\0b", 10), E::Utf8, "a\xC3\xA8|b|"},
        {"a pair of surrogates", std::string("\xFF\xFE\x3D\xD8\x00\xDE", 6), E::Utf8, "\xF0\x9F\x98\x80|"},
        // What is not text comes out as bytes that are not UTF-8.
        {"a lone surrogate", std::string("\xFF\xFE\x3D\xD8" "a\0", 6), E::Utf8, "\xED\xA0\xBD" "a|"},
        {"an odd last byte", std::string("\xFF\xFE" "a\0b", 5), E::Utf8, "a\xFF|"},
        {"the code page", "caff\xE8 \x80\r\n", E::Windows1252, "caff\xC3\xA8 \xE2\x82\xAC|"},
        {"the code page, with UTF-8's mark", "\xEF\xBB\xBF" "caff\xC3\xA8", E::Windows1252, "caff\xC3\xA8|"},
        {"a NUL stays", std::string("a\0b\n", 4), E::Utf8, std::string("a\0b|", 4)},
        {"a lone CR stays", "a\rb\r\n\r", E::Utf8, "a\rb||"},  // the last one ends its empty line
        {"empty lines count", "\n\na", E::Utf8, "||a|"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(linesOf(c.bytes, {c.withoutMark, 1024, false}), c.lines) << c.name;
    }
    EXPECT_EQ(linesOf("a\rb\r\nc\n", {TextEncoding::Utf8, 1024, true}), "a|b|c|") << "a lone CR ends a line";
}

TEST(TextLines, ALongLineIsCutAndCountedButNotKept) {
    EXPECT_EQ(linesOf("abcdef\nxy\n" + std::string(100000, 'z') + "\nend", {TextEncoding::Utf8, 4, false}),
              "abcd(cut)|xy|zzzz(cut)|end|");
    // A decoded character is never split; UTF-8 passes byte by byte (a cut line is refused whole anyway).
    EXPECT_EQ(linesOf("ab\xC3\xA8", {TextEncoding::Utf8, 3, false}), "ab\xC3(cut)|");
    EXPECT_EQ(linesOf("ab\xE8", {TextEncoding::Windows1252, 3, false}), "ab(cut)|");

    std::istringstream in("a\nb\n\nc");
    TextLines lines(in, {});
    std::string line;
    std::vector<std::size_t> numbers;
    while (lines.next(line)) numbers.push_back(lines.lineNumber());
    EXPECT_EQ(numbers, (std::vector<std::size_t>{1, 2, 3, 4}));
}

TEST(DecodedText, KeepsLineEndsAndStopsAtItsBound) {
    std::istringstream utf16(std::string("\xFF\xFE" "a\0\n\0", 6));
    EXPECT_EQ(decodedText(utf16, TextEncoding::Utf8, 100), "a\n");
    std::istringstream endless(std::string(1 << 20, 'x'));
    bool cut = false;
    EXPECT_EQ(decodedText(endless, TextEncoding::Utf8, 10, &cut), std::string(10, 'x'));
    EXPECT_TRUE(cut);
}

}  // namespace
}  // namespace ombrix

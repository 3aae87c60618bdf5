#pragma once
// Text that comes in as bytes from outside the program (standard input, a
// file a person saved), as UTF-8. Windows tools save text as UTF-8 with or
// without its byte order mark, or as UTF-16 ("Unicode" in Notepad,
// PowerShell 5's ">"), little or big endian, which its mark tells; text
// without a mark is read in the caller's encoding. The mark is never part of
// the text.

#include <cstddef>
#include <iosfwd>
#include <string>

namespace ombrix {

enum class TextEncoding { Utf8, Utf16LittleEndian, Utf16BigEndian, Windows1252 };

// The characters of the input, one at a time.
class TextDecoder {
public:
    // `withoutMark`: Utf8 or Windows1252.
    TextDecoder(std::istream& in, TextEncoding withoutMark);

    // One character; `raw` marks a byte copied as it stands: a byte of UTF-8
    // input, or input that is not text in its encoding (a lone UTF-16
    // surrogate comes out encoded as itself, an odd last byte as 0xFF), so
    // that whatever checks the text finds it is not UTF-8.
    struct Character {
        char32_t c = 0;
        bool raw = false;
        [[nodiscard]] bool is(char32_t x) const { return !raw && c == x; }
        void appendTo(std::string& utf8) const;
    };
    // The next character; false at the end of the input.
    [[nodiscard]] bool next(Character& ch);
    // Hands back a character read ahead, to come before any other.
    void unread(Character ch);
    // The input's encoding, as its mark or the fallback says; known once
    // next() has been called.
    [[nodiscard]] TextEncoding encoding() const { return encoding_; }

private:
    int nextByte();
    bool read(Character& ch);
    void readMark();

    std::streambuf* in_;
    TextEncoding encoding_;
    bool started_ = false;
    std::string head_;  // bytes read to look for the mark, not yet handed on
    std::size_t headAt_ = 0;
    // Read ahead: after a CR, and after a high surrogate without its pair.
    Character ahead_[2];
    std::size_t aheadCount_ = 0;
};

// The whole input as UTF-8 (line ends kept as they are), at most `maxBytes`
// of it; `cut` tells whether there was more.
[[nodiscard]] std::string decodedText(std::istream& in, TextEncoding withoutMark, std::size_t maxBytes,
                                      bool* cut = nullptr);

// The input line by line.
class TextLines {
public:
    struct Options {
        // Utf8 or Windows1252: how text without a byte order mark is read.
        TextEncoding withoutMark = TextEncoding::Utf8;
        // The UTF-8 bytes one line may hold; a longer line is cut there, so
        // endless input without a line break cannot fill the memory.
        std::size_t maxLineBytes = 64 * 1024;
        // A CR alone ends a line too (else only CR LF and LF do, and a lone
        // CR stays in the line, for the caller's check to see).
        bool loneCrEndsLine = false;
    };

    TextLines(std::istream& in, Options options);

    // The next line as UTF-8, without its end; false when the input holds no
    // more. Input that is not text comes out as bytes that are not UTF-8.
    [[nodiscard]] bool next(std::string& line);
    // 1-based number of the line next() gave last.
    [[nodiscard]] std::size_t lineNumber() const { return number_; }
    // Whether that line was longer than maxLineBytes (and so was cut).
    [[nodiscard]] bool lineCut() const { return cut_; }
    [[nodiscard]] TextEncoding encoding() const { return decoder_.encoding(); }

private:
    TextDecoder decoder_;
    Options options_;
    std::size_t number_ = 0;
    bool cut_ = false;
};

}  // namespace ombrix

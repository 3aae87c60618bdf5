#include "platform/text_input.h"

#include <array>
#include <istream>

#include "platform/text.h"

namespace ombrix {
namespace {

constexpr int kEnd = std::char_traits<char>::eof();

// The code page's character for each byte from 0x80.
const std::array<char32_t, 128>& cp1252High() {
    static const std::array<char32_t, 128> table = [] {
        std::array<char32_t, 128> t{};
        for (std::size_t b = 0; b < t.size(); ++b) {
            const std::string utf8 = cp1252ToUtf8(std::string(1, static_cast<char>(0x80 + b)));
            std::size_t pos = 0;
            t[b] = decodeUtf8(utf8, pos);
        }
        return t;
    }();
    return table;
}

}  // namespace

void TextDecoder::Character::appendTo(std::string& utf8) const {
    if (raw) {
        utf8 += static_cast<char>(c);
    } else {
        appendUtf8(utf8, c);
    }
}

TextDecoder::TextDecoder(std::istream& in, TextEncoding withoutMark) : in_(in.rdbuf()), encoding_(withoutMark) {}

int TextDecoder::nextByte() {
    if (headAt_ < head_.size()) return static_cast<unsigned char>(head_[headAt_++]);
    if (in_ == nullptr) return kEnd;
    const int b = in_->sbumpc();
    return b == kEnd ? kEnd : static_cast<unsigned char>(b);
}

void TextDecoder::readMark() {
    for (int i = 0; i < 3; ++i) {
        const int b = in_ ? in_->sbumpc() : kEnd;
        if (b == kEnd) break;
        head_ += static_cast<char>(b);
        // Two bytes tell UTF-16; only UTF-8's mark needs the third.
        if (head_ == "\xFF\xFE" || head_ == "\xFE\xFF") break;
    }
    if (head_.starts_with("\xEF\xBB\xBF")) {
        encoding_ = TextEncoding::Utf8;
        headAt_ = 3;
    } else if (head_ == "\xFF\xFE") {
        encoding_ = TextEncoding::Utf16LittleEndian;
        headAt_ = 2;
    } else if (head_ == "\xFE\xFF") {
        encoding_ = TextEncoding::Utf16BigEndian;
        headAt_ = 2;
    }
}

void TextDecoder::unread(Character ch) {
    if (aheadCount_ == 1) ahead_[1] = ahead_[0];
    ahead_[0] = ch;
    ++aheadCount_;
}

bool TextDecoder::next(Character& ch) {
    if (!started_) {
        started_ = true;
        readMark();
    }
    if (aheadCount_ == 0) return read(ch);
    ch = ahead_[0];
    ahead_[0] = ahead_[1];
    --aheadCount_;
    return true;
}

bool TextDecoder::read(Character& ch) {
    ch = {};
    if (encoding_ == TextEncoding::Utf8 || encoding_ == TextEncoding::Windows1252) {
        const int b = nextByte();
        if (b == kEnd) return false;
        ch.c = static_cast<char32_t>(b);
        if (b >= 0x80) {
            if (encoding_ == TextEncoding::Utf8) {
                ch.raw = true;
            } else {
                ch.c = cp1252High()[static_cast<std::size_t>(b - 0x80)];
            }
        }
        return true;
    }
    const bool big = encoding_ == TextEncoding::Utf16BigEndian;
    // 2 for a whole unit, 1 for a lone last byte, 0 at the end.
    const auto unit = [&](char32_t& u) {
        const int first = nextByte();
        if (first == kEnd) return 0;
        const int second = nextByte();
        if (second == kEnd) return 1;
        u = static_cast<char32_t>(big ? (first << 8) | second : (second << 8) | first);
        return 2;
    };
    constexpr Character kOddByte{0xFF, true};
    char32_t u = 0;
    const int got = unit(u);
    if (got == 0) return false;
    if (got == 1) {
        ch = kOddByte;
        return true;
    }
    ch.c = u;
    if (u >= 0xD800 && u <= 0xDBFF) {
        // A high surrogate: its pair follows, or it stands alone.
        char32_t low = 0;
        const int next = unit(low);
        if (next == 2 && low >= 0xDC00 && low <= 0xDFFF) {
            ch.c = 0x10000 + ((u - 0xD800) << 10) + (low - 0xDC00);
        } else if (next == 2) {
            unread({low, false});
        } else if (next == 1) {
            unread(kOddByte);
        }
    }
    return true;
}

std::string decodedText(std::istream& in, TextEncoding withoutMark, std::size_t maxBytes, bool* cut) {
    TextDecoder decoder(in, withoutMark);
    std::string text, piece;
    bool more = false;
    TextDecoder::Character ch;
    while (decoder.next(ch)) {
        piece.clear();
        ch.appendTo(piece);
        if (text.size() + piece.size() > maxBytes) {
            more = true;
            break;
        }
        text += piece;
    }
    if (cut) *cut = more;
    return text;
}

TextLines::TextLines(std::istream& in, Options options) : decoder_(in, options.withoutMark), options_(options) {}

bool TextLines::next(std::string& line) {
    line.clear();
    cut_ = false;
    TextDecoder::Character ch;
    if (!decoder_.next(ch)) return false;
    ++number_;
    std::string piece;
    do {
        if (ch.is(U'\n')) break;
        if (ch.is(U'\r')) {
            TextDecoder::Character after;
            if (!decoder_.next(after)) break;
            if (after.is(U'\n')) break;
            decoder_.unread(after);
            if (options_.loneCrEndsLine) break;
        }
        piece.clear();
        ch.appendTo(piece);
        if (cut_ || line.size() + piece.size() > options_.maxLineBytes) {
            cut_ = true;
        } else {
            line += piece;
        }
    } while (decoder_.next(ch));
    return true;
}

}  // namespace ombrix

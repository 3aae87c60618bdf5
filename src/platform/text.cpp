#include "platform/text.h"

#include <array>

namespace ombrix {
namespace {

// 0x80-0x9F of Windows-1252; 0 marks the five bytes with no character.
constexpr std::array<char16_t, 32> kHigh = {
    0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0,      0x017D, 0,
    0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};

char32_t lowerCodePoint(char32_t c) {
    if (c < 0x80) return (c >= 'A' && c <= 'Z') ? c + 32 : c;
    if (c >= 0xC0 && c <= 0xDE && c != 0xD7) return c + 32;
    if (c >= 0x100 && c <= 0x17F) {
        if (c == 0x130) return 'i';
        if (c == 0x178) return 0xFF;
        // Two runs where the capital sits on the odd code point.
        if ((c >= 0x139 && c <= 0x148) || (c >= 0x179 && c <= 0x17E)) return (c % 2 == 1) ? c + 1 : c;
        if (c == 0x131 || c == 0x138 || c == 0x149 || c == 0x17F) return c;
        return (c % 2 == 0) ? c + 1 : c;
    }
    if (c >= 0x391 && c <= 0x3AB && c != 0x3A2) return c + 32;
    if (c == 0x386) return 0x3AC;
    if (c >= 0x388 && c <= 0x38A) return c + 37;
    if (c >= 0x410 && c <= 0x42F) return c + 32;
    if (c >= 0x400 && c <= 0x40F) return c + 80;
    return c;
}

}  // namespace

void appendUtf8(std::string& out, char32_t cp) {
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (cp >> 18));
        out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

char32_t decodeUtf8(std::string_view s, std::size_t& pos) {
    const auto b0 = static_cast<unsigned char>(s[pos]);
    auto cont = [&](std::size_t i) -> int {
        if (pos + i >= s.size()) return -1;
        const auto b = static_cast<unsigned char>(s[pos + i]);
        return (b & 0xC0) == 0x80 ? (b & 0x3F) : -1;
    };
    if (b0 < 0x80) {
        ++pos;
        return b0;
    }
    int need = 0;
    char32_t cp = 0;
    if ((b0 & 0xE0) == 0xC0 && b0 >= 0xC2) {
        need = 1;
        cp = b0 & 0x1F;
    } else if ((b0 & 0xF0) == 0xE0) {
        need = 2;
        cp = b0 & 0x0F;
    } else if ((b0 & 0xF8) == 0xF0 && b0 <= 0xF4) {
        need = 3;
        cp = b0 & 0x07;
    }
    for (int i = 1; i <= need; ++i) {
        const int c = cont(static_cast<std::size_t>(i));
        if (c < 0) {
            need = 0;
            break;
        }
        cp = (cp << 6) | static_cast<char32_t>(c);
    }
    const bool overlong = (need == 2 && cp < 0x800) || (need == 3 && cp < 0x10000);
    if (need == 0 || overlong || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
        ++pos;
        return b0;
    }
    pos += static_cast<std::size_t>(need) + 1;
    return cp;
}

namespace {

// Calls f(cp, stray) for each character; a byte that is not UTF-8 comes as
// itself with `stray` set.
template <typename F>
void forEachCharacter(std::string_view utf8, F f) {
    std::size_t pos = 0;
    while (pos < utf8.size()) {
        const std::size_t start = pos;
        const char32_t cp = decodeUtf8(utf8, pos);
        f(cp, cp >= 0x80 && pos - start == 1);
    }
}

}  // namespace

std::size_t characterCount(std::string_view utf8) {
    std::size_t count = 0;
    forEachCharacter(utf8, [&](char32_t, bool) { ++count; });
    return count;
}

bool isControlCharacter(char32_t c) { return c < 0x20 || (c >= 0x7f && c <= 0x9f); }

bool isValidUtf8(std::string_view text) {
    bool valid = true;
    forEachCharacter(text, [&](char32_t, bool stray) { valid = valid && !stray; });
    return valid;
}

bool typeableText(std::string_view text) {
    bool typeable = true;
    forEachCharacter(text, [&](char32_t c, bool stray) { typeable = typeable && !stray && !isControlCharacter(c); });
    return typeable;
}

std::string cp1252ToUtf8(std::string_view bytes) {
    std::string out;
    out.reserve(bytes.size() + bytes.size() / 8);
    for (const char ch : bytes) {
        const auto b = static_cast<unsigned char>(ch);
        if (b < 0x80) {
            out += ch;
        } else if (b < 0xA0) {
            const char16_t u = kHigh[b - 0x80];
            appendUtf8(out, u ? u : b);
        } else {
            appendUtf8(out, b);
        }
    }
    return out;
}

namespace {

// One character's byte in Windows-1252, or 0 when it has none (NUL has its own
// byte but never reaches here as a mapped character).
char cp1252Byte(char32_t cp) {
    if (cp < 0x80 || (cp >= 0xA0 && cp <= 0xFF)) return static_cast<char>(cp);
    for (std::size_t i = 0; i < kHigh.size(); ++i) {
        if ((kHigh[i] != 0 && kHigh[i] == cp) || (kHigh[i] == 0 && cp == 0x80 + i)) {
            return static_cast<char>(0x80 + i);
        }
    }
    return 0;
}

}  // namespace

std::string utf8ToCp1252(std::string_view utf8) {
    std::string out;
    out.reserve(utf8.size());
    forEachCharacter(utf8, [&](char32_t cp, bool stray) {
        const char b = stray ? '?' : cp1252Byte(cp);
        out += (b != 0 || cp == 0) ? b : '?';
    });
    return out;
}

std::optional<std::string> utf8ToCp1252Exact(std::string_view utf8) {
    std::string out;
    out.reserve(utf8.size());
    bool exact = true;
    forEachCharacter(utf8, [&](char32_t cp, bool stray) {
        const char b = stray ? 0 : cp1252Byte(cp);
        if (b == 0 && (stray || cp != 0)) exact = false;
        out += b;
    });
    if (!exact) return std::nullopt;
    return out;
}

std::string lowerText(std::string_view utf8) {
    std::string out;
    out.reserve(utf8.size());
    forEachCharacter(utf8, [&](char32_t cp, bool stray) {
        if (stray) {
            out += static_cast<char>(cp);  // kept as it was
        } else {
            appendUtf8(out, lowerCodePoint(cp));
        }
    });
    return out;
}

int compareNoCase(std::string_view a, std::string_view b) {
    std::size_t i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
        const auto ca = static_cast<unsigned char>(a[i]);
        const auto cb = static_cast<unsigned char>(b[j]);
        if (ca < 0x80 && cb < 0x80) {  // the common case, without decoding
            const int la = (ca >= 'A' && ca <= 'Z') ? ca + 32 : ca;
            const int lb = (cb >= 'A' && cb <= 'Z') ? cb + 32 : cb;
            if (la != lb) return la < lb ? -1 : 1;
            ++i;
            ++j;
            continue;
        }
        const char32_t x = lowerCodePoint(decodeUtf8(a, i));
        const char32_t y = lowerCodePoint(decodeUtf8(b, j));
        if (x != y) return x < y ? -1 : 1;
    }
    if (i < a.size()) return 1;
    if (j < b.size()) return -1;
    return 0;
}

std::string_view trimBlanks(std::string_view s) {
    while (!s.empty() && s.front() == ' ') s.remove_prefix(1);
    while (!s.empty() && s.back() == ' ') s.remove_suffix(1);
    return s;
}

std::string replaceAll(std::string_view s, std::string_view from, std::string_view to) {
    std::string out;
    out.reserve(s.size());
    std::size_t pos = 0;
    while (true) {
        const std::size_t hit = s.find(from, pos);
        if (hit == std::string_view::npos) break;
        out.append(s, pos, hit - pos);
        out += to;
        pos = hit + from.size();
    }
    out.append(s, pos);
    return out;
}

namespace {

// Marks that turn the text after them around (or hide how it reads) when a
// terminal shows it: the embeddings, overrides and isolates, and the marks.
bool isBidirectionalControl(char32_t c) {
    return (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069) || c == 0x200E || c == 0x200F ||
           c == 0x061C;
}

std::string escaped(std::string_view text, bool backslash) {
    static constexpr char kDigits[] = "0123456789abcdef";
    const auto hex = [&](std::string& out, char32_t value, int digits) {
        for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4) out += kDigits[(value >> shift) & 15];
    };
    std::string out;
    out.reserve(text.size());
    for (std::size_t pos = 0; pos < text.size();) {
        const std::size_t start = pos;
        const char32_t c = decodeUtf8(text, pos);
        if (c >= 0x80 && pos - start == 1) {  // a byte that is not UTF-8
            out += "\\x";
            hex(out, c, 2);
        } else if (c == '\\' && backslash) {
            out += "\\\\";
        } else if (c == '\t') {
            out += "\\t";
        } else if (c == '\n') {
            out += "\\n";
        } else if (c == '\r') {
            out += "\\r";
        } else if (c < 0x20 || c == 0x7f) {
            out += "\\x";
            hex(out, c, 2);
        } else if (isControlCharacter(c) || isBidirectionalControl(c)) {
            out += "\\u";
            hex(out, c, 4);
        } else {
            out.append(text, start, pos - start);
        }
    }
    return out;
}

}  // namespace

std::string printable(std::string_view text) { return escaped(text, true); }

std::string escapedControls(std::string_view text) { return escaped(text, false); }

}  // namespace ombrix

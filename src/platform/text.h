#pragma once
// Text helpers shared by every subsystem. Strings are UTF-8 inside the
// program; files that the program calls ANSI are Windows-1252.

#include <optional>
#include <string>
#include <string_view>

namespace ombrix {

// Windows-1252 bytes to UTF-8. The five unassigned bytes map to the C1
// controls of the same value, as Windows does.
[[nodiscard]] std::string cp1252ToUtf8(std::string_view bytes);

// UTF-8 to Windows-1252. Characters the code page lacks become '?'.
[[nodiscard]] std::string utf8ToCp1252(std::string_view utf8);
// The same when every character has its own byte in the code page; nullopt
// otherwise, for files that must read back as they were written.
[[nodiscard]] std::optional<std::string> utf8ToCp1252Exact(std::string_view utf8);

// Lower-cases the letters that Windows lowers for the Western languages:
// ASCII, Latin-1, Latin Extended-A, Greek and Cyrillic capitals. Other code
// points and invalid bytes are kept as they are.
[[nodiscard]] std::string lowerText(std::string_view utf8);

// Compares two UTF-8 texts as the store compares text: letter case is ignored
// for the letters lowerText knows. Returns <0, 0 or >0.
[[nodiscard]] int compareNoCase(std::string_view a, std::string_view b);
[[nodiscard]] inline bool equalsNoCase(std::string_view a, std::string_view b) {
    return compareNoCase(a, b) == 0;
}

// Removes leading and trailing blanks (spaces only, as the classic Trim does).
[[nodiscard]] std::string_view trimBlanks(std::string_view s);

// Replaces every occurrence of `from` (non-empty) with `to`.
[[nodiscard]] std::string replaceAll(std::string_view s, std::string_view from, std::string_view to);

// Appends the UTF-8 form of one code point.
void appendUtf8(std::string& out, char32_t cp);

// Decodes one code point at `pos` and advances it; an invalid byte is returned
// as itself (0x80-0xFF) and counts as one byte.
[[nodiscard]] char32_t decodeUtf8(std::string_view s, std::size_t& pos);

// Characters, not bytes: what a person sees. A byte that is not UTF-8 counts
// as one.
[[nodiscard]] std::size_t characterCount(std::string_view utf8);

// C0 controls (NUL and tab among them), DEL and the C1 controls: no key
// types them into a box.
[[nodiscard]] bool isControlCharacter(char32_t c);
// Whether every byte belongs to a well-formed UTF-8 character.
[[nodiscard]] bool isValidUtf8(std::string_view text);
// Whether a person could have typed the text into a box: UTF-8 throughout,
// without a control character. A NUL would end the text early wherever it
// passes as a C string, so an entry holding one is never stored.
[[nodiscard]] bool typeableText(std::string_view text);

// Text from the store, the input or a failure as one field of one line:
// control characters are written as escapes (\t, \n, \r, \xHH for another
// C0 control, DEL or a byte that is not UTF-8, \uHHHH for a C1 control or a
// mark that turns text around), so a value can never forge a line or a
// field, nor hide or reorder what follows it on the terminal. printable also
// writes the backslash as \\, so that every escape reads back as one;
// escapedControls keeps it, for paths a person reads (the trace file).
[[nodiscard]] std::string printable(std::string_view text);
[[nodiscard]] std::string escapedControls(std::string_view text);

}  // namespace ombrix

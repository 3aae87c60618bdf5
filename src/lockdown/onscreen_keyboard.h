#pragma once
// frmTastiera's keys, as plain data: the Italian layout with each key's two
// captions, the case it is in, the key a point hits, what a press sends, and
// where the form sits above the task bar. The Win32 form only draws and sends.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ombrix::lockdown {

enum class KeyKind { Character, Shift, Space, Enter, Backspace };

struct OnScreenKey {
    std::string_view name;   // the label's name: lbl(N) for the letters
    std::string_view lower;  // caption in lower case (UTF-8, as shown)
    std::string_view upper;  // caption in upper case
    KeyKind kind = KeyKind::Character;
    int row = 0;
    int column = 0;  // in half keys from the left
    int width = 2;   // in half keys
};

inline constexpr int kKeyRows = 5;
inline constexpr int kHalfKeysPerRow = 30;

// Every key, letters and the rest, in rows from the top.
[[nodiscard]] std::span<const OnScreenKey> onScreenKeys();
[[nodiscard]] std::optional<std::size_t> keyNamed(std::string_view name);

// What a key sends: a character, or a key that has none (Enter, Backspace).
struct KeyStroke {
    char32_t character = 0;
    std::uint16_t virtualKey = 0;  // 0 for a character
    bool operator==(const KeyStroke&) const = default;
};
inline constexpr std::uint16_t kVkBack = 0x08;
inline constexpr std::uint16_t kVkReturn = 0x0D;
inline constexpr std::uint16_t kVkShift = 0x10;

// The keyboard's case; it starts in lower case.
class OnScreenCase {
public:
    [[nodiscard]] bool upper() const { return upper_; }
    void toUpperCase() { upper_ = true; }
    void toLowerCase() { upper_ = false; }
    // The caption a key shows now; the shift key names the case it switches to.
    [[nodiscard]] std::string_view caption(const OnScreenKey& key) const { return upper_ ? key.upper : key.lower; }
    // The shift key switches the case and sends nothing; every other key
    // sends what its caption shows.
    [[nodiscard]] std::optional<KeyStroke> press(const OnScreenKey& key);

private:
    bool upper_ = false;
};

// The form's caption and the words on the keys that type no character,
// from the form's section of the language file ("frmTastiera"), each key by
// its label's name: ".Caption" is its word, and the shift key's ".Tag" its
// word in upper case. A key the file leaves empty keeps its own word; the
// characters of the layout are never translated.
class KeyboardTexts {
public:
    using Lookup = std::function<std::string(const std::string& section, const std::string& key)>;
    void translate(const Lookup& lookup);
    [[nodiscard]] const std::string& title() const { return title_; }
    // What a key shows in the case given.
    [[nodiscard]] std::string_view caption(const OnScreenKey& key, bool upper) const;

private:
    class Form;
    std::string title_ = "Tastiera";
    std::map<std::string, std::pair<std::string, std::string>, std::less<>> words_;  // by label: lower, upper
};

// The character a caption stands for: blanks around it are only for the
// eye, and "&&" shows one ampersand. Nothing when the caption holds none.
[[nodiscard]] std::optional<char32_t> captionCharacter(std::string_view caption);

struct KeyBox {
    int left = 0, top = 0, width = 0, height = 0;
    bool operator==(const KeyBox&) const = default;
};
// A key's place in a client area of this size, a pixel of gap on each side.
[[nodiscard]] KeyBox keyBox(const OnScreenKey& key, int clientWidth, int clientHeight);
// The key under a client point; none in the gaps and outside.
[[nodiscard]] std::optional<std::size_t> keyAt(int x, int y, int clientWidth, int clientHeight);

// One synthesised key event.
struct KeyInput {
    std::uint16_t virtualKey = 0;
    char16_t unit = 0;  // with a virtual key of 0: a UTF-16 unit typed as is
    bool up = false;
    bool operator==(const KeyInput&) const = default;
};
// The events that type a stroke. `scan` is the layout's answer for the
// character (VkKeyScanW: the key in the low byte, 1 for Shift in the high
// byte; -1 when no key types it): a character typed with Shift alone or
// no modifier goes as its key, Shift pressed around it when asked; one that
// needs Ctrl or Alt, or no key at all (an accented letter on a foreign
// layout), goes as itself.
[[nodiscard]] std::vector<KeyInput> keyInputs(const KeyStroke& stroke, std::int16_t scan);

// The form's size in twips, and where it goes.
inline constexpr int kKeyboardWidthTwips = 9472;
inline constexpr int kKeyboardHeightTwips = 3200;
// SWP_NOACTIVATE | SWP_SHOWWINDOW.
inline constexpr unsigned kPlacementFlags = 80;

// The task bar's height less four pixels; never below 0.
[[nodiscard]] int taskbarHeight(long top, long bottom);

struct Placement {
    int left = 0, top = 0, width = 0, height = 0;
    bool operator==(const Placement&) const = default;
};
// Centred on the screen, just above the task bar, at this many dots per inch.
[[nodiscard]] Placement keyboardPlacement(int screenWidth, int screenHeight, int taskbar, int dpi);

}  // namespace ombrix::lockdown

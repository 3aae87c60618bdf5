#include "lockdown/onscreen_keyboard.h"

#include <algorithm>
#include <array>
#include <memory>

#include "support/form_translator.h"

namespace ombrix::lockdown {
namespace {

using K = KeyKind;

// Rows of the Italian keyboard; the letters are the control array lbl, in
// the order they sit.
constexpr std::array kKeys = {
    OnScreenKey{"lblBarra", "\\", "|", K::Character, 0, 0},
    OnScreenKey{"lbl1", "1", "!", K::Character, 0, 2},
    OnScreenKey{"lbl2", "2", "\"", K::Character, 0, 4},
    OnScreenKey{"lbl3", "3", "£", K::Character, 0, 6},
    OnScreenKey{"lbl4", "4", "$", K::Character, 0, 8},
    OnScreenKey{"lbl5", "5", "%", K::Character, 0, 10},
    OnScreenKey{"lbl6", "6", "&&", K::Character, 0, 12},
    OnScreenKey{"lbl7", "7", "/", K::Character, 0, 14},
    OnScreenKey{"lbl8", "8", "(", K::Character, 0, 16},
    OnScreenKey{"lbl9", "9", ")", K::Character, 0, 18},
    OnScreenKey{"lbl0", "0", "=", K::Character, 0, 20},
    OnScreenKey{"lblApice", "'", "?", K::Character, 0, 22},
    OnScreenKey{"lblIAcc", "ì", "^", K::Character, 0, 24},
    OnScreenKey{"lblCancella", "Cancella", "Cancella", K::Backspace, 0, 26, 4},

    OnScreenKey{"lbl(0)", "q", "Q", K::Character, 1, 1},
    OnScreenKey{"lbl(1)", "w", "W", K::Character, 1, 3},
    OnScreenKey{"lbl(2)", "e", "E", K::Character, 1, 5},
    OnScreenKey{"lbl(3)", "r", "R", K::Character, 1, 7},
    OnScreenKey{"lbl(4)", "t", "T", K::Character, 1, 9},
    OnScreenKey{"lbl(5)", "y", "Y", K::Character, 1, 11},
    OnScreenKey{"lbl(6)", "u", "U", K::Character, 1, 13},
    OnScreenKey{"lbl(7)", "i", "I", K::Character, 1, 15},
    OnScreenKey{"lbl(8)", "o", "O", K::Character, 1, 17},
    OnScreenKey{"lbl(9)", "p", "P", K::Character, 1, 19},
    OnScreenKey{"lblEAcc", "è", "é", K::Character, 1, 21},
    OnScreenKey{"lblPiu", "+", "*", K::Character, 1, 23},
    OnScreenKey{"lblInvio", "Invio", "Invio", K::Enter, 1, 25, 5},

    OnScreenKey{"lbl(10)", "a", "A", K::Character, 2, 2},
    OnScreenKey{"lbl(11)", "s", "S", K::Character, 2, 4},
    OnScreenKey{"lbl(12)", "d", "D", K::Character, 2, 6},
    OnScreenKey{"lbl(13)", "f", "F", K::Character, 2, 8},
    OnScreenKey{"lbl(14)", "g", "G", K::Character, 2, 10},
    OnScreenKey{"lbl(15)", "h", "H", K::Character, 2, 12},
    OnScreenKey{"lbl(16)", "j", "J", K::Character, 2, 14},
    OnScreenKey{"lbl(17)", "k", "K", K::Character, 2, 16},
    OnScreenKey{"lbl(18)", "l", "L", K::Character, 2, 18},
    OnScreenKey{"lblOAcc", "ò", " @ ", K::Character, 2, 20},
    OnScreenKey{"lblAAcc", "à", " # ", K::Character, 2, 22},
    OnScreenKey{"lblUAcc", "ù", "§", K::Character, 2, 24},

    OnScreenKey{"lblMaiuscolo", "Maiu", "Minu", K::Shift, 3, 0, 3},
    OnScreenKey{"lblMagMin", "<", ">", K::Character, 3, 3},
    OnScreenKey{"lbl(19)", "z", "Z", K::Character, 3, 5},
    OnScreenKey{"lbl(20)", "x", "X", K::Character, 3, 7},
    OnScreenKey{"lbl(21)", "c", "C", K::Character, 3, 9},
    OnScreenKey{"lbl(22)", "v", "V", K::Character, 3, 11},
    OnScreenKey{"lbl(23)", "b", "B", K::Character, 3, 13},
    OnScreenKey{"lbl(24)", "n", "N", K::Character, 3, 15},
    OnScreenKey{"lbl(25)", "m", "M", K::Character, 3, 17},
    OnScreenKey{"lblVirgola", ",", ";", K::Character, 3, 19},
    OnScreenKey{"lblPunto", ".", ":", K::Character, 3, 21},
    OnScreenKey{"lblMeno", "-", "_", K::Character, 3, 23},

    OnScreenKey{"lblSpazio", "", "", K::Space, 4, 7, 16},
};

// The first code point of UTF-8 text, and its length; nothing when malformed.
std::optional<std::pair<char32_t, std::size_t>> decode(std::string_view s) {
    if (s.empty()) return std::nullopt;
    const auto b = static_cast<unsigned char>(s[0]);
    std::size_t n = b < 0x80 ? 1 : (b >> 5) == 0x6 ? 2 : (b >> 4) == 0xE ? 3 : (b >> 3) == 0x1E ? 4 : 0;
    if (n == 0 || s.size() < n) return std::nullopt;
    char32_t c = n == 1 ? b : b & (0x7F >> n);
    for (std::size_t i = 1; i < n; ++i) {
        const auto next = static_cast<unsigned char>(s[i]);
        if ((next & 0xC0) != 0x80) return std::nullopt;
        c = (c << 6) | (next & 0x3F);
    }
    return std::pair{c, n};
}

int scaled(int value, int numerator, int denominator) {
    return static_cast<int>((static_cast<long long>(value) * numerator + denominator / 2) / denominator);
}

}  // namespace

std::span<const OnScreenKey> onScreenKeys() { return kKeys; }

std::optional<std::size_t> keyNamed(std::string_view name) {
    for (std::size_t i = 0; i < kKeys.size(); ++i) {
        if (kKeys[i].name == name) return i;
    }
    return std::nullopt;
}

std::optional<char32_t> captionCharacter(std::string_view caption) {
    while (!caption.empty() && caption.front() == ' ') caption.remove_prefix(1);
    while (!caption.empty() && caption.back() == ' ') caption.remove_suffix(1);
    if (caption == "&&") return U'&';
    const auto first = decode(caption);
    if (!first || first->second != caption.size()) return std::nullopt;
    return first->first;
}

std::optional<KeyStroke> OnScreenCase::press(const OnScreenKey& key) {
    switch (key.kind) {
        case KeyKind::Shift:
            upper_ = !upper_;
            return std::nullopt;
        case KeyKind::Space: return KeyStroke{U' ', 0};
        case KeyKind::Enter: return KeyStroke{0, kVkReturn};
        case KeyKind::Backspace: return KeyStroke{0, kVkBack};
        case KeyKind::Character: break;
    }
    const auto c = captionCharacter(caption(key));
    if (!c) return std::nullopt;
    return KeyStroke{*c, 0};
}

KeyBox keyBox(const OnScreenKey& key, int clientWidth, int clientHeight) {
    const int x0 = scaled(key.column, clientWidth, kHalfKeysPerRow);
    const int x1 = scaled(key.column + key.width, clientWidth, kHalfKeysPerRow);
    const int y0 = scaled(key.row, clientHeight, kKeyRows);
    const int y1 = scaled(key.row + 1, clientHeight, kKeyRows);
    return {x0 + 1, y0 + 1, std::max(0, x1 - x0 - 2), std::max(0, y1 - y0 - 2)};
}

std::optional<std::size_t> keyAt(int x, int y, int clientWidth, int clientHeight) {
    for (std::size_t i = 0; i < kKeys.size(); ++i) {
        const KeyBox b = keyBox(kKeys[i], clientWidth, clientHeight);
        if (x >= b.left && x < b.left + b.width && y >= b.top && y < b.top + b.height) return i;
    }
    return std::nullopt;
}

std::vector<KeyInput> keyInputs(const KeyStroke& stroke, std::int16_t scan) {
    if (stroke.virtualKey != 0) return {{stroke.virtualKey, 0, false}, {stroke.virtualKey, 0, true}};
    const auto modifiers = static_cast<unsigned>(static_cast<std::uint16_t>(scan) >> 8);
    if (scan != -1 && (modifiers & ~1u) == 0) {
        const auto vk = static_cast<std::uint16_t>(scan & 0xFF);
        std::vector<KeyInput> out;
        if (modifiers & 1u) out.push_back({kVkShift, 0, false});
        out.push_back({vk, 0, false});
        out.push_back({vk, 0, true});
        if (modifiers & 1u) out.push_back({kVkShift, 0, true});
        return out;
    }
    std::u16string units;
    if (stroke.character >= 0x10000) {
        const char32_t v = stroke.character - 0x10000;
        units = {static_cast<char16_t>(0xD800 + (v >> 10)), static_cast<char16_t>(0xDC00 + (v & 0x3FF))};
    } else {
        units = {static_cast<char16_t>(stroke.character)};
    }
    std::vector<KeyInput> out;
    for (const char16_t u : units) {
        out.push_back({0, u, false});
        out.push_back({0, u, true});
    }
    return out;
}

int taskbarHeight(long top, long bottom) {
    return static_cast<int>(std::max(0L, (bottom - 2) - (top + 2)));
}

Placement keyboardPlacement(int screenWidth, int screenHeight, int taskbar, int dpi) {
    const int width = scaled(kKeyboardWidthTwips, dpi, 1440);
    const int height = scaled(kKeyboardHeightTwips, dpi, 1440);
    return {std::max(0, (screenWidth - width) / 2), std::max(0, screenHeight - taskbar - height), width, height};
}

// The keyboard as the form translator sees it: its caption, and a label for
// each key that types no character.
class KeyboardTexts::Form final : public TranslatableForm {
public:
    explicit Form(KeyboardTexts& texts) : texts_(texts) {
        for (const OnScreenKey& k : onScreenKeys()) {
            if (k.kind == KeyKind::Character) continue;
            auto& words = texts_.words_[std::string(k.name)];
            if (words.first.empty() && words.second.empty()) words = {std::string(k.lower), std::string(k.upper)};
            labels_.push_back(std::make_unique<Label>(std::string(k.name), words, k.kind == KeyKind::Shift));
        }
    }
    std::string name() const override { return "frmTastiera"; }
    bool has(TextProperty p) const override { return p == TextProperty::Caption; }
    std::string get(TextProperty) const override { return texts_.title_; }
    bool set(TextProperty, const std::string& value, int) override {
        texts_.title_ = value;
        return true;
    }
    std::vector<TranslatableItem*> controls() override {
        std::vector<TranslatableItem*> out;
        for (auto& l : labels_) out.push_back(l.get());
        return out;
    }

private:
    class Label final : public TranslatableItem {
    public:
        Label(std::string name, std::pair<std::string, std::string>& words, bool shift)
            : name_(std::move(name)), words_(words), shift_(shift) {}
        std::string name() const override { return name_; }
        bool has(TextProperty p) const override {
            return p == TextProperty::Caption || (shift_ && p == TextProperty::Tag);
        }
        std::string get(TextProperty p) const override { return p == TextProperty::Tag ? words_.second : words_.first; }
        bool set(TextProperty p, const std::string& value, int) override {
            if (p == TextProperty::Tag) {
                words_.second = value;
            } else {
                words_.first = value;
                // Only the shift key names a word for each case.
                if (!shift_) words_.second = value;
            }
            return true;
        }

    private:
        std::string name_;
        std::pair<std::string, std::string>& words_;
        bool shift_;
    };

    KeyboardTexts& texts_;
    std::vector<std::unique_ptr<Label>> labels_;
};

void KeyboardTexts::translate(const Lookup& lookup) {
    Form form(*this);
    translateForm(form, lookup);
}

std::string_view KeyboardTexts::caption(const OnScreenKey& key, bool upper) const {
    const auto it = words_.find(key.name);
    if (it == words_.end()) return upper ? key.upper : key.lower;
    return upper ? it->second.second : it->second.first;
}

}  // namespace ombrix::lockdown

#include "lockdown/onscreen_keyboard.h"

#include <gtest/gtest.h>

#include <map>

namespace ombrix::lockdown {
namespace {

const OnScreenKey& key(std::string_view name) {
    const auto i = keyNamed(name);
    EXPECT_TRUE(i) << name;
    return onScreenKeys()[i.value_or(0)];
}

TEST(OnScreenKeyboard, EachKeyShowsAndSendsItsCaptionInBothCases) {
    struct Case {
        std::string_view name, lower, upper;
        char32_t sentLower, sentUpper;
    };
    const Case cases[] = {
        {"lbl3", "3", "£", U'3', U'£'},   {"lbl6", "6", "&&", U'6', U'&'},   {"lblEAcc", "è", "é", U'è', U'é'},
        {"lblOAcc", "ò", " @ ", U'ò', U'@'}, {"lbl(21)", "c", "C", U'c', U'C'},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        OnScreenCase state;
        EXPECT_EQ(state.caption(key(c.name)), c.lower);
        EXPECT_EQ(state.press(key(c.name)), (KeyStroke{c.sentLower, 0}));
        state.toUpperCase();
        EXPECT_EQ(state.caption(key(c.name)), c.upper);
        EXPECT_EQ(state.press(key(c.name)), (KeyStroke{c.sentUpper, 0}));
    }
    EXPECT_EQ(onScreenKeys().size(), 26u + 22u + 1u + 3u) << "26 letters, the table, shift; space, Enter, Backspace";
    // Shift names the case it switches to and sends nothing.
    OnScreenCase state;
    EXPECT_EQ(state.caption(key("lblMaiuscolo")), "Maiu");
    EXPECT_EQ(state.press(key("lblMaiuscolo")), std::nullopt);
    EXPECT_EQ(state.caption(key("lblMaiuscolo")), "Minu");
    EXPECT_EQ(state.press(key("lblCancella")), (KeyStroke{0, kVkBack}));
    EXPECT_EQ(captionCharacter("\xE0"), std::nullopt) << "a Latin-1 byte is no UTF-8";
}

TEST(OnScreenKeyboard, TheCaptionAndTheWordsOnTheKeysComeFromTheLanguageFile) {
    const std::map<std::string, std::string> file = {
        {"lblInvio.Caption", "Enter"},
        {"lblMaiuscolo.Caption", "Shift"},             {"lblMaiuscolo.Tag", "shift"},
        {"lbl1.Caption", "X"},
    };
    KeyboardTexts texts;
    EXPECT_EQ(texts.caption(key("lblInvio"), false), "Invio");
    texts.translate([&](const std::string& section, const std::string& k) {
        EXPECT_EQ(section, "frmTastiera");
        const auto it = file.find(k);
        return it == file.end() ? std::string() : it->second;
    });
    EXPECT_EQ(texts.caption(key("lblInvio"), true), "Enter");
    EXPECT_EQ(texts.caption(key("lblCancella"), false), "Cancella") << "left empty: its own word";
    EXPECT_EQ(texts.caption(key("lblMaiuscolo"), false), "Shift");
    EXPECT_EQ(texts.caption(key("lblMaiuscolo"), true), "shift");
    EXPECT_EQ(texts.caption(key("lbl1"), false), "1") << "the layout's characters are never translated";
}

TEST(OnScreenKeyboard, EveryKeyIsHitOnItsOwnFaceAndNowhereElse) {
    const int w = 931, h = 280;
    for (std::size_t i = 0; i < onScreenKeys().size(); ++i) {
        const KeyBox b = keyBox(onScreenKeys()[i], w, h);
        SCOPED_TRACE(onScreenKeys()[i].name);
        EXPECT_TRUE(b.left >= 0 && b.left + b.width <= w && b.top + b.height <= h);
        EXPECT_EQ(keyAt(b.left, b.top, w, h), i);
        EXPECT_EQ(keyAt(b.left + b.width - 1, b.top + b.height - 1, w, h), i);
        EXPECT_NE(keyAt(b.left - 1, b.top, w, h), i) << "the gap before a key is not the key";
        EXPECT_NE(keyAt(b.left + b.width, b.top + b.height, w, h), i);
    }
    EXPECT_EQ(keyAt(-1, 5, w, h), std::nullopt);
    EXPECT_EQ(keyAt(w - 2, h * 5 / 10, w, h), std::nullopt) << "beside the row of à and ù";
    EXPECT_EQ(keyAt(5, h, w, h), std::nullopt);
}

TEST(OnScreenKeyboard, AStrokeGoesAsItsKeyWhenTheLayoutHasOneElseAsItself) {
    struct Case {
        KeyStroke stroke;
        std::int16_t scan;
        std::vector<KeyInput> inputs;
    };
    const Case cases[] = {
        {{U'!', 0}, 0x0131, {{kVkShift, 0, false}, {'1', 0, false}, {'1', 0, true}, {kVkShift, 0, true}}},
        {{U'à', 0}, -1, {{0, u'à', false}, {0, u'à', true}}},
        {{U'\U0001F600', 0}, -1, {{0, 0xD83D, false}, {0, 0xD83D, true}, {0, 0xDE00, false}, {0, 0xDE00, true}}},
    };
    for (const Case& c : cases) EXPECT_EQ(keyInputs(c.stroke, c.scan), c.inputs) << static_cast<unsigned>(c.stroke.character);
}

TEST(OnScreenKeyboard, ItSitsCentredJustAboveTheTaskBar) {
    EXPECT_EQ(taskbarHeight(994, 1024), 26);
    EXPECT_EQ(taskbarHeight(1023, 1024), 0) << "a one-pixel bar gives no height";
    EXPECT_EQ(keyboardPlacement(1280, 1024, 40, 144), (Placement{166, 664, 947, 320}));
    EXPECT_EQ(keyboardPlacement(640, 200, 26, 96), (Placement{4, 0, 631, 213})) << "never off the top";
}

}  // namespace
}  // namespace ombrix::lockdown

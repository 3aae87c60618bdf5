#include "lockdown/onscreen_keyboard.h"

#include <gtest/gtest.h>

#include <map>
#include <tuple>

namespace ombrix::lockdown {
namespace {

const OnScreenKey& key(std::string_view name) {
    const auto i = keyNamed(name);
    EXPECT_TRUE(i) << name;
    return onScreenKeys()[i.value_or(0)];
}

TEST(OnScreenKeyboard, EachKeyShowsAndSendsItsCaptionInBothCases) {
    const std::tuple<std::string_view, std::string_view, std::string_view, char32_t, char32_t> cases[] = {
        {"lbl3", "3", "£", U'3', U'£'},      {"lbl6", "6", "&&", U'6', U'&'}, {"lblEAcc", "è", "é", U'è', U'é'},
        {"lblOAcc", "ò", " @ ", U'ò', U'@'}, {"lbl(21)", "c", "C", U'c', U'C'},
    };
    for (const auto& [name, lower, upper, sentLower, sentUpper] : cases) {
        OnScreenCase state;
        EXPECT_EQ(state.caption(key(name)), lower);
        EXPECT_EQ(state.press(key(name)), (KeyStroke{sentLower, 0}));
        state.toUpperCase();
        EXPECT_EQ(state.caption(key(name)), upper);
        EXPECT_EQ(state.press(key(name)), (KeyStroke{sentUpper, 0}));
    }
    EXPECT_EQ(onScreenKeys().size(), 26u + 22u + 1u + 3u) << "26 letters, the table, shift; space, Enter, Backspace";
    OnScreenCase state;
    EXPECT_EQ(state.caption(key("lblMaiuscolo")), "Maiu");  // Shift names the case it switches to, sends nothing
    EXPECT_EQ(state.press(key("lblMaiuscolo")), std::nullopt);
    EXPECT_EQ(state.caption(key("lblMaiuscolo")), "Minu");
    EXPECT_EQ(state.press(key("lblCancella")), (KeyStroke{0, kVkBack}));
    EXPECT_EQ(captionCharacter("\xE0"), std::nullopt) << "a Latin-1 byte is no UTF-8";
}

TEST(OnScreenKeyboard, TheCaptionAndTheWordsOnTheKeysComeFromTheLanguageFile) {
    const std::map<std::string, std::string> file = {
        {"lblInvio.Caption", "Enter"}, {"lblMaiuscolo.Caption", "Shift"}, {"lblMaiuscolo.Tag", "shift"}, {"lbl1.Caption", "X"}};
    KeyboardTexts texts;
    EXPECT_EQ(texts.caption(key("lblInvio"), false), "Invio");
    texts.translate([&](const std::string& section, const std::string& k) {
        EXPECT_EQ(section, "frmTastiera");
        return file.count(k) ? file.at(k) : std::string();
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
        EXPECT_TRUE(keyAt(b.left, b.top, w, h) == i && keyAt(b.left + b.width - 1, b.top + b.height - 1, w, h) == i);
        EXPECT_TRUE(keyAt(b.left - 1, b.top, w, h) != i && keyAt(b.left + b.width, b.top + b.height, w, h) != i);
    }
    EXPECT_EQ(keyAt(w - 2, h * 5 / 10, w, h), std::nullopt) << "beside the row of à and ù";
    EXPECT_TRUE(!keyAt(-1, 5, w, h) && !keyAt(5, h, w, h)) << "outside the keyboard";
}

TEST(OnScreenKeyboard, AStrokeGoesAsItsKeyWhenTheLayoutHasOneElseAsItself) {
    const struct {
        KeyStroke stroke;
        std::int16_t scan;
        std::vector<KeyInput> inputs;
    } cases[] = {
        {{U'!', 0}, 0x0131, {{kVkShift, 0, false}, {'1', 0, false}, {'1', 0, true}, {kVkShift, 0, true}}},
        {{U'à', 0}, -1, {{0, u'à', false}, {0, u'à', true}}},
        {{U'\U0001F600', 0}, -1, {{0, 0xD83D, false}, {0, 0xD83D, true}, {0, 0xDE00, false}, {0, 0xDE00, true}}},
    };
    for (const auto& c : cases) EXPECT_EQ(keyInputs(c.stroke, c.scan), c.inputs) << static_cast<unsigned>(c.stroke.character);
}

TEST(OnScreenKeyboard, ItSitsCentredJustAboveTheTaskBar) {
    EXPECT_EQ(std::pair(taskbarHeight(994, 1024), taskbarHeight(1023, 1024)), std::pair(26, 0)) << "a one-pixel bar: none";
    EXPECT_EQ(keyboardPlacement(1280, 1024, 40, 144), (Placement{166, 664, 947, 320}));
    EXPECT_EQ(keyboardPlacement(640, 200, 26, 96), (Placement{4, 0, 631, 213})) << "never off the top";
}

}  // namespace
}  // namespace ombrix::lockdown

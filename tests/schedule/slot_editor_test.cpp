#include "schedule/slot_editor.h"

#include <gtest/gtest.h>

#include "fakes/fixtures.h"
#include "platform/files.h"
#include "platform/system.h"
#include "platform/text.h"
#include "schedule/schedule_texts.h"
#include "support/language.h"

namespace ombrix::schedule {
namespace {

using test::kEmpty;

// Every case runs with the colon and again with the point as the locale's
// separator: the texts are written with ':' and rewritten for '.'.
std::string with(char sep, const std::string& text) { return replaceAll(text, ":", std::string(1, sep)); }

class SlotEditor : public ::testing::TestWithParam<char> {
protected:
    SlotEditor() { test::writeScheduleTexts(dir); }
    char sep() const { return GetParam(); }
    // Start, end and profile of slots 1 to 3; a profile given by its identifier, "" for none.
    SlotBoxes boxes(std::array<std::string, 9> v) const {
        SlotBoxes b;
        for (std::size_t i = 0; i < 3; ++i) {
            b.from[i] = with(sep(), v[i * 3]); b.to[i] = with(sep(), v[i * 3 + 1]);
            b.profile[i] = v[i * 3 + 2].empty() ? 0 : std::stoll(v[i * 3 + 2]);
        }
        return b;
    }

    test::TempDir dir;
    Language language{pathToUtf8(dir.path()), platform::pathSeparator()};
};

INSTANTIATE_TEST_SUITE_P(Separators, SlotEditor, ::testing::Values(':', '.'), [](const auto& p) { return p.param == ':' ? "colon" : "point"; });

TEST_P(SlotEditor, TheTimeFormat) {
    for (const char* good : {"8:30", "08:30:15", " 08:30 ", "00:00", "23:59:59"}) EXPECT_TRUE(isValidTime(with(sep(), good), sep())) << good;
    for (const char* bad : {"", "8:3", "24:00", "08:60", "08:30:60", "0830", "08:30:1", "123:45", "ab:cd", "8:305", "08:30:",
                            "-8:30", "08:30:15:0", "1:2:34"})
        EXPECT_FALSE(isValidTime(with(sep(), bad), sep())) << bad;
    EXPECT_FALSE(isValidTime(sep() == ':' ? "08.30" : "08:30", sep())) << "another locale's separator";
    EXPECT_EQ(secondsOf(with(sep(), "8:05:09"), sep()), 8 * 3600 + 5 * 60 + 9);
    EXPECT_EQ(boxText(8 * 3600 + 30 * 60, sep()) + boxText(8 * 3600 + 30 * 60 + 15, sep()), with(sep(), "08:3008:30:15"));
}

TEST_P(SlotEditor, TheChecksBeforeSavingInTheirOrder) {
    const std::string P = "2";
    // start, end, profile of slots 1 to 3; the first message (none: accepted) and the box focused
    const std::tuple<std::array<std::string, 9>, MessageId, SlotBox> cases[] = {
        {{}, {}, {}},
        {{"8:30", "12:00", P, "12:00", "13:00:30", P, "14:00", "23:59:59", ""}, {}, {}},
        {{"8:3", "12:00"}, msg::FirstSlotStartInvalid, SlotBox::From1},
        {{"08:00", "24:00"}, msg::FirstSlotEndInvalid, SlotBox::To1},
        {{"12:00", "12:00"}, msg::FirstSlotStartNotBeforeEnd, SlotBox::From1},
        {{"", "", P}, msg::FirstSlotProfileWithoutTimes, SlotBox::Profile1},
        {{"", "", "", "13:00"}, msg::FillFirstSlotFirst, SlotBox::From1},
        {{"", "", "", "", "", "", "14:00"}, msg::FillFirstSlotFirst, SlotBox::From1},
        {{"", "", "", "", "", P}, msg::FillFirstSlotFirst, SlotBox::From1},
        {{"08:00", "12:00", "", "1300", "14:00"}, msg::SecondSlotStartInvalid, SlotBox::From2},
        {{"08:00", "12:00", "", "11:00", "13:00"}, msg::SecondSlotStartsBeforeFirstEnds, SlotBox::From2},
        // Compared as times, not as texts: "09:30" is "9:30".
        {{"08:00", "9:30", "", "09:30", "11:00"}, {}, {}},
        {{"08:00", "9:30", "", "9:29:59", "11:00"}, msg::SecondSlotStartsBeforeFirstEnds, SlotBox::From2},
        {{"08:00", "12:00", "", "13:00", "12:30"}, msg::SecondSlotStartNotBeforeEnd, SlotBox::From2},
        {{"08:00", "12:00", "", "", "", P}, msg::SecondSlotProfileWithoutTimes, SlotBox::Profile2},
        {{"08:00", "12:00", "", "", "", "", "", "15:00"}, msg::FillSecondSlotBeforeThird, SlotBox::From2},
        {{"08:00", "12:00", "", "12:00", "13:00", "", "12:30", "15:00"}, msg::ThirdSlotStartsBeforeSecondEnds, SlotBox::From3},
        {{"08:00", "12:00", "", "12:00", "13:00", "", "", "", P}, msg::ThirdSlotProfileWithoutTimes, SlotBox::Profile3},
    };
    for (const auto& [texts, message, focus] : cases) {
        const auto refusal = validateSlots(boxes(texts), sep(), false);
        EXPECT_EQ((refusal ? std::pair{refusal->messages[0], refusal->focus} : std::pair<MessageId, SlotBox>{}), (std::pair{message, focus}))
            << texts[0] << "|" << texts[1] << "|" << texts[3] << "|" << texts[4] << "|" << texts[6];
    }
    EXPECT_EQ(refusalText(*validateSlots(boxes({"8:3", "12:00"}), sep(), false), language), "T0252\nT0253\nT0254");
    // Switched on, the slots keep a first one.
    const auto none = validateSlots(boxes({}), sep(), true);
    EXPECT_TRUE(none && none->messages[0] == msg::ScheduleNeedsFirstSlot && none->focus == SlotBox::From1);
    EXPECT_FALSE(validateSlots(boxes({"08:00", "12:00"}), sep(), true));
}

TEST_P(SlotEditor, SavingStoresTimesAndProfileIdsAndReadsBackAsTheFormShowsThem) {
    core::Database db = test::deliveredStore();
    // A profile may be named like the combos' empty entry: it is a profile all the same.
    ASSERT_TRUE(db.exec(std::string("INSERT INTO Profili (IDProfilo, Profilo) VALUES (2, 'Scuola'), (3, 'L''aula'), "
                                    "(4, '") + kEmpty + "');"));
    EXPECT_EQ(profileChoices(db).back().name, kEmpty);
    SlotBoxes b = boxes({"8:30", "12:00", "4", "12:00", "13:00:30", "3", "", "", ""});
    b.fallback = 1;
    ASSERT_TRUE(!validateSlots(b, sep(), true) && saveSlots(db, b, sep()));
    // Empty boxes and the empty entry are stored as nothing.
    EXPECT_EQ(db.scalar("SELECT Fascia1Dalle || '|' || Fascia1Alle || '|' || Fascia1Profilo || '|' || Fascia2Dalle || '|' || Fascia2Alle || "
                        "'|' || Fascia2Profilo || '|' || ProfiloFasceNonDefinite || quote(Fascia3Dalle) || quote(Fascia3Alle) || "
                        "quote(Fascia3Profilo) FROM Fasce;").toText(), "08:30:00|12:00:00|4|12:00:00|13:00:30|3|1NULLNULLNULL");
    ASSERT_TRUE(db.exec("DELETE FROM Profili WHERE IDProfilo = 3;"));
    const auto read = readSlotBoxes(db, sep());
    ASSERT_TRUE(read);
    EXPECT_EQ(read->from[0] + read->to[1] + read->from[2], with(sep(), "08:3013:00:30"));
    EXPECT_EQ(read->profile, (std::array<long long, 3>{4, 0, 0})) << "a profile that is gone shows the empty entry";
    EXPECT_TRUE(read->fallback == 1 && slotOneHasTimes(*read));
    b.profile[1] = 3;  // gone since
    ASSERT_TRUE(saveSlots(db, b, sep()));
    EXPECT_EQ(db.scalar("SELECT quote(Fascia2Profilo) FROM Fasce;").toText(), "NULL");
}

}  // namespace
}  // namespace ombrix::schedule

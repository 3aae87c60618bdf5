#include "schedule/daily_slots.h"

#include <gtest/gtest.h>

#include "fakes/fixtures.h"

namespace ombrix::schedule {
namespace {

constexpr int at(int h, int m, int s = 0) { return h * 3600 + m * 60 + s; }

TEST(StoredTime, ReadsWhatTheProgramAndOtherToolsWrite) {
    using core::Value;
    const std::pair<Value, std::optional<int>> cases[] = {
        {Value::null(), 0},           {Value(""), 0},
        {Value("08:30:15"), at(8, 30, 15)}, {Value("08:30"), at(8, 30)},
        {Value("1899-12-30 23:59:59"), at(23, 59, 59)}, {Value("2026-11-23T07:00:00"), at(7, 0)},
        {Value("24:00:00"), std::nullopt}, {Value("8:30"), std::nullopt},
        {Value("08:61"), std::nullopt},    {Value(std::int64_t{43200}), std::nullopt},
    };
    for (const auto& [value, seconds] : cases) EXPECT_EQ(storedTimeOfDay(value), seconds) << value.toText();
    EXPECT_EQ(storedTimeText(at(7, 5, 9)), "07:05:09");
}

struct Slots { std::array<DailySlots::Slot, 3> slots; std::int32_t fallback; };

DailySlots slotsOf(const Slots& s) {
    DailySlots p;
    p.setSlot1From(s.slots[0].from); p.setSlot1To(s.slots[0].to); p.setSlot1Profile(s.slots[0].profile);
    p.setSlot2From(s.slots[1].from); p.setSlot2To(s.slots[1].to); p.setSlot2Profile(s.slots[1].profile);
    p.setSlot3From(s.slots[2].from); p.setSlot3To(s.slots[2].to); p.setSlot3Profile(s.slots[2].profile);
    p.setFallbackProfile(s.fallback);
    return p;
}

TEST(Selection, BoundsAreInclusiveTheLaterSlotWinsUndefinedSlotsNeverMatch) {
    const Slots day{{{{at(8, 0), at(12, 0), 2}, {at(12, 0), at(16, 0), 3}, {at(16, 0), at(18, 0), 4}}}, 9};
    const Slots overlap{{{{at(8, 0), at(18, 0), 2}, {at(10, 0), at(11, 0), 3}, {}}}, 9};
    const Slots midnight{{{{at(22, 0), at(6, 0), 2}, {at(22, 0), at(23, 59, 59), 3}, {at(0, 0), at(6, 0), 4}}}, 0};
    const std::tuple<const char*, Slots, int, long long> cases[] = {  // what, slots, now, profile
        {"a start", day, at(8, 0), 2},         {"an end shared with the next start", day, at(12, 0), 3},
        {"the last end", day, at(18, 0), 4},   {"after the last end", day, at(18, 0, 1), 9},
        {"inside two slots", overlap, at(10, 30), 3}, {"inside the outer only", overlap, at(11, 0, 1), 2},
        {"start equal to end", Slots{{{{at(8, 0), at(8, 0), 2}, {}, {}}}, 7}, at(8, 0), 7},  // never matches
        {"start after end", midnight, at(23, 0), 3}, {"no fallback", midnight, at(13, 0), 0},
    };
    for (const auto& [what, slots, now, profile] : cases) EXPECT_EQ(slotsOf(slots).profileAt(now), profile) << what;
}

TEST(Load, AnEmptyTableOrAnUnreadableTimeKeepsTheValues) {
    core::Database db = test::deliveredStore();
    ASSERT_TRUE(db.exec("UPDATE Fasce SET Fascia2Dalle = '09:00:00', Fascia2Alle = '10:00', Fascia2Profilo = 4, "
                        "Fascia3Profilo = '5', ProfiloFasceNonDefinite = 6;"));
    DailySlots p;
    ASSERT_TRUE(p.load(db));
    EXPECT_EQ((std::array{p.slot1From(), p.slot1To(), p.slot2From(), p.slot2To()}), (std::array{0, 0, at(9, 0), at(10, 0)}))
        << "null times read as the same zero: undefined";
    EXPECT_EQ((std::array<long long, 3>{p.slot2Profile(), p.slot3Profile(), p.fallbackProfile()}),
              (std::array<long long, 3>{4, 5, 6}));
    ASSERT_TRUE(db.exec("UPDATE Fasce SET Fascia1Alle = 'presto', ProfiloFasceNonDefinite = 8;"));
    EXPECT_TRUE(!p.load(db) && p.fallbackProfile() == 6) << "a half-read record is not taken";
    ASSERT_TRUE(db.exec("DELETE FROM Fasce;"));
    EXPECT_TRUE(p.load(db) && p.slot2Profile() == 4);
    ASSERT_TRUE(db.exec("DROP TABLE Fasce;"));
    EXPECT_FALSE(p.load(db));
}

}  // namespace
}  // namespace ombrix::schedule

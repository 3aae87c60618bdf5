#include "core/store.h"
#include "core/value.h"
#include <gtest/gtest.h>
#include "fakes/fixtures.h"

namespace ombrix::core {
namespace {
class StoreTest : public ::testing::Test {
protected:
    Database db = test::deliveredStore();
};

TEST_F(StoreTest, ReadAndUpdateTheFirstMatchingRowOrNothing) {
    EXPECT_EQ(ReadField(db, "Opzioni", "IDProfiloInUso", kOptionsRow).toInteger(), 1);
    EXPECT_EQ(ReadField(db, "Profili", "Profilo", Condition{"IDProfilo = ?", {1}}).toText(), "Nessuna restrizione");
    EXPECT_TRUE(ReadField(db, "Profili", "Profilo", Condition{"IDProfilo = ?", {99}}).isEmpty());
    EXPECT_TRUE(ReadField(db, "Fasce", "Fascia1Dalle").isNull());
    EXPECT_TRUE(ReadField(db, "Nope", "Profilo").isEmpty());
    EXPECT_TRUE(ReadField(db, "Profili; DROP TABLE Profili", "Profilo").isEmpty());
    EXPECT_FALSE(Database().exec("CREATE TABLE t (x);")) << "a closed store writes nothing";
    // Updates, but never inserts.
    EXPECT_TRUE(UpdateField(db, "Opzioni", "LogSiti", Value::boolean(true), kOptionsRow));
    EXPECT_EQ(ReadField(db, "Opzioni", "LogSiti", kOptionsRow).toInteger(), -1);
    ASSERT_TRUE(db.exec("DELETE FROM Opzioni;"));
    EXPECT_FALSE(UpdateField(db, "Opzioni", "IDProfiloInUso", Value(3), kOptionsRow));
    EXPECT_EQ(db.scalar("SELECT count(*) FROM Opzioni;").toInteger(), 0);
}

TEST_F(StoreTest, NextFreeIdPadsAndSkipsTakenValues) {
    ASSERT_TRUE(db.exec("DELETE FROM Profili;"));
    EXPECT_EQ(nextFreeId(db, "Profili", "IDProfilo", "", 5), "000000000005") << "empty table: start";
    ASSERT_TRUE(db.exec("INSERT INTO Profili (IDProfilo) VALUES (1), (2), (4);"));
    EXPECT_EQ(nextFreeId(db, "Profili", "IDProfilo", ""), "000000000005") << "count 3 + 1 = 4 is taken";
    ASSERT_TRUE(db.exec("DELETE FROM Profili WHERE IDProfilo = 4;"));
    EXPECT_EQ(nextFreeId(db, "Profili", "IDProfilo", "", 1, 4), "0003") << "a gap below count + start stays unused";
    EXPECT_EQ(nextFreeId(db, "Profili", "IDProfilo", "", 1, 1), "3") << "no padding when already wide enough";
    // With a prefix, on a text column.
    ASSERT_TRUE(db.exec("INSERT INTO ProcessiVietati (IDProfilo, Processo) VALUES (1, 'P00002'), (1, 'P00003');"));
    EXPECT_EQ(nextFreeId(db, "ProcessiVietati", "Processo", "P", 1, 6), "P00004");
    EXPECT_EQ(nextFreeId(db, "Nope", "X", "P"), "");
}

TEST_F(StoreTest, InsertsRefuseDuplicatesAndEmptyValues) {
    struct Case {
        ListKind kind;
        const char* first;
        const char* again;  // the same value as the store compares it
    } cases[] = {
        {ListKind::Processes, "Notepad.exe", "NOTEPAD.EXE"},
        {ListKind::WindowTitles, "Proprietà - Data e ora", "PROPRIETÀ - DATA E ORA"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ((std::array{insertListEntry(db, c.kind, 1, c.first), insertListEntry(db, c.kind, 1, c.again),
                              insertListEntry(db, c.kind, 2, c.again), insertListEntry(db, c.kind, 1, "")}),
                  (std::array{InsertResult::Inserted, InsertResult::Duplicate, InsertResult::Inserted,
                              InsertResult::EmptyValue}))
            << c.first << ": the same value in another profile is inserted";
        const auto rows = loadListRows(db, c.kind, 1);
        ASSERT_EQ(rows.size(), 1u);
        EXPECT_EQ(rows[0].text, c.first) << "stored exactly as given, apostrophes included";
    }
}

TEST(Value, ConversionsAsTheClassicVariantMakesThem) {
    EXPECT_NE(Value(), Value::null()) << "Empty (no row) is not Null";
    for (const Value& v : {Value(), Value::null()}) EXPECT_TRUE(v.toText().empty() && v.toInteger() == 0 && !v.toBool());
    const std::pair<Value, long long> integers[] = {
        {Value::boolean(true), -1}, {Value::boolean(false), 0}, {Value("42"), 42}, {Value(" 7 "), 7},
        {Value("000000000012"), 12}, {Value(2.6), 3},           {Value("abc"), 0},
    };
    for (const auto& [v, n] : integers) EXPECT_EQ(v.toInteger(), n) << v.toText();
    EXPECT_EQ(Value(std::int64_t{5}).toText(), "5");
    // valueOrDefault substitutes Null only.
    EXPECT_TRUE(valueOrDefault(Value::null()) == Value(std::string()) && valueOrDefault(Value("x"), Value("y")) == Value("x"));
    EXPECT_TRUE(valueOrDefault(Value()).isEmpty());
}
}  // namespace
}  // namespace ombrix::core

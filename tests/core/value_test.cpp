#include "core/value.h"

#include <gtest/gtest.h>

namespace ombrix::core {
namespace {

TEST(Value, EmptyAndNullAreDistinctAndReadAsNothing) {
    EXPECT_TRUE(Value().isEmpty());
    EXPECT_TRUE(Value::null().isNull());
    EXPECT_NE(Value(), Value::null());
    for (const Value& v : {Value(), Value::null()}) {
        EXPECT_EQ(v.toText(), "");
        EXPECT_EQ(v.toInteger(), 0);
        EXPECT_FALSE(v.toBool());
    }
}

TEST(Value, ConversionsAsTheClassicVariantMakesThem) {
    EXPECT_TRUE(Value::boolean(true).toBool());
    EXPECT_EQ(Value::boolean(true).toInteger(), -1);
    EXPECT_EQ(Value::boolean(false).toInteger(), 0);
    EXPECT_EQ(Value("42").toInteger(), 42);
    EXPECT_EQ(Value(" 7 ").toInteger(), 7);
    EXPECT_EQ(Value("000000000012").toInteger(), 12);
    EXPECT_EQ(Value(2.6).toInteger(), 3);
    EXPECT_EQ(Value(std::int64_t{5}).toText(), "5");
    EXPECT_EQ(Value("abc").toInteger(), 0);
}

TEST(ValoreNonNullo, SubstitutesOnlyNull) {
    EXPECT_EQ(ValoreNonNullo(Value::null()), Value(std::string()));
    EXPECT_EQ(ValoreNonNullo(Value::null(), Value::boolean(false)), Value::boolean(false));
    EXPECT_EQ(ValoreNonNullo(Value("x"), Value("y")), Value("x"));
    EXPECT_TRUE(ValoreNonNullo(Value()).isEmpty()) << "Empty (no row) is not Null";
}

}  // namespace
}  // namespace ombrix::core

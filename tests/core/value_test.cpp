#include "core/value.h"
#include <gtest/gtest.h>

namespace ombrix::core {
namespace {
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

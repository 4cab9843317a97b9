#include "platform/values/JSON.h"

#include <gtest/gtest.h>

#include <string>

namespace qvx::platform {

using namespace std::string_literals;

namespace {

std::optional<Value> read(std::string text) {
    return JSONObjectWithData(Data::withString(std::move(text)));
}

std::string nested(size_t depth) {
    return std::string(depth, '[') + std::string(depth, ']');
}

} // namespace

TEST(JSON, ReadsEveryKindInOrder) {
    const auto value = read("\n{\"z\":[1,-9223372036854775808,9223372036854775808,2.5e1,true,null],"
                            "\"a\":\"\\u00e9\\ud83d\\ude00/\\\"\",\"\":{}} ");
    const Dictionary expected{{"z", Value::Array{1, INT64_MIN, 9223372036854775808.0, 25.0, true, nullptr}},
                              {"a", "é😀/\""},
                              {"", Dictionary()}};
    ASSERT_TRUE(value);
    EXPECT_EQ(*value, Value(expected));
    EXPECT_EQ(read("{\"a\":1,\"b\":2,\"a\":3}"), Value(Dictionary{{"a", 3}, {"b", 2}}));
}

TEST(JSON, RefusesWhatIsNoWholeText) {
    for (const std::string& text :
         {""s,           "  "s,         "1"s,        "\"a\""s,   "true"s,    "null"s,
          "[1] x"s,      "[1][2]"s,     "[1]\0"s,    "[1]\0x"s,  "[1,]"s,    "{\"a\"}"s,
          "{a:1}"s,      "[01]"s,       "[NaN]"s,    "[1e999]"s, "['a']"s,   "[\"\\ud800\"]"s,
          "[\"\xC3\"]"s, "[\"\xFF\"]"s, "[\"\n\"]"s, "[\"a"s,    "// c\n[]"s})
        EXPECT_FALSE(read(text)) << text;
}

TEST(JSON, NestsNoDeeperThan512) {
    EXPECT_TRUE(read(nested(512)));
    for (const std::string& text :
         {nested(513), nested(1'000'000), std::string(1'000'000, '['), "{\"a\":" + nested(512) + "}"})
        EXPECT_FALSE(read(text));
}

} // namespace qvx::platform

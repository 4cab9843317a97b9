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
    const auto value =
        read("\n{\"z\":[9223372036854775807,-9223372036854775808,9223372036854775808,2.5e1,true,null],"
             "\"a\":1,\"\":{},\"a\":\"\\u00e9\\ud83d\\ude00/\\\"\"} ");
    const Dictionary expected{
        {"z", Value::Array{INT64_MAX, INT64_MIN, 9223372036854775808.0, 25.0, true, nullptr}},
        {"a", "é😀/\""},
        {"", Dictionary()}};
    EXPECT_EQ(value, Value(expected));
    EXPECT_TRUE(read(nested(512)));
}

TEST(JSON, RefusesWhatIsNoWholeTextOrNestsTooDeep) {
    for (const std::string& text :
         {""s, "1"s, "null"s, "[1] x"s, "[1]\0"s, "[1,]"s, "[1e999]"s, "[\"\xFF\"]"s, "[\"a"s, "// c\n[]"s,
          nested(513), std::string(1'000'000, '['), "{\"a\":" + nested(512) + "}"})
        EXPECT_FALSE(read(text)) << text.substr(0, 80);
}

} // namespace qvx::platform

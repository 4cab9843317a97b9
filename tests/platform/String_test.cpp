#include "platform/text/Format.h"
#include "platform/text/String.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/text/Error.h"
#include "platform/values/Value.h"

namespace qvx::platform {

using namespace std::string_literals;

TEST(String, FormatsObjectsTextsAndNumbers) {
    const std::optional<Error> error{{"D", -1003, "no %@ here"}};
    EXPECT_EQ(platform::format("%@|%s|%@|%@", "a%@b", "é"s, std::optional<std::string>(""), error),
              "a%@b|é||Error Domain=D Code=-1003 \"no %@ here\"");
    EXPECT_EQ(platform::format("%@%@", std::optional<std::string>(), std::optional<Error>()), "(null)(null)");
    EXPECT_EQ(platform::format("%i %d %lu %tu 100%%", uint64_t{0xFFFFFFFF}, -7, UINT64_MAX, 3U),
              "-1 -7 18446744073709551615 3 100%");
    EXPECT_EQ(platform::format("%@", Value(Dictionary{{"k", Value::Array{1, true}}})), "{k = (1, 1); }");
}

TEST(String, BooleanAndIntegerOfText) {
    for (const char* text : {"YES", "true", "  \t+001x", "-9", "-0y", "\n12,5", "2147483648"})
        EXPECT_TRUE(boolValue(text)) << text;
    for (const char* text : {"", "no", "0000", "a1", "+ 1", "0x10"})
        EXPECT_FALSE(boolValue(text)) << text;
    for (const char* text : {"", "YES", "0000", "-0y", "a1", "+ 1", "0x10"})
        EXPECT_EQ(integerValue(text), 0) << text;
    EXPECT_EQ(integerValue("  \t+001x"), 1);
    EXPECT_EQ(integerValue("\n12,5"), 12);
    EXPECT_EQ(integerValue("2147483648"), INT32_MAX);
    EXPECT_EQ(integerValue("-99999999999999999999999"), INT32_MIN);
}

TEST(String, UTF8) {
    struct {
        std::string text, valid;
        size_t length;
    } const rows[] = {
        {"", "", 0},
        {"a\0é€😀"s, "a\0é€😀"s, 6},
        {"\xC3", "\uFFFD", 1},
        {"a\xFF\0\xC0\x80z"s, "a\uFFFD\0\uFFFD\uFFFDz"s, 6}, // overlong
        {"\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD", 3},           // a surrogate
        {"\xF4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD", 4}  // past the last character
    };
    for (const auto& row : rows) {
        EXPECT_EQ(validUTF8(row.text), row.valid);
        EXPECT_EQ(isUTF8(row.text), row.text == row.valid);
        EXPECT_EQ(stringWithUTF8String(row.text).has_value(), row.text == row.valid);
        EXPECT_EQ(lengthInUTF16(row.valid), row.length);
    }
    EXPECT_EQ(lowercaseString("ÄÖ-ΣIİ\0X"s), "äö-σii\0x"s);
    EXPECT_EQ(lowercaseString("\xC3Q\xFF"), "\xC3q\xFF");
    EXPECT_TRUE(equalsIgnoringCase("MacOSX", "macosx"));
    EXPECT_FALSE(equalsIgnoringCase("Ä", "ä"));
    EXPECT_FALSE(equalsIgnoringCase("MacOSX", "macos"));
}

TEST(String, Paths) {
    struct {
        const char *path, *component, *joined, *extension;
    } const rows[] = {{"/a", "b.dSYM", "/a/b.dSYM", "dSYM"},
                      {"/a//", "/b.x/", "/a/b.x", "x"},
                      {"", "b.tar.gz", "b.tar.gz", "gz"},
                      {"/", "", "/", ""},
                      {"a", ".x", "a/.x", ""},
                      {"a", "b.", "a/b.", ""}};
    for (const auto& row : rows) {
        const std::string joined = stringByAppendingPathComponent(row.path, row.component);
        EXPECT_EQ(joined, row.joined);
        EXPECT_EQ(pathExtension(joined), row.extension) << joined;
    }
    EXPECT_EQ(pathExtension("a.app///"), "app");
}

} // namespace qvx::platform

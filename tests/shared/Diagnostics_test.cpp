#include "shared/Diagnostics.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "shared/Categories/MD5.h"
#include "shared/Categories/URLEncoding.h"

namespace qvx {

using namespace std::string_literals;

TEST(Diagnostics, WhatIsPrinted) {
    const struct {
        std::function<void()> print;
        const char* expected;
    } rows[] = {{[] { QVXLog("x"); }, "x"},
                {[] { QVXLog("%@ %i\n", std::optional<std::string>(), uint64_t{404}); }, "(null) 404\n"},
                {[] { QVXLogXcodeWarning("%@", "100%@ é\n\n"); }, "warning: 100%@ é\n\n\n"},
                {[] { QVXLogXcodeWarningAtPath("a.m"s, 7, "%d", 5); }, "a.m:7: warning: 5\n"},
                {[] { QVXLogXcodeWarningAtPath(""s, 7, "x"); }, "warning: x\n"},
                {[] { QVXLogXcodeWarningAtPathNonVariadic(std::nullopt, 7, "%s"); }, "warning: %s\n"},
                {[] { QVXLogXcodeWarningAtPathNonVariadic("%@", UINT64_MAX, "x"); },
                 "%@:18446744073709551615: warning: x\n"}};
    for (const auto& row : rows) {
        testing::internal::CaptureStdout();
        row.print();
        EXPECT_EQ(testing::internal::GetCapturedStdout(), row.expected);
    }
}

TEST(MD5, OfTextsAndData) {
    const struct {
        std::string text;
        const char *ofText, *ofData;
    } rows[] = {{"", "d41d8cd98f00b204e9800998ecf8427e", "d41d8cd98f00b204e9800998ecf8427e"},
                {"abc", "900150983cd24fb0d6963f7d28e17f72", "900150983cd24fb0d6963f7d28e17f72"},
                {"é", "66ddcd97cfdeabb2f6fb8a999b4bc76f", "66ddcd97cfdeabb2f6fb8a999b4bc76f"},
                {"abc\0d"s, "900150983cd24fb0d6963f7d28e17f72", "8e108aa8729ef4b71516b96a146593bf"}};
    for (const auto& row : rows) {
        EXPECT_EQ(MD5(row.text), row.ofText);
        platform::Data pieces;
        for (const char character : row.text)
            pieces.append(platform::Data::withBytes({&character, 1}));
        EXPECT_EQ(MD5(pieces), row.ofData);
    }
}

TEST(URLEncoding, EscapesAllButUnreservedCharacters) {
    const struct {
        std::string text;
        const char* escaped;
    } rows[] = {{"AZaz09-._~", "AZaz09-._~"},
                {"!*'\"();:@&=+$,/?#[] ", "%21%2A%27%22%28%29%3B%3A%40%26%3D%2B%24%2C%2F%3F%23%5B%5D%20"},
                {"a%b%20", "a%25b%2520"},
                {"é€😀", "%C3%A9%E2%82%AC%F0%9F%98%80"},
                {"<>\\^`{|}\x7F\n\0"s, "%3C%3E%5C%5E%60%7B%7C%7D%7F%0A%00"}};
    for (const auto& row : rows)
        EXPECT_EQ(urlEncode(row.text), row.escaped);
}

} // namespace qvx

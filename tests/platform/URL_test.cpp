#include "platform/text/URL.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

namespace qvx::platform {

using namespace std::string_literals;

TEST(URL, OnlyLegalTextMakesOne) {
    for (const std::string text : {"", "/a%20b", "x:", "a:b@c!$&'()*+,;=[]#?", "~-._%fF%C3"})
        EXPECT_TRUE(URL::initWithString(text)) << text;
    for (const std::string& text :
         {"a b"s, "a\tb"s, "é"s, "a\0"s, "\x7F"s, "\""s, "<"s,   ">"s,   "\\"s,   "^"s,
          "`"s,   "{"s,    "|"s, "}"s,   "%"s,    "%2"s, "%2g"s, "%g2"s, "%%20"s, "%\x10\x11"s})
        EXPECT_FALSE(URL::initWithString(text)) << text;
}

TEST(URL, Parts) {
    struct {
        const char* text;
        std::optional<std::string> scheme, host, path;
        uint16_t port;
    } const rows[] = {{"HTTPS://User:1@Api.Example:8443/a%20b/?q#f", "https", "api.example", "/a b", 8443},
                      {"https://a", "https", "a", "", 443},
                      {"http://[::1]:80/", "http", "::1", "/", 80},
                      {"https://a:/b", "https", "a", "/b", 443},
                      {"/My#App?x/y", {}, {}, "/My", 0},
                      {"//host/p//", {}, "host", "/p", 0},
                      {"/a:b", {}, {}, "/a:b", 0},
                      {"/%C3%28%2F", {}, {}, "/\xC3(", 0},
                      {"/a%00b", {}, {}, {}, 0},
                      {"quorvex://xcode?A=/b:1", "quorvex", "xcode", "", 0}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        const std::optional<URL> url = URL::initWithString(row.text);
        ASSERT_TRUE(url);
        EXPECT_EQ(url->scheme(), row.scheme);
        EXPECT_EQ(url->host(), row.host);
        EXPECT_EQ(url->path(), row.path);
        EXPECT_EQ(url->port(), row.port);
        EXPECT_EQ(url->absoluteString(), row.text);
    }
}

TEST(URL, ResolvesAgainstABase) {
    // RFC 3986, section 5.4.
    const std::string_view rfc = "http://a/b/c/d;p?q";
    const std::tuple<const char*, std::string_view, const char*> rows[] = {
        {"g:h", rfc, "g:h"},
        {"./g", rfc, "http://a/b/c/g"},
        {"/g", rfc, "http://a/g"},
        {"//g", rfc, "http://g"},
        {"?y", rfc, "http://a/b/c/d;p?y"},
        {"#s", rfc, "http://a/b/c/d;p?q#s"},
        {"g?y#s", rfc, "http://a/b/c/g?y#s"},
        {"", rfc, "http://a/b/c/d;p?q"},
        {".", rfc, "http://a/b/c/"},
        {"../../../g", rfc, "http://a/g"},
        {"g/../h", rfc, "http://a/b/c/h"},
        {"g#s/../x", rfc, "http://a/b/c/g#s/../x"},
        {"g", "http://a", "http://a/g"},
        {"/spi/v1?x", "https://h:1", "https://h:1/spi/v1?x"},
        {"..//g", "x:", "x:/g"}, // dots that lead nowhere make no host of what follows
        {"../c", "a/b", "/c"}};
    for (const auto& [text, base, resolved] : rows) {
        const auto url = URL::initWithString(text, *URL::initWithString(base));
        ASSERT_TRUE(url) << text;
        EXPECT_EQ(url->absoluteString(), resolved) << text;
    }
    const auto base = URL::initWithString(rfc);
    EXPECT_FALSE(URL::initWithString("a b", *base));
    EXPECT_EQ(URL::initWithString("../g", *base)->relativePath(), "../g");
}

TEST(URL, OfAFilePath) {
    EXPECT_EQ(URL::fileURLWithPath("/a b/é%?#[;]/").absoluteString(),
              "file:///a%20b/%C3%A9%25%3F%23%5B%3B%5D/");
    for (const std::string path : {"/", "/a b;é%20?#[x]", "/\xFF\x01"})
        EXPECT_EQ(URL::fileURLWithPath(path).path(), path);
    EXPECT_EQ(URL::fileURLWithPath("/a/").path(), "/a");
    EXPECT_TRUE(URL::fileURLWithPath("x").path()->starts_with("/"));
}

} // namespace qvx::platform

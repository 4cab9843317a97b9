#include "platform/values/PropertyList.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tests/TemporaryFolder.h"

namespace qvx::platform {

using namespace std::string_literals;

namespace {

Result<Value> read(std::string bytes) {
    return propertyListWithData(Data::withString(std::move(bytes)));
}

void expectValue(const std::string& bytes, const Value& expected) {
    SCOPED_TRACE(bytes.substr(0, 120));
    const Result<Value> value = read(bytes);
    ASSERT_TRUE(value) << value.error().text;
    EXPECT_EQ(*value, expected) << value->description();
}

void expectUnreadable(std::string bytes) {
    SCOPED_TRACE(bytes.substr(0, 120));
    const Result<Value> value = read(std::move(bytes));
    ASSERT_FALSE(value) << value->description();
    EXPECT_EQ(value.error().domain, "NSCocoaErrorDomain");
    EXPECT_EQ(value.error().code, 3840);
}

std::string repeated(size_t count, std::string_view text) {
    std::string result;
    while (count-- > 0)
        result += text;
    return result;
}

std::string xml(const std::string& element) {
    return "<plist version=\"1.0\">" + element + "</plist>";
}

std::string bigEndian(uint64_t value, int size) {
    std::string bytes;
    while (size-- > 0)
        bytes += static_cast<char>(value >> 8 * size);
    return bytes;
}

/// A binary list of the objects, with references and offsets of four bytes, whose root is the first one.
std::string binary(const std::vector<std::string>& objects, std::optional<uint64_t> count = {}) {
    std::string bytes = "bplist00", offsets;
    for (const std::string& object : objects) {
        offsets += bigEndian(bytes.size(), 4);
        bytes += object;
    }
    const size_t table = bytes.size();
    return bytes + offsets + repeated(6, "\0"s) + "\4\4" + bigEndian(count.value_or(objects.size()), 8) +
           bigEndian(0, 8) + bigEndian(table, 8);
}

/// An array object that refers to others.
std::string arrayOf(const std::vector<uint64_t>& references) {
    std::string object(1, static_cast<char>(0xA0 + references.size()));
    for (const uint64_t reference : references)
        object += bigEndian(reference, 4);
    return object;
}

std::string xmlNested(size_t depth) {
    return xml(repeated(depth, "<array>") + repeated(depth, "</array>"));
}

std::string binaryNested(size_t depth) {
    std::vector<std::string> objects;
    for (size_t level = 1; level < depth; ++level)
        objects.push_back(arrayOf({level}));
    objects.push_back(arrayOf({}));
    return binary(objects);
}

std::string oldStyleNested(size_t depth) {
    return repeated(depth, "(") + repeated(depth, ")");
}

} // namespace

TEST(PropertyList, WritesEveryKind) {
    EXPECT_EQ(xmlPropertyList(*dictionaryWithContentsOfFile(QVX_ALL_KINDS)), test::contentsOf(QVX_ALL_KINDS));
    EXPECT_TRUE(xmlPropertyList({}).ends_with("<plist version=\"1.0\">\n<dict/>\n</plist>\n"));
    EXPECT_TRUE(xmlPropertyList({{"a\1", "first"}, {"b", 1}, {"a\2", nullptr}})
                    .ends_with("<dict>\n\t<key>a\uFFFD</key>\n\t<string></string>\n"
                               "\t<key>b</key>\n\t<integer>1</integer>\n</dict>\n</plist>\n"));
    const std::pair<Value, const char*> rows[] = {{UINT64_MAX, ">18446744073709551615<"},
                                                  {-0.0, "<real>0.0<"},
                                                  {Date{-0.5}, ">2001-01-01T00:00:00Z<"},
                                                  {Date{-1e11}, ">-1168-02-16T14:13:20Z<"},
                                                  {"\1\x1f\xFF|\xEF\xBF\xBE", ">\uFFFD\uFFFD\uFFFD|\uFFFD<"}};
    for (const auto& [value, written] : rows)
        EXPECT_NE(xmlPropertyList({{"", value}}).find(written), std::string::npos) << written;
}

TEST(PropertyList, XMLValues) {
    const std::pair<const char*, Value> rows[] = {
        {"<integer> +007\n</integer>", 7},
        {"<integer>0xFf</integer>", 255},
        {"<integer>-0</integer>", 0},
        {"<real> -1.5e3 </real>", -1500.0},
        {"<date>2000-02-29T23:59:59Z</date>", Date{-26438401}},
        {"<date>-0044-03-15T12:00:00Z</date>", Date{-64527624000}},
        {"<date>12001-01-01T00:00:00Z</date>", Date{315569520000}},
        {"<data>\n\tAAEC /w=\n=\n</data>", Data::withBytes("\0\1\2\xFF"s)},
        {"<data/>", Data()},
        {"<string> a<!-- <b> -->&#x62;<![CDATA[<c>]]> &gt;\r\n</string>", " ab<c> >\n"},
        {"<true>\n</true>", true},
        {"<dict><key>a</key><true/><key/><false/><key>a</key><string/></dict>",
         Dictionary{{"a", ""}, {"", false}}},
        {"<array ids='1'> <array/>\n<dict/><?any thing?></array>",
         Value::Array{Value::Array(), Dictionary()}}};
    for (const auto& [element, value] : rows)
        expectValue(xml(element), value);
    const std::string text = "<plist><string>ab</string></plist>";
    for (const std::string& bytes :
         {text, "\xEF\xBB\xBF" + text, "\n <?xml version='1.0'?>" + text,
          "<?xml version='1.0' encoding='US-ASCII'?><!DOCTYPE plist SYSTEM 'no'>" + text,
          "<string>ab</string>"s})
        expectValue(bytes, "ab");
    expectValue("<?xml version='1.0' encoding='utf8'?><string>ab</string>", "ab");
    expectValue("\xEF\xBB\xBF\n<?xml version='1.0'?><string>é</string>", "é");
    expectValue("<?xml version='1.0' encoding='ISO-8859-1'?><string>\xE9</string>", "é");
}

TEST(PropertyList, NoXMLValues) {
    const std::pair<std::string, std::vector<std::string>> elements[] = {
        {"integer", {"", "1x", "--1", "18446744073709551616", "-9223372036854775809"}},
        {"real", {"", "+-1", "0x1p3", "nan(1)"}},
        {"data", {"AA$=", "AAA", "A===", "AA==AA=="}},
        {"date",
         {"2001-01-01", "2001-02-29T00:00:00Z", "2001-01-01T24:00:00Z", "2001-1-01T00:00:00Z",
          "9999999999-01-01T00:00:00Z"}},
        {"dict", {"<true/>", "<key>a</key>", "<key>a</key><key>b</key><true/>"}},
        {"array", {"x", "<key>a</key>"}},
        {"string", {"<true/>"}},
        {"true", {"x"}},
        {"key", {"a"}},
        {"set", {""}},
        {"plist", {"<true/>"}}};
    for (const auto& [name, contents] : elements)
        for (const std::string& content : contents)
            expectUnreadable(xml("<" + name + ">" + content + "</" + name + ">"));
    for (const std::string& bytes :
         {"<html></html>"s, xml(""), xml("<true/><true/>"), xml("x<true/>"),
          "<plist><true/></plist><plist/>"s, "<plist\0><true/></plist>"s,
          "<!DOCTYPE plist [<!ENTITY a 'b'>]><plist><string>&a;</string></plist>"s,
          "<!DOCTYPE plist [<!ENTITY % a SYSTEM 'b'>]><plist><true/></plist>"s,
          "<!DOCTYPE plist SYSTEM 'x.dtd'><plist><string>&a;</string></plist>"s,
          "<!DOCTYPE plist [%a;<!ENTITY b 'c'>]><plist><true/></plist>"s,
          "<!DOCTYPE plist [<!ATTLIST true a CDATA 'x'>]><plist><true/></plist>"s,
          "<?xml version='1.0' encoding='windows-1252'?><plist><string>\xE9</string></plist>"s})
        expectUnreadable(bytes);
    EXPECT_EQ(read("<plist>\n<int/></plist>").error().text,
              "The data is no property list: line 2 has an unknown element.");
}

TEST(PropertyList, BinaryValues) {
    const std::pair<std::string, Value> rows[] = {
        {"\x12\xFF\xFF\xFF\xFF", int64_t{0xFFFFFFFF}},
        {"\x14" + bigEndian(UINT64_MAX, 8) + bigEndian(uint64_t{1} << 63, 8), INT64_MIN},
        {"\x22\x3F\xC0\0\0"s, 1.5},
        {"\x62\xDC\x00\0b"s, "\uFFFDb"},
        {"\x61\0\0"s, "\0"s}};
    for (const auto& [object, value] : rows)
        expectValue(binary({object}), value);
}

TEST(PropertyList, BinaryOnesThatLie) {
    const std::string word = "\x13"s; // makes a size of the next eight bytes
    const std::string objects[] = {arrayOf({0}),
                                   arrayOf({7}),
                                   "\xD1"s + bigEndian(0, 8),
                                   "\x5F" + word + bigEndian(UINT64_MAX, 8), // a text
                                   "\x6F" + word + bigEndian(INT64_MAX, 8),  // one in UTF-16
                                   "\x4F\x12" + bigEndian(1 << 30, 4),       // a gigabyte of data
                                   "\xAF" + word + bigEndian(uint64_t{1} << 62, 8),
                                   "\xDF" + word + bigEndian(UINT64_MAX / 2 + 1, 8),
                                   "\x5F\x1F",
                                   "",
                                   "\xF0",
                                   "\x0F",
                                   "\x52\x61\xC3", // letters beyond ASCII in a text of ASCII
                                   "\x14" + bigEndian(1, 8) + bigEndian(0, 8),
                                   "\x15" + repeated(32, "\0"s),
                                   "\x33" + bigEndian(0x7FF8000000000000, 8), // no date
                                   "\x33" + bigEndian(0x7E37E43C8800759C, 8)};
    for (const std::string& object : objects)
        expectUnreadable(binary({object}));
    for (const std::string& bytes :
         {binary({arrayOf({1}), arrayOf({0})}), binary({"\xD1"s + bigEndian(1, 4) + bigEndian(1, 4), "\x09"}),
          binary({"\xA0"s}, 0), binary({"\xA0"s}, uint64_t{1} << 62), "bplist00"s,
          "bplist00" + repeated(32, "\xFF"), "bplist01" + binary({"\x09"}).substr(8)})
        expectUnreadable(bytes);
    // Each array holds the next one ten times: a few hundred bytes that would unfold to 10^20 objects.
    std::vector<std::string> unfolding;
    for (uint64_t index = 1; index <= 20; ++index)
        unfolding.push_back(arrayOf(std::vector<uint64_t>(10, index)));
    unfolding.push_back(arrayOf({}));
    expectUnreadable(binary(unfolding));
}

TEST(PropertyList, OldStyle) {
    const std::pair<std::string, Value> rows[] = {
        {"{ key = value; list = (a, b); \"q\" = {}; key = <>; }",
         Dictionary{{"key", Data()}, {"list", Value::Array{"a", "b"}}, {"q", Dictionary()}}},
        {"\xEF\xBB\xBF// first\n/* {;} */ (\"a b\", 'c\"', /**/ $X/_.:-9 ,)//",
         Value::Array{"a b", "c\"", "$X/_.:-9"}},
        {R"(("\a\b\f\n\r\t\v\"\'\\\x\é \  \
" ))",
         Value::Array{"\a\b\f\n\r\t\v\"'\\xé   \n"}},
        {R"(("\U00e9\Ud83d\UDE00\Ud83dx\U41z\101\60\0019\200\377\350"))",
         Value::Array{"é😀\uFFFDxAzA0\0019\u00A0\uFFFDŁ"}},
        {"(<>,<0077 1C>)", Value::Array{Data(), Data::withBytes("\0\x77\x1C"s)}}};
    for (const auto& [text, value] : rows)
        expectValue(text, value);
    for (const std::string& text :
         {""s,      " \n"s,        "word"s,   "\"text\""s,  "{"s,     "{}}"s,        "(a b)"s,
          "(,)"s,   "{a}"s,        "{a=}"s,   "{a=b}"s,     "{a=b;"s, "{=b;}"s,      "{(a)=b;}"s,
          "(<0>)"s, "(<0 f>)"s,    "(<fg>)"s, "(<00)"s,     "(\"a)"s, "(\"\\"s,      "(\"\\U\")"s,
          "(é)"s,   "(\"\xFF\")"s, "(a/*)"s,  "{\"a\":1}"s, "junk"s,  "\xFF\xFE<\0"s})
        expectUnreadable(text);
}

TEST(PropertyList, NestsNoDeeperThan512AndHoldsNoMoreThanAMillion) {
    for (const auto nested : {&xmlNested, &binaryNested, &oldStyleNested}) {
        EXPECT_TRUE(read(nested(512)));
        expectUnreadable(nested(513));
        expectUnreadable(nested(1'000'000));
    }
    expectUnreadable(repeated(1'000'000, "<dict><key>a</key>"));
    expectUnreadable(repeated(1'000'000, "{a="));
    constexpr size_t million = 1 << 20;
    for (const size_t count : {million - 1, million}) {
        EXPECT_EQ(bool(read("<array>" + repeated(count, "<true/>") + "</array>")), count < million);
        EXPECT_EQ(bool(read("(" + repeated(count, "a,") + ")")), count < million);
    }
    expectUnreadable(std::string((16 << 20) + 1, ' '));
}

} // namespace qvx::platform

#include "platform/values/PropertyList.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "platform/values/UserDefaults.h"
#include "tests/platform/TemporaryFolder.h"

namespace qvx::platform {

using namespace std::string_literals;
using test::contentsOf;
using test::TemporaryFolder;

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

/// The text in UTF-16 behind a byte-order mark; ASCII only.
std::string utf16(std::string_view text, bool bigEndian) {
    std::string bytes = bigEndian ? "\xFE\xFF" : "\xFF\xFE";
    for (const char character : text)
        bytes += bigEndian ? "\0"s + character : character + "\0"s;
    return bytes;
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

/// Every kind of value, with what is hard to write.
Dictionary allKinds() {
    std::string bytes;
    for (int byte = 0; byte < 300; ++byte)
        bytes += static_cast<char>(byte);
    const double infinity = std::numeric_limits<double>::infinity();
    const double notANumber = std::numeric_limits<double>::quiet_NaN();
    Value deep = Data::withBytes(bytes);
    for (int level = 0; level < 11; ++level)
        deep = Value::Array{deep, true};
    return {
        {"z", "text"},
        {"empty", ""},
        {"markup & <key> \"q\"", "a & <b> \"c\" 'd' ]]> é😀"},
        {"controls", "\1\2\t\n\r\x1f\x7f end"s},
        {"no characters", "\xEF\xBF\xBE|\xEF\xBF\xBF|\xC2\x85|\xE2\x80\xA8|\xFF"},
        {"", Value::Array{true, false, nullptr}},
        {"integers", Value::Array{INT64_MIN, INT64_MAX, 0, -1}},
        {"reals",
         Value::Array{0.0, -0.0, 1.0, 1.5, 0.1, -2.25, 1.0 / 3, 1e100, 1e-100, 1e16, 1e17, 123456789.123,
                      5e-324, 1.7976931348623157e308, infinity, -infinity, notANumber}},
        {"dates", Value::Array{Date{0}, Date{421052889}, Date{-1}, Date{2147483647}, Date{-2147483648.0},
                               Date{0.5}, Date{-0.5}}},
        {"data", Value::Array{Data(), Data::withBytes("\0"s), Data::withBytes("ab"), Data::withBytes("abc"),
                              Data::withBytes(bytes)}},
        {"containers",
         Value::Array{Value::Array(), Dictionary(), Dictionary{{"a", Dictionary{{"b", deep}}}}}},
    };
}

} // namespace

TEST(PropertyList, ReadsWhatAnotherProgramWrote) {
    // Made by Python's plistlib, the same dictionary in both forms.
    const Dictionary expected{{"string", "a & <b> é 😀"},
                              {"empty", ""},
                              {"true", true},
                              {"false", false},
                              {"integer", -42},
                              {"big", int64_t{1} << 62},
                              {"real", 1.5},
                              {"date", Date{421052889}},
                              {"data", Data::withBytes("\0\1\xFF"s)},
                              {"array", Value::Array{1, Value::Array{"x", Dictionary()}, Value::Array()}},
                              {"dict", Dictionary{{"inner", Dictionary{{"k", "v"}}}}}};
    for (const char* form : {"xml", "binary"})
        EXPECT_EQ(dictionaryWithContentsOfFile(std::string(QVX_PROPERTY_LIST_CORPUS "/") + form), expected)
            << form;
    const TemporaryFolder folder;
    EXPECT_FALSE(dictionaryWithContentsOfFile(folder.file("array", "<plist><array/></plist>")));
}

TEST(PropertyList, WritesEveryKind) {
    EXPECT_EQ(xmlPropertyList(allKinds()), contentsOf(QVX_TESTS "/platform/all_kinds.plist"));
    EXPECT_TRUE(xmlPropertyList({}).ends_with("<plist version=\"1.0\">\n<dict/>\n</plist>\n"));
    EXPECT_TRUE(xmlPropertyList({{"a\1", "first"}, {"b", 1}, {"a\2", "last"}})
                    .ends_with("<dict>\n\t<key>a\uFFFD</key>\n\t<string>last</string>\n"
                               "\t<key>b</key>\n\t<integer>1</integer>\n</dict>\n</plist>\n"));
    EXPECT_NE(xmlPropertyList({{"", UINT64_MAX}}).find(">18446744073709551615<"), std::string::npos);
    EXPECT_NE(xmlPropertyList({{"", Date{-1e11}}}).find(">-1168-02-16T14:13:20Z<"), std::string::npos);
}

TEST(PropertyList, XMLValues) {
    const std::pair<const char*, Value> rows[] = {
        {"<integer>-9223372036854775808</integer>", INT64_MIN},
        {"<integer> +007\n</integer>", 7},
        {"<integer>18446744073709551615</integer>", UINT64_MAX},
        {"<integer>0xFf</integer>", 255},
        {"<integer>-0</integer>", 0},
        {"<real> -1.5e3 </real>", -1500.0},
        {"<real>+infinity</real>", std::numeric_limits<double>::infinity()},
        {"<date>2000-02-29T23:59:59Z</date>", Date{-26438401}},
        {"<date>0001-01-01T00:00:00Z</date>", Date{-63113904000}},
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
    const std::string declared = "<?xml version=\"1.0\" encoding=\"UTF-16\"?>" + text;
    for (const std::string& bytes :
         {text, "\xEF\xBB\xBF" + text, "\n <?xml version='1.0'?>" + text, utf16(text, true),
          utf16(declared, false),
          "<?xml version='1.0' encoding='US-ASCII'?><!DOCTYPE plist SYSTEM 'no'>" + text,
          "<string>ab</string>"s})
        expectValue(bytes, "ab");
    expectValue("<?xml version='1.0' encoding='utf8'?><string>ab</string>", "ab");
    expectValue("\xEF\xBB\xBF\n<?xml version='1.0'?><string>é</string>", "é");
    expectValue("<?xml version='1.0' encoding='ISO-8859-1'?><string>\xE9</string>", "é");
}

TEST(PropertyList, NoXMLValues) {
    for (const char* element : {"",
                                "<true/><true/>",
                                "x<true/>",
                                "<true>x</true>",
                                "<integer/>",
                                "<integer>1x</integer>",
                                "<integer>--1</integer>",
                                "<integer>18446744073709551616</integer>",
                                "<integer>-9223372036854775809</integer>",
                                "<real/>",
                                "<real>+-1</real>",
                                "<real>0x1p3</real>",
                                "<real>nan(1)</real>",
                                "<date>2001-02-29T00:00:00Z</date>",
                                "<date>2001-01-01T24:00:00Z</date>",
                                "<date>2001-01-01</date>",
                                "<date>2001-1-01T00:00:00Z</date>",
                                "<date>9999999999-01-01T00:00:00Z</date>",
                                "<data>AA$=</data>",
                                "<data>AAA</data>",
                                "<data>A===</data>",
                                "<data>AA==AA==</data>",
                                "<array>x</array>",
                                "<key>a</key>",
                                "<array><key>a</key></array>",
                                "<dict><true/></dict>",
                                "<dict><key>a</key></dict>",
                                "<dict><key>a</key><key>b</key><true/></dict>",
                                "<string><true/></string>",
                                "<set/>",
                                "<array>",
                                "<plist><true/></plist>",
                                "<string>&unknown;</string>",
                                "<string>\xFF</string>",
                                "<string>\xED\xA0\x80</string>",
                                "<string>&#1;</string>"})
        expectUnreadable(xml(element));
    for (const std::string& bytes :
         {"<html></html>"s, "<plist><true/></plist><plist/>"s, "<plist\0><true/></plist>"s,
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
        {"\x10\xFF", 255},
        {"\x12\xFF\xFF\xFF\xFF", int64_t{0xFFFFFFFF}},
        {"\x13" + bigEndian(UINT64_MAX, 8), -1},
        {"\x14" + bigEndian(0, 8) + bigEndian(UINT64_MAX, 8), UINT64_MAX},
        {"\x14" + bigEndian(UINT64_MAX, 8) + bigEndian(uint64_t{1} << 63, 8), INT64_MIN},
        {"\x22\x3F\xC0\0\0"s, 1.5},
        {"\x33" + bigEndian(0xC1E0000000000000, 8), Date{-2147483648.0}},
        {"\x4F\x10\x02\0\xFF"s, Data::withBytes("\0\xFF"s)},
        {"\x63\0a\xD8\x3D\xDE\x00"s, "a😀"},
        {"\x62\xDC\x00\0b"s, "\uFFFDb"},
        {"\x61\0\0"s, "\0"s}};
    for (const auto& [object, value] : rows)
        expectValue(binary({object}), value);
    expectValue(binary({"\xD2" + bigEndian(1, 4) + bigEndian(1, 4) + bigEndian(1, 4) + bigEndian(2, 4),
                        "\x51"
                        "a",
                        "\x09"}),
                Dictionary{{"a", true}});
}

TEST(PropertyList, BinaryOnesThatLie) {
    const std::string integer64 = "\x13"s;
    for (const std::string& bytes : {binary({arrayOf({0})}),
                                     binary({arrayOf({1}), arrayOf({0})}),
                                     binary({arrayOf({7})}),
                                     binary({"\xD1"s + bigEndian(0, 4) + bigEndian(0, 4)}),
                                     binary({"\xD1"s + bigEndian(1, 4) + bigEndian(1, 4), "\x09"}),
                                     binary({"\x5F"s + integer64 + bigEndian(UINT64_MAX, 8)}), // a text
                                     binary({"\x6F"s + integer64 + bigEndian(INT64_MAX, 8)}), // one in UTF-16
                                     binary({"\x4F\x12"s + bigEndian(1 << 30, 4)}), // a gigabyte of data
                                     binary({"\xAF"s + integer64 + bigEndian(uint64_t{1} << 62, 8)}),
                                     binary({"\xDF"s + integer64 + bigEndian(UINT64_MAX / 2 + 1, 8)}),
                                     binary({"\xA0"s}, 0),
                                     binary({"\xA0"s}, uint64_t{1} << 62),
                                     binary({"\x5F\x1F"s}),
                                     binary({""s}),
                                     binary({"\xF0"s}),
                                     binary({"\x52"
                                             "a\xC3"}), // letters beyond ASCII in a text of ASCII
                                     binary({"\x14" + bigEndian(1, 8) + bigEndian(0, 8)}),
                                     binary({"\x15" + repeated(32, "\0"s)}),
                                     binary({"\x33" + bigEndian(0x7FF8000000000000, 8)}),
                                     binary({"\x33" + bigEndian(0x7E37E43C8800759C, 8)}),
                                     binary({"\x0F"}),
                                     "bplist00"s,
                                     "bplist00" + repeated(32, "\xFF"),
                                     "bplist01" + binary({"\x09"}).substr(8)})
        expectUnreadable(bytes);
    // Each array holds the next one ten times: a few hundred bytes that would unfold to 10^20 objects.
    std::vector<std::string> objects;
    for (uint64_t index = 1; index <= 20; ++index)
        objects.push_back(arrayOf(std::vector<uint64_t>(10, index)));
    objects.push_back(arrayOf({}));
    expectUnreadable(binary(objects));
}

TEST(PropertyList, OldStyle) {
    const std::pair<std::string, Value> rows[] = {
        {"{ key = value; list = (a, b); data = <0fbd77 1C27>; }",
         Dictionary{{"key", "value"},
                    {"list", Value::Array{"a", "b"}},
                    {"data", Data::withBytes("\x0F\xBD\x77\x1C\x27")}}},
        {"\xEF\xBB\xBF// first\n/* {;} */ (\"a b\", 'c\"', /**/ $X/_.:-9 ,)//",
         Value::Array{"a b", "c\"", "$X/_.:-9"}},
        {"{a=1;\"b\"={};a=();}", Dictionary{{"a", Value::Array()}, {"b", Dictionary()}}},
        {R"(("\a\b\f\n\r\t\v\"\'\\\x\é \  \
" ))",
         Value::Array{"\a\b\f\n\r\t\v\"'\\xé   \n"}},
        {R"(("\U00e9\Ud83d\UDE00\Ud83dx\U41z\101\60\0019\200\377\350"))",
         Value::Array{"é😀\uFFFDxAzA0\0019\u00A0\uFFFDŁ"}},
        {"(<>,<00>)", Value::Array{Data(), Data::withBytes("\0"s)}}};
    for (const auto& [text, value] : rows)
        expectValue(text, value);
    for (const std::string& text :
         {""s,      " \n"s,        "word"s,   "\"text\""s,  "{"s,     "{}}"s,        "(a b)"s,
          "(,)"s,   "{a}"s,        "{a=}"s,   "{a=b}"s,     "{a=b;"s, "{=b;}"s,      "{(a)=b;}"s,
          "(<0>)"s, "(<0 f>)"s,    "(<fg>)"s, "(<00)"s,     "(\"a)"s, "(\"\\"s,      "(\"\\U\")"s,
          "(é)"s,   "(\"\xFF\")"s, "(a/*)"s,  "{\"a\":1}"s, "junk"s,  "\xFF\xFE<\0"s})
        expectUnreadable(text);
}

TEST(PropertyList, NestsNoDeeperThan512) {
    for (const auto nested : {&xmlNested, &binaryNested, &oldStyleNested}) {
        EXPECT_TRUE(read(nested(512)));
        expectUnreadable(nested(513));
        expectUnreadable(nested(1'000'000));
    }
    expectUnreadable(repeated(1'000'000, "<dict><key>a</key>"));
    expectUnreadable(repeated(1'000'000, "{a="));
    for (const std::string& element : {"<a/>"s, "a,"s}) { // of which a text may hold a million
        const auto list = [&](size_t count) {
            const std::string values = repeated(count, element == "a," ? element : "<true/>");
            return element == "a," ? "(" + values + ")" : "<array>" + values + "</array>";
        };
        EXPECT_TRUE(read(list((1 << 20) - 1)));
        expectUnreadable(list(1 << 20));
    }
    expectUnreadable(std::string((16 << 20) + 1, ' '));
}

TEST(UserDefaults, TheFirstArgumentPairThenTheFileInTheConfigurationFolder) {
    const TemporaryFolder folder;
    static_cast<void>(folder.file("com.quorvex.run.plist", xmlPropertyList({{"debug", 0.5}})));
    ::setenv("XDG_CONFIG_HOME", folder.path().c_str(), 1);
    const char* argv[] = {"-debug", "NO", "key", "-debug", "no", "-debug", "yes"};
    EXPECT_EQ(userDefault("debug", 4, argv), Value(0.5)); // neither the name nor half a pair is an option
    EXPECT_EQ(userDefault("debug", 7, argv), Value("no"));
    ::setenv("XDG_CONFIG_HOME", folder.path("elsewhere").c_str(), 1);
    EXPECT_EQ(userDefault("debug", 4, argv), std::nullopt);
    ::unsetenv("XDG_CONFIG_HOME");
}

} // namespace qvx::platform

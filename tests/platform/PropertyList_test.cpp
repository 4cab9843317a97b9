#include "platform/PropertyList.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "platform/UserDefaults.h"
#include "tests/platform/TemporaryFolder.h"

namespace qvx::platform {

using namespace std::string_literals;
using test::TemporaryFolder;

namespace {

Result<Value> read(std::string bytes) {
    return propertyListWithData(Data::withString(std::move(bytes)));
}

void expectUnreadable(std::string bytes) {
    SCOPED_TRACE(bytes.substr(0, 80));
    const Result<Value> value = read(std::move(bytes));
    ASSERT_FALSE(value);
    EXPECT_EQ(value.error().domain, "NSCocoaErrorDomain");
    EXPECT_EQ(value.error().code, 3840);
}

std::string repeated(size_t count, std::string_view text) {
    std::string result;
    while (count-- > 0)
        result += text;
    return result;
}

std::string xmlNested(size_t depth) {
    return "<plist>" + repeated(depth, "<array>") + repeated(depth, "</array>") + "</plist>";
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

std::string binaryNested(size_t depth) {
    std::vector<std::string> objects;
    for (size_t level = 1; level < depth; ++level)
        objects.push_back(arrayOf({level}));
    objects.push_back(arrayOf({}));
    return binary(objects);
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
}

TEST(PropertyList, ErrorsAndOtherRoots) {
    for (const std::string& bytes :
         {""s, " \n"s, "bplist00"s, "{\"a\":1}"s, "junk"s, "<plist/>"s, "<plist><dict><key>a</key></plist>"s,
          "<plist><dict><string>a</string></dict></plist>"s, "<html></html>"s, "\xFF\xFE<\0"s,
          "<plist><array><string>&unknown;</string></array></plist>"s})
        expectUnreadable(bytes);
    EXPECT_EQ(*read("<plist version='1.0'><string>a</string></plist>"), Value("a"));
    EXPECT_EQ(*read("\xEF\xBB\xBF<plist><string>a</string></plist>"), Value("a"));
    const TemporaryFolder folder;
    EXPECT_FALSE(dictionaryWithContentsOfFile(folder.file("array", "<plist><array/></plist>")));
}

TEST(PropertyList, NestsNoDeeperThan512) {
    for (const auto nested : {&xmlNested, &binaryNested}) {
        EXPECT_TRUE(read(nested(512)));
        expectUnreadable(nested(513));
        expectUnreadable(nested(1'000'000));
    }
    expectUnreadable(repeated(1'000'000, "<dict><key>a</key>"));
}

TEST(PropertyList, NothingHidesTheDepth) {
    // Each piece holds end tags that are none, so that a count that took them for some would stay low.
    const std::string ends = repeated(100, "</array>");
    for (const std::string& piece :
         {"<!-->" + ends + "-->", "<!--\"-->"s, "<?x \"?>" + ends + "\" ?>", "<!DOCTYPE x \">" + ends + "\">",
          "<!DOCTYPE x [<!ENTITY a \"]>" + ends + "\">]>", "<string a=\">" + ends + "\">x</string>",
          "<string><![CDATA[" + ends + "]]><!-- " + ends + " --></string>", "<true a=\">" + ends + "\"/>"}) {
        const auto list = [&](size_t depth) {
            return "<plist>" + repeated(depth, "<array>" + piece) + repeated(depth, "</array>") + "</plist>";
        };
        SCOPED_TRACE(piece.substr(0, 20));
        EXPECT_TRUE(read(list(512)));
        expectUnreadable(list(513));
    }
    expectUnreadable("<plist>" + repeated(513, "<array\0>"s) + repeated(513, "</array\0>"s) + "</plist>");
    expectUnreadable("<plist><string a=\"></plist>");
}

TEST(PropertyList, BinaryOnesThatLie) {
    const std::string integer64 = "\x13"s;
    for (const std::string& bytes :
         {binary({arrayOf({0})}), binary({arrayOf({1}), arrayOf({0})}), binary({arrayOf({7})}),
          binary({"\xD1"s + bigEndian(0, 4) + bigEndian(0, 4)}),
          binary({"\x5F"s + integer64 + bigEndian(UINT64_MAX, 8)}), // a text
          binary({"\x6F"s + integer64 + bigEndian(INT64_MAX, 8)}),  // one in UTF-16
          binary({"\x4F\x12"s + bigEndian(1 << 30, 4)}),            // a gigabyte of data
          binary({"\xAF"s + integer64 + bigEndian(uint64_t{1} << 62, 8)}),
          binary({"\xDF"s + integer64 + bigEndian(UINT64_MAX / 2 + 1, 8)}), binary({"\xA0"s}, 0),
          binary({"\xA0"s}, uint64_t{1} << 62), binary({"\x5F\x1F"s}), binary({""s}), binary({"\xF0"s}),
          binary({"\xD1"s + bigEndian(1, 4) + bigEndian(1, 4), "\x61\0\0"s}), // a key of one NUL
          "bplist00" + repeated(32, "\xFF")})
        expectUnreadable(bytes);
    // Each array holds the next one ten times: a few hundred bytes that would unfold to 10^20 objects.
    std::vector<std::string> objects;
    for (uint64_t index = 1; index <= 20; ++index)
        objects.push_back(arrayOf(std::vector<uint64_t>(10, index)));
    objects.push_back(arrayOf({}));
    expectUnreadable(binary(objects));
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

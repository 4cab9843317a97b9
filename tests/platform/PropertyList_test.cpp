#include "platform/PropertyList.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cstdint>
#include <string>
#include <vector>

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
    EXPECT_FALSE(dictionaryWithContentsOfFile(folder.path()));
    EXPECT_FALSE(dictionaryWithContentsOfFile(folder.path("missing")));
    ASSERT_EQ(::mkfifo(folder.path("fifo").c_str(), 0600), 0);
    EXPECT_FALSE(dictionaryWithContentsOfFile(folder.path("fifo")));
}

TEST(PropertyList, ValuesOfAnotherKindCountAsAbsent) {
    const Dictionary dictionary{
        {"text", " 203.1"}, {"number", 203}, {"real", 1.5}, {"list", Value::Array{"a"}}};
    EXPECT_EQ(dictionary.string("text"), " 203.1");
    for (const char* key : {"number", "real", "list", "missing"})
        EXPECT_EQ(dictionary.string(key), std::nullopt) << key;
    for (const char* key : {"text", "number"})
        EXPECT_EQ(dictionary.integer(key), 203) << key;
    for (const char* key : {"list", "missing"})
        EXPECT_EQ(dictionary.integer(key), 0) << key;
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

TEST(PropertyList, WhatXMLCannotHoldIsReplacedAndTheRestComesBack) {
    struct {
        std::string text, held;
    } const rows[] = {{"", ""},
                      {" \t\r\n\r ", " \t\r\n\r "},
                      {"&amp;<]]>\"'", "&amp;<]]>\"'"},
                      {"\x01\x1B[0m\x7F", "\uFFFD\uFFFD[0m\x7F"},
                      {"a\0b"s, "a\uFFFD"s + "b"},
                      {"\xC3(\xFF", "\uFFFD(\uFFFD"},
                      {"\uFFFE\uFFFF\uFFFD", "\uFFFD\uFFFD\uFFFD"},
                      {"😀\u0085\u2028", "😀\u0085\u2028"}};
    for (const auto& row : rows) {
        const Result<Value> value = read(xmlPropertyList({{row.text, "v"}, {"k", row.text}}));
        ASSERT_TRUE(value) << row.held;
        EXPECT_EQ(*value, Value(Dictionary{{row.held, "v"}, {"k", row.held}})) << row.held;
    }
}

TEST(PropertyList, WritesItsOwnerAFileThatTakesThePlaceOfTheOld) {
    const TemporaryFolder folder;
    const std::string path = folder.file("Build.plist", "old");
    ::chmod(path.c_str(), 0644);
    EXPECT_FALSE(writeToFileAtomically({{"b", "1"}, {"a", Value::Array{2}}}, path));
    EXPECT_EQ(dictionaryWithContentsOfFile(path), (Dictionary{{"b", "1"}, {"a", Value::Array{2}}}));
    struct stat status {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600U);
    EXPECT_TRUE(writeToFileAtomically({}, folder.path("missing/Build.plist")));
}

TEST(PropertyListDeathTest, AFailedWriteLeavesWhatWasThere) {
    const TemporaryFolder folder;
    const std::string path = folder.file("Build.plist", "old");
    const auto writeOnFullDisk = [&] {
        ::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{100, 100};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        const auto error = writeToFileAtomically({{"k", std::string(5000, 'x')}}, path);
        ::_exit(error && error->code == EFBIG ? 7 : 0);
    };
    EXPECT_EXIT(writeOnFullDisk(), testing::ExitedWithCode(7), "");
    EXPECT_EQ(test::contentsOf(path), "old");
    std::filesystem::create_directory(folder.path("Build.plist.d"));
    EXPECT_TRUE(writeToFileAtomically({}, folder.path("Build.plist.d")));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 2);
}

} // namespace qvx::platform

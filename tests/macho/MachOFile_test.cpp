#include "macho/QVXMachOFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <tuple>

#include "macho/LoadCommands.h"
#include "tests/TemporaryFolder.h"
#include "tests/macho/MachOBuilder.h"

namespace qvx::test {

namespace {

using Record = macho::QVXMachOSlice;

std::vector<Record> slicesOf(const std::string& image) {
    std::vector<Record> slices;
    macho::QVXMachOEnumerateSlicesAtAddress(
        image.data(), [&](const Record* slice) { slices.push_back(*slice); }, image.size());
    return slices;
}

std::ptrdiff_t openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/dev/fd"), {});
}

} // namespace

TEST(MachOFile, OpensRegularFilesOfSixteenBytesAndNothingElse) {
    const TemporaryFolder folder;
    const std::string fifo = folder.path("fifo");
    ASSERT_EQ(0, ::mkfifo(fifo.c_str(), 0600));
    const auto before = openDescriptors();
    macho::QVXMachOFile file;
    for (const std::string& path :
         {folder.path("missing"), folder.path(""), fifo, folder.file("fifteen", std::string(15, 'x')),
          std::string("/dev/null"), std::string("/dev/zero")})
        EXPECT_FALSE(macho::QVXMachOFileInitWithPath(&file, path.c_str())) << path;
    EXPECT_EQ(before, openDescriptors());

    const std::string image = fat({{}, {.cputype = arm, .cpusubtype = 9}, {}});
    for (const std::string& content : {std::string(16, 'x'), image}) {
        ASSERT_TRUE(macho::QVXMachOFileInitWithPath(&file, folder.file("good", content).c_str()));
        EXPECT_EQ(content, std::string(static_cast<const char*>(file.mappedFile), file.mappedSize));
        const bool isFat = content == image;
        const Record last = macho::QVXMachOFileSliceWithArchitectureName(&file, "x86_64");
        EXPECT_EQ(isFat ? static_cast<const char*>(file.mappedFile) + 8 + 60 + 64 : nullptr,
                  last.startAddress);
        EXPECT_EQ(isFat ? 32U : 0, last.readableSize);
        macho::QVXMachOFileDestroy(&file);
        EXPECT_EQ(before, openDescriptors());
    }
}

TEST(MachOFile, EnumeratesFatSlicesInFileOrderAndTheWalkTakesTheThinHeadersWord) {
    // The entry of the second slice says something else than its header.
    std::string image = fat({{.cputype = x86_64, .cpusubtype = static_cast<int32_t>(0x80000003)},
                             {.magic = magic32, .cputype = i386, .cpusubtype = 4}});
    image.replace(8 + 20, 8, bigEndian(arm) + bigEndian(9));
    for (const std::string& magic : {bigEndian(0xcafebabe), word(0xcafebabe)}) {
        image.replace(0, 4, magic);
        std::vector<Record> slices = slicesOf(image);
        ASSERT_EQ(2U, slices.size());
        EXPECT_EQ(image.data() + 48, slices[0].startAddress);
        EXPECT_EQ(static_cast<int32_t>(0x80000003), slices[0].cpusubtype);
        EXPECT_TRUE(macho::QVXMachOSliceIs64Bit(&slices[0]));
        EXPECT_STREQ("armv7", macho::QVXMachOSliceGetArchitectureName(&slices[1]));
        EXPECT_EQ(28U, slices[1].readableSize);
        macho::QVXMachOSliceEnumerateLoadCommands(&slices[1], [](auto...) {});
        EXPECT_STREQ("i486", macho::QVXMachOSliceGetArchitectureName(&slices[1]));
        EXPECT_FALSE(macho::QVXMachOSliceIs64Bit(&slices[1]));
    }
}

TEST(MachOFile, SkipsFatEntriesThatDoNotLieInTheFile) {
    constexpr uint32_t size = 48; // of a file with two entries
    const std::vector<std::tuple<uint32_t, uint32_t, size_t>> rows{
        {0, size, 2},     {0, size + 1, 1}, {0, 0, 1},          {size - 1, 1, 2},
        {size - 1, 2, 1}, {size, 0, 1},     {0xffffffff, 1, 1}, {1, 0xffffffff, 1}};
    for (const auto& [offset, length, expected] : rows) {
        const std::string image = fatHeader({{arm, 9, offset, length}, {arm64, 0, 40, 8}});
        const std::vector<Record> slices = slicesOf(image);
        ASSERT_EQ(expected, slices.size()) << offset << ' ' << length;
        EXPECT_STREQ("arm64", macho::QVXMachOSliceGetArchitectureName(&slices.back()));
    }
    // An image in memory of unknown size is trusted.
    const std::string trusted = fatHeader({{arm, 9, 1 << 20, 1}});
    size_t visits = 0;
    macho::QVXMachOEnumerateSlicesAtAddress(trusted.data(), [&](const Record*) { ++visits; });
    EXPECT_EQ(1U, visits);
}

TEST(MachOFile, CountsFatEntriesUpToTheTablesEndAndTheLimit) {
    const FatEntry entry{arm, 9, 0, 8};
    const std::vector<FatEntry> many(200, entry);
    EXPECT_EQ(0U, slicesOf(fatHeader({entry}, 0)).size());
    EXPECT_EQ(1U, slicesOf(fatHeader({entry, entry}, 1)).size());
    EXPECT_EQ(2U, slicesOf(fatHeader({entry, entry}, 0xffffffff)).size());
    EXPECT_EQ(128U, slicesOf(fatHeader(many)).size());
    // A Java class file begins with the same magic; its version and constants make no slices.
    EXPECT_EQ(0U, slicesOf(bigEndian(0xcafebabe) + bigEndian(52) + std::string(400, '\x0a')).size());
    // Nor does a fat file of 64-bit offsets: all of it is one slice of no known kind.
    std::vector<Record> slices = slicesOf(bigEndian(0xcafebabf) + bigEndian(1) + bigEndian(x86_64));
    ASSERT_EQ(1U, slices.size());
    EXPECT_STREQ("unknown", macho::QVXMachOSliceGetArchitectureName(&slices[0]));
}

TEST(MachOFile, NamesArchitecturesWithoutRegardToCapabilities) {
    const std::vector<std::tuple<int32_t, uint32_t, const char*>> rows{
        {x86_64, 0x80000003, "x86_64"}, {arm, 11, "armv7s"},     {arm64, 0x80000002, "arm64e"},
        {0x0200000c, 1, "arm64_32"},    {-1, 0xffffffff, "any"}, {arm, 99, "unknown"}};
    for (const auto& [cputype, cpusubtype, name] : rows) {
        const Record slice{.cputype = cputype, .cpusubtype = static_cast<int32_t>(cpusubtype)};
        EXPECT_STREQ(name, macho::QVXMachOSliceGetArchitectureName(&slice)) << cputype << ' ' << cpusubtype;
    }
}

} // namespace qvx::test

#include "macho/LoadCommands.h"

#include <gtest/gtest.h>

#include <tuple>

#include "macho/Sections.h"
#include "tests/macho/MachOBuilder.h"

namespace qvx::test {

namespace {

uint32_t visits(const std::string& image) {
    uint32_t count = 0;
    macho::QVXMachOSlice slice{.startAddress = image.data(), .readableSize = image.size()};
    macho::QVXMachOSliceEnumerateLoadCommands(&slice, [&](auto...) { ++count; });
    return count;
}

std::optional<std::ptrdiff_t> sectionOffset(const std::string& image, const char* name,
                                            int32_t cputype = x86_64) {
    const void* data = &image;
    const macho::QVXMachOSlice slice{
        .startAddress = image.data(), .cputype = cputype, .readableSize = image.size()};
    macho::QVXMachOSliceGetSectionByName(&slice, name, &data);
    if (data == nullptr)
        return std::nullopt;
    return static_cast<const char*>(data) - image.data();
}

} // namespace

TEST(LoadCommands, TheWalkEndsWhateverCountsAndSizesSay) {
    constexpr uint32_t bytes = 4096;
    const std::vector<std::pair<uint32_t, uint32_t>> rows{
        {0, 1 << 16}, {4, (bytes - 4) / 4}, {8, bytes / 8}, {bytes, 1}, {bytes + 1, 0}, {0xffffffff, 0}};
    for (const uint32_t magic : {magic32, magic64}) {
        for (const auto& [size, expected] : rows) {
            const std::string body = words(std::vector<uint32_t>(bytes / 4, size));
            const Thin thin{.magic = magic, .commands = {body}, .ncmds = 0xffffffff};
            EXPECT_EQ(expected, visits(thin.bytes())) << size;
        }
    }
}

TEST(LoadCommands, TheWalkKeepsToItsCountItsBytesAndItsMagic) {
    const std::vector<std::string> three(3, uuid('A'));
    EXPECT_EQ(2U, visits(Thin{.commands = three, .ncmds = 2}.bytes()));
    EXPECT_EQ(3U, visits(Thin{.magic = 0xcefaedfe, .commands = three, .ncmds = 4}.bytes()));
    EXPECT_EQ(0U, visits(Thin{.magic = 0xfeedfacd, .commands = three}.bytes()));
    // Commands stop counting 4 MiB behind the header, also one that only begins before.
    const std::string block = command(1, std::string((1 << 20) - 8, '\0'));
    EXPECT_EQ(4U, visits(Thin{.commands = {block, block, block, block, block}}.bytes()));
    EXPECT_EQ(4U, visits(Thin{.commands = {uuid('A'), block, block, block, block}}.bytes()));
}

TEST(LoadCommands, DecodersReadNoFurtherThanTheCommand) {
    const std::string body = words({0x000a0902, 0xffff00ff, 7, 0, 0, 0});
    for (uint32_t size = 0; size <= 24; ++size) {
        const std::string bytes = command(0x24, body, size);
        const void* at = bytes.data();
        EXPECT_EQ(size >= 24, macho::QVXMachOGetUUID(at) != nullptr) << size;
        EXPECT_EQ(size >= 12, macho::QVXMachOGetMinimumOSVersion(at).has_value()) << size;
        EXPECT_EQ(size >= 16, macho::QVXMachOGetLinkedSDKVersion(at).has_value()) << size;
        EXPECT_EQ(size >= 20, macho::QVXMachOGetEncrypted(at)) << size;
    }
    const std::string whole = command(0x24, body);
    const auto minimum = macho::QVXMachOGetMinimumOSVersion(whole.data());
    const auto sdk = macho::QVXMachOGetLinkedSDKVersion(whole.data());
    EXPECT_EQ("10.9.2", macho::QVXMachOFormatVersion(&*minimum));
    EXPECT_EQ("65535.0.255", macho::QVXMachOFormatVersion(&*sdk));
    const macho::QVXMachOVersion large{1, 0xffffffff, 0};
    EXPECT_EQ("1.-1.0", macho::QVXMachOFormatVersion(&large));
    EXPECT_FALSE(macho::QVXMachOGetEncrypted(command(0x21, words({1, 1, 0, 1})).data()));
}

TEST(LoadCommands, DylibNamesEndWithTheCommand) {
    const std::string name = "/usr/lib/libSystem.B.dylib";
    const std::vector<std::tuple<uint32_t, uint32_t, std::optional<std::string>>> rows{
        {24, 51, name}, {24, 28, "/usr"}, // its NUL lies outside
        {50, 51, ""},   {51, 51, std::nullopt}, {0xffffffff, 51, std::nullopt}, {8, 11, std::nullopt}};
    for (const auto& [offset, size, expected] : rows) {
        const std::string bytes = command(0xc, words({offset, 0, 0, 0}) + name + '\0', size);
        EXPECT_EQ(expected, macho::QVXMachOGetDylibPath(bytes.data())) << offset << ' ' << size;
    }
}

TEST(Sections, LieInTheSliceUnderBothNames) {
    constexpr uint32_t size = 32 + 2 * 72 + 7 * 80;
    const std::string image = Thin{.commands = {segment(true, "__DATA", {{"__eh_frame", 1, 1, "__DATA"}}),
                                                segment(true, "__TEXT",
                                                        {{"__unwind_info_of", 40, 8}, // all 16 bytes, no NUL
                                                         {"__eh_frame", size - 8, 8},
                                                         {"__eh_frame", 0, 1},
                                                         {"__unwind_info", size - 1, 9}, // as in a dSYM
                                                         {"__behind", size, 0},
                                                         {"__big", 0xffffffff, 0xffffffff}})}}
                                  .bytes();
    ASSERT_EQ(size, image.size());
    EXPECT_EQ(size - 8, sectionOffset(image, "__eh_frame"));
    EXPECT_EQ(40, sectionOffset(image, "__unwind_info_of"));
    EXPECT_EQ(size - 1, sectionOffset(image, "__unwind_info"));
    for (const char* name : {"__behind", "__big", "__unwind", "__missing"})
        EXPECT_EQ(std::nullopt, sectionOffset(image, name)) << name;
    EXPECT_EQ(std::nullopt, sectionOffset(image, "__eh_frame", i386));

    // One segment without a name, as in an object file, that claims more sections than it holds.
    std::string many = segment(true, "", {{"__text", 0, 4}});
    many.replace(64, 4, word(0xffffffff));
    EXPECT_EQ(0, sectionOffset(Thin{.commands = {many}}.bytes(), "__text"));
    EXPECT_EQ(std::nullopt, sectionOffset(Thin{.commands = {many}}.bytes(), "__eh_frame"));
}

} // namespace qvx::test

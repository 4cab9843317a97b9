#include "macho/QVXMachOBinary.h"

#include <gtest/gtest.h>

#include <tuple>

#include "MachOBuilder.h"
#include "macho/QVXHashNSString.h"
#include "macho/QVXdSYM.h"
#include "tests/platform/TemporaryFolder.h"

namespace qvx::test {

namespace {

const Thin sliceA{.magic = magic32, .cputype = i386, .cpusubtype = 3, .commands = {uuid('A')}};
const Thin sliceB{.commands = {uuid('B')}};

} // namespace

TEST(HashNSString, EndsAtNULAndTakesUTF8) {
    EXPECT_EQ("a9993e364706816aba3e25717850c26c9cd0d89d", QVXHashNSString({"abc\0def", 7}));
    EXPECT_EQ("9b5ee41a2d0900fd6c2177616c90f64eee41b55a", QVXHashNSString("Zürich"));
}

TEST(MachOBinary, IsFoundByPathAndURLAndGivesTheFirstSliceOfAName) {
    const TemporaryFolder folder;
    const std::string path = folder.file("a b%20#?\xff", fat({sliceA, sliceB, {}}));
    const auto binary = QVXMachOBinary::MachOBinaryWithPath(path);
    ASSERT_NE(nullptr, binary);
    EXPECT_EQ(path, binary->path());
    EXPECT_EQ(binary->slices()[1], binary->sliceForArchitecture("x86_64"));
    EXPECT_EQ(nullptr, binary->sliceForArchitecture("arm64"));
    const std::string plain = folder.file("plain", sliceB.bytes());
    EXPECT_NE(nullptr, QVXMachOBinary::initWithURL(*platform::URL::initWithString(plain)));
    EXPECT_EQ(nullptr, QVXMachOBinary::initWithURL(*platform::URL::initWithString(plain + "%00")));
}

TEST(MachOSlice, DecodesTheCommandsItKnowsLaterOnesWinning) {
    const auto version = [](uint32_t cmd, uint32_t minimum, uint32_t sdk) {
        return command(cmd, words({minimum, sdk}));
    };
    const std::string image =
        Thin{.cputype = arm64,
             .cpusubtype = 0,
             .commands = {uuid('A'), version(0x24, 0x10203, 0x20304), dylib("one"), dylib("weak", 0x80000018),
                          version(0x25, 0x70102, 0x80000), uuid('B'), command(0x1b, "too short"),
                          dylib("\xff"), version(0x2f, 1, 1), version(0x30, 1, 1), version(0x32, 1, 1),
                          dylib("two"), command(0x25, word(0x90000)), command(0xc, "")}}
            .bytes();
    std::shared_ptr<QVXMachOSlice> slice;
    macho::QVXMachOEnumerateSlicesAtAddress(
        image.data(), [&](const auto* record) { slice = QVXMachOSlice::initWithSlice(record); },
        image.size());
    EXPECT_EQ("42424242424242424242424242424242", slice->uuid());
    EXPECT_EQ((macho::QVXMachOVersion{9, 0, 0}), slice->minimumOSVersion());
    EXPECT_EQ((macho::QVXMachOVersion{8, 0, 0}), slice->linkedSDKVersion());
    EXPECT_EQ((std::vector<std::string>{"one", "two"}), slice->linkedDylibs());
}

TEST(MachOSlice, KeepsAThousandDylibsAndNotAMillion) {
    const std::string real = dylib("/System/Library/Frameworks/Framework.framework/Framework");
    const std::string tiny = command(0xc, word(0)); // twelve bytes, its name begins with its own type
    const TemporaryFolder folder;
    for (const auto& [commands, least, most] : {std::tuple(std::vector(1000, real), 1000U, 1000U),
                                                std::tuple(std::vector(300'000, tiny), 1000U, 10'000U)}) {
        const auto binary =
            QVXMachOBinary::MachOBinaryWithPath(folder.file("file", Thin{.commands = commands}.bytes()));
        ASSERT_NE(nullptr, binary);
        EXPECT_GE(binary->slices()[0]->linkedDylibs().size(), least);
        EXPECT_LE(binary->slices()[0]->linkedDylibs().size(), most);
    }
}

TEST(DSYM, OpensTheFirstEntryOfTheDWARFFolder) {
    const TemporaryFolder folder;
    const auto open = [&](const std::string& name) {
        return QVXdSYM::dSYMWithURL(platform::URL::fileURLWithPath(folder.path(name)));
    };
    const std::string inner = "/Contents/Resources/DWARF/executable";
    const std::string executable = folder.file("good" + inner, fat({sliceB, sliceA}));
    std::ignore = folder.file("good/Contents/Resources/DWARF/later", sliceA.bytes());
    const auto good = open("good");
    ASSERT_NE(nullptr, good);
    EXPECT_EQ(executable, good->executablePath());
    EXPECT_EQ(platform::URL::fileURLWithPath(executable), good->executableURL());
    EXPECT_EQ(std::nullopt, good->bundleIdentifier());

    std::filesystem::create_directories(folder.path("empty/Contents/Resources/DWARF"));
    std::ignore = folder.file("file/Contents/Resources/DWARF", sliceA.bytes());
    std::ignore = folder.file("plain", sliceA.bytes());
    for (const char* name : {"missing", "empty", "file", "plain"})
        EXPECT_EQ(nullptr, open(name)) << name;
}

TEST(DSYM, StripsOneSpellingOfThePrefixAndKeepsVersionsOfAnyType) {
    const TemporaryFolder folder;
    std::ignore = folder.file("Contents/Resources/DWARF/executable", sliceA.bytes());
    for (const auto& [given, expected] : {std::pair("com.apple.Xcode.dsym.a", "com.apple.Xcode.dsym.a"),
                                          std::pair("com.apple.xcode.dsym.", "")}) {
        std::ignore = folder.file(
            "Contents/Info.plist",
            "<plist version=\"1.0\"><dict><key>CFBundleIdentifier</key><string>" + std::string(given) +
                "</string><key>CFBundleVersion</key><integer>241</integer></dict></plist>");
        const auto dSYM = QVXdSYM::dSYMWithURL(platform::URL::fileURLWithPath(folder.path()));
        ASSERT_NE(nullptr, dSYM);
        EXPECT_EQ(expected, dSYM->bundleIdentifier());
        EXPECT_EQ(platform::Value(241), dSYM->bundleVersion());
        EXPECT_EQ(std::nullopt, dSYM->shortBundleVersion());
    }
}

} // namespace qvx::test

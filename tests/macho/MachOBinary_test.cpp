#include "macho/QVXMachOBinary.h"

#include <gtest/gtest.h>

#include <tuple>

#include "macho/QVXHashNSString.h"
#include "macho/QVXdSYM.h"
#include "tests/TemporaryFolder.h"
#include "tests/macho/MachOBuilder.h"

namespace qvx::test {

namespace {

std::shared_ptr<QVXMachOSlice> sliceOf(const Thin& thin) {
    std::shared_ptr<QVXMachOSlice> slice;
    const std::string image = thin.bytes();
    const auto visit = [&](const auto* record) { slice = QVXMachOSlice::initWithSlice(record); };
    macho::QVXMachOEnumerateSlicesAtAddress(image.data(), visit, image.size());
    return slice;
}

} // namespace

TEST(HashNSString, EndsAtNULAndTakesUTF8) {
    EXPECT_EQ("a9993e364706816aba3e25717850c26c9cd0d89d", QVXHashNSString({"abc\0def", 7}));
    EXPECT_EQ("9b5ee41a2d0900fd6c2177616c90f64eee41b55a", QVXHashNSString("Zürich"));
}

TEST(MachOBinary, IsFoundByPathAndURLAndGivesTheFirstSliceOfAName) {
    const TemporaryFolder folder;
    const std::string path = folder.file("plain", fat({{.cputype = arm}, {}, {}}));
    const auto binary = QVXMachOBinary::initWithURL(*platform::URL::initWithString(path));
    ASSERT_NE(nullptr, binary);
    EXPECT_EQ(path, binary->path());
    EXPECT_EQ(binary->slices()[1], binary->sliceForArchitecture("x86_64"));
    EXPECT_EQ(nullptr, QVXMachOBinary::initWithURL(*platform::URL::initWithString(path + "%00")));
}

TEST(RunningImage, IsThereWhereProgramsAreMachOFiles) {
    macho::QVXMachOFile file;
    EXPECT_EQ(QVX_PROGRAMS_ARE_MACHO, macho::QVXMachOFileInitWithCurrent(&file));
    if (QVX_PROGRAMS_ARE_MACHO)
        macho::QVXMachOFileDestroy(&file);
    EXPECT_EQ(QVX_PROGRAMS_ARE_MACHO, macho::QVXMachOSliceGetCurrent().startAddress != nullptr);
    const auto slice = QVXMachOSlice::runningSlice();
    ASSERT_NE(nullptr, slice);
    EXPECT_EQ(QVX_PROGRAMS_ARE_MACHO, slice->uuid().has_value());
}

TEST(MachOSlice, DecodesTheCommandsItKnowsLaterOnesWinning) {
    const auto version = [](uint32_t cmd, uint32_t minimum, uint32_t sdk) {
        return command(cmd, words({minimum, sdk}));
    };
    const auto slice = sliceOf(
        {.commands = {uuid('A'), version(0x24, 0x10203, 0x20304), dylib("one"), dylib("weak", 0x80000018),
                      version(0x25, 0x70102, 0x80000), uuid('B'), command(0x1b, "too short"), dylib("\xff"),
                      version(0x2f, 1, 1), version(0x30, 1, 1), version(0x32, 1, 1), dylib("two"),
                      command(0x25, word(0x90000)), command(0xc, "")}});
    EXPECT_EQ("42424242424242424242424242424242", slice->uuid());
    EXPECT_EQ((macho::QVXMachOVersion{9, 0, 0}), slice->minimumOSVersion());
    EXPECT_EQ((macho::QVXMachOVersion{8, 0, 0}), slice->linkedSDKVersion());
    EXPECT_EQ((std::vector<std::string>{"one", "two"}), slice->linkedDylibs());
}

TEST(MachOSlice, KeepsAThousandDylibsAndNotAMillion) {
    const std::string real = dylib("/System/Library/Frameworks/Framework.framework/Framework");
    const std::string tiny = command(0xc, word(0)); // twelve bytes, its name begins with its own type
    EXPECT_EQ(1000U, sliceOf({.commands = std::vector(1000, real)})->linkedDylibs().size());
    EXPECT_LE(sliceOf({.commands = std::vector(300'000, tiny)})->linkedDylibs().size(), 10'000U);
}

TEST(DSYM, IsABundleWhoseDWARFFolderHoldsTheExecutable) {
    const TemporaryFolder folder;
    const auto open = [&](const std::string& name) {
        return QVXdSYM::dSYMWithURL(platform::URL::fileURLWithPath(folder.path(name)));
    };
    const std::string executable = folder.file("good/Contents/Resources/DWARF/executable", Thin{}.bytes());
    std::ignore = folder.file("good/Contents/Resources/DWARF/later", Thin{}.bytes());
    std::ignore = folder.file("good/Contents/Info.plist",
                              "<dict><key>CFBundleIdentifier</key><string>com.apple.Xcode.dsym.a</string>"
                              "<key>CFBundleVersion</key><integer>241</integer></dict>");
    const auto good = open("good");
    ASSERT_NE(nullptr, good);
    EXPECT_EQ(executable, good->executablePath());
    EXPECT_EQ("com.apple.Xcode.dsym.a", good->bundleIdentifier()) << "the prefix in other letters";
    EXPECT_EQ(platform::Value(241), good->bundleVersion());
    EXPECT_EQ(std::nullopt, good->shortBundleVersion());
    std::filesystem::create_directories(folder.path("empty/Contents/Resources/DWARF"));
    for (const char* name : {"missing", "empty", "good/Contents/Info.plist"})
        EXPECT_EQ(nullptr, open(name)) << name;
}

} // namespace qvx::test

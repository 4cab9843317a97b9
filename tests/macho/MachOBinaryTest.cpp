#include "macho/QVXMachOBinary.h"

#include <gtest/gtest.h>

#include "MachOBuilder.h"
#include "macho/QVXHashNSString.h"
#include "macho/QVXdSYM.h"

namespace qvx::test {

namespace {

using Pairs = std::vector<std::pair<std::optional<std::string>, std::string>>;

const Thin sliceA{.magic = magic32, .cputype = i386, .cpusubtype = 3, .commands = {uuid('A')}};
const Thin sliceB{.commands = {uuid('B')}};

std::string hex(char digit) {
    std::string text;
    for (int index = 0; index < 16; ++index)
        text += {'4', digit};
    return text;
}

template <class Object>
Pairs pairsOf(const Object& object) {
    Pairs pairs;
    object.enumerateUUIDs([&](const auto& uuid, const auto& name) { pairs.emplace_back(uuid, name); });
    return pairs;
}

} // namespace

TEST(MachOBinary, IdentifierDependsOnArchitecturesNotOnTheOrderInTheFile) {
    struct Row {
        std::string image;
        std::string identifier; // SHA-1 of the hexadecimal digits, from another implementation
        Pairs pairs;
    };
    const Pairs::value_type first{hex('1'), "i386"};
    const Pairs::value_type second{hex('2'), "x86_64"};
    const TemporaryFolder folder;
    for (const Row& row : std::vector<Row>{
             {sliceA.bytes(), "4af9e266d8cc34f8d38982a9c527e370bfcc9933", {first}},
             {fat({sliceA, sliceB}), "4810b4852ad95042f8f649ea529da0d9b35c18b9", {first, second}},
             {fat({sliceB, sliceA}), "4810b4852ad95042f8f649ea529da0d9b35c18b9", {second, first}},
             {fat({{}, sliceA}), "4af9e266d8cc34f8d38982a9c527e370bfcc9933", {{{}, "x86_64"}, first}},
             {std::string(16, 'x'), "da39a3ee5e6b4b0d3255bfef95601890afd80709", {{{}, "unknown"}}},
             {fat({}) + std::string(8, '\0'), "da39a3ee5e6b4b0d3255bfef95601890afd80709", {}}}) {
        const auto binary = QVXMachOBinary::MachOBinaryWithPath(folder.write("file", row.image));
        ASSERT_NE(nullptr, binary);
        EXPECT_EQ(row.pairs, pairsOf(*binary));
        EXPECT_EQ(row.identifier, binary->instanceIdentifier());
        EXPECT_EQ(row.identifier, binary->instanceIdentifier());
    }
    EXPECT_EQ("a9993e364706816aba3e25717850c26c9cd0d89d", QVXHashNSString({"abc\0def", 7}));
    EXPECT_EQ("9b5ee41a2d0900fd6c2177616c90f64eee41b55a", QVXMachOBinary::hashNSString("Zürich"));
}

TEST(MachOBinary, IsFoundByPathAndURLAndGivesTheFirstSliceOfAName) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a b%20#?\xff", fat({sliceA, sliceB, {}}));
    const auto binary = QVXMachOBinary::MachOBinaryWithPath(path);
    ASSERT_NE(nullptr, binary);
    EXPECT_EQ(path, binary->path());
    EXPECT_EQ(platform::URL::fileURLWithPath(path), binary->URL());
    EXPECT_EQ(binary->slices()[1], binary->sliceForArchitecture("x86_64"));
    EXPECT_EQ(nullptr, binary->sliceForArchitecture("arm64"));
    const std::string plain = folder.write("plain", sliceB.bytes());
    EXPECT_NE(nullptr, QVXMachOBinary::initWithURL(*platform::URL::initWithString(plain)));
    EXPECT_EQ(nullptr, QVXMachOBinary::initWithURL(*platform::URL::initWithString(plain + "%00")));
    EXPECT_EQ(nullptr, QVXMachOBinary::MachOBinaryWithPath(folder.path("missing")));
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
    EXPECT_EQ(hex('2'), slice->uuid());
    EXPECT_EQ((macho::QVXMachOVersion{9, 0, 0}), slice->minimumOSVersion());
    EXPECT_EQ((macho::QVXMachOVersion{8, 0, 0}), slice->linkedSDKVersion());
    EXPECT_EQ((std::vector<std::string>{"one", "two"}), slice->linkedDylibs());
    EXPECT_EQ("arm64", slice->architectureName());
    EXPECT_EQ(nullptr, slice->ehFrameData());

    EXPECT_EQ(nullptr, QVXMachOSlice::initWithSlice(nullptr));
}

TEST(MachOSlice, NoneIsRunning) {
    macho::QVXMachOFile file;
    const macho::QVXMachOSlice current = macho::QVXMachOSliceGetCurrent();
    EXPECT_EQ(nullptr, current.startAddress);
    EXPECT_EQ(nullptr, macho::QVXMachOSliceGetExecutablePath(&current));
    EXPECT_FALSE(macho::QVXMachOFileInitWithCurrent(&file));
    const auto running = QVXMachOSlice::runningSlice();
    EXPECT_EQ("unknown", running->architectureName());
    EXPECT_EQ(nullptr, running->unwindInfoData());
}

TEST(MachOSlice, KeepsAThousandDylibsAndNotAMillion) {
    const std::string real = dylib("/System/Library/Frameworks/Framework.framework/Framework");
    const std::string tiny = command(0xc, word(0)); // twelve bytes, its name begins with its own type
    const TemporaryFolder folder;
    for (const auto& [commands, least, most] : {std::tuple(std::vector(1000, real), 1000U, 1000U),
                                                std::tuple(std::vector(300'000, tiny), 1000U, 10'000U)}) {
        const auto binary =
            QVXMachOBinary::MachOBinaryWithPath(folder.write("file", Thin{.commands = commands}.bytes()));
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
    const auto add = [&](const std::string& name, std::string_view bytes) {
        return folder.write(name + "/Contents/Resources/DWARF/executable", bytes);
    };
    const std::string executable = add("good", fat({sliceB, sliceA}));
    folder.write("good/Contents/Resources/DWARF/later", sliceA.bytes());
    const auto good = open("good");
    ASSERT_NE(nullptr, good);
    EXPECT_EQ(executable, good->executablePath());
    EXPECT_EQ(platform::URL::fileURLWithPath(executable), good->executableURL());
    EXPECT_EQ((Pairs{{hex('2'), "x86_64"}, {hex('1'), "i386"}}), pairsOf(*good));
    EXPECT_EQ(std::nullopt, good->bundleIdentifier());
    EXPECT_EQ(std::nullopt, good->bundleVersion());

    add("other", "not Mach-O at all");
    EXPECT_EQ((Pairs{{std::nullopt, "unknown"}}), pairsOf(*open("other")));
    add("short", "short");
    EXPECT_EQ(std::nullopt, open("short")->executablePath());
    EXPECT_EQ(std::nullopt, open("short")->executableURL());
    EXPECT_EQ(Pairs{}, pairsOf(*open("short")));

    std::filesystem::create_directories(folder.path("empty/Contents/Resources/DWARF"));
    folder.write("file/Contents/Resources/DWARF", sliceA.bytes());
    folder.write("plain", sliceA.bytes());
    for (const char* name : {"missing", "empty", "file", "plain"})
        EXPECT_EQ(nullptr, open(name)) << name;
}

TEST(DSYM, TellsIdentifierAndVersionsOfItsInfoPlist) {
    struct Row {
        std::string items;
        std::optional<std::string> identifier;
        std::optional<platform::Value> version, shortVersion;
    };
    const auto item = [](const std::string& key, const std::string& value) {
        return "<key>" + key + "</key>" + value;
    };
    const TemporaryFolder folder;
    folder.write("Contents/Resources/DWARF/executable", sliceA.bytes());
    for (const Row& row : std::vector<Row>{
             {item("CFBundleIdentifier", "<string>com.apple.xcode.dsym.com.example</string>") +
                  item("CFBundleVersion", "<string>241</string>") +
                  item("CFBundleShortVersionString", "<string>2.4.1</string>"),
              "com.example", "241", "2.4.1"},
             {item("CFBundleIdentifier", "<string>com.apple.Xcode.dsym.com.example</string>") +
                  item("CFBundleVersion", "<integer>241</integer>"),
              "com.apple.Xcode.dsym.com.example",
              241,
              {}},
             {item("CFBundleIdentifier", "<string>com.apple.xcode.dsym.</string>"), "", {}, {}}}) {
        folder.write("Contents/Info.plist",
                     "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict>" + row.items + "</dict></plist>");
        const auto dSYM = QVXdSYM::dSYMWithURL(platform::URL::fileURLWithPath(folder.path("")));
        ASSERT_NE(nullptr, dSYM);
        EXPECT_EQ(row.identifier, dSYM->bundleIdentifier());
        EXPECT_EQ(row.version, dSYM->bundleVersion());
        EXPECT_EQ(row.shortVersion, dSYM->shortBundleVersion());
    }
}

} // namespace qvx::test

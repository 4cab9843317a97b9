#include <gtest/gtest.h>

#include <filesystem>

#include "MachOBuilder.h"
#include "tests/platform/TemporaryFolder.h"

// The fuzzer's entry stops the process when an answer leaves the input or the file and the memory disagree.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace qvx::test {

namespace {

// A copy of exactly the input's size, so that the sanitizers see a read behind it.
void feed(const std::string& image) {
    const std::vector<uint8_t> copy(image.begin(), image.end());
    LLVMFuzzerTestOneInput(copy.data(), copy.size());
}

std::vector<std::string> goodFiles() {
    std::vector<Thin> slices;
    for (const bool is64Bit : {true, false})
        slices.push_back(
            {.magic = is64Bit ? magic64 : magic32,
             .cputype = is64Bit ? x86_64 : i386,
             .commands = {segment(is64Bit, "__TEXT", {{"__text", 32, 16}, {"__eh_frame", 64, 8}}), uuid('A'),
                          dylib("/usr/lib/libSystem.B.dylib"), command(0x24, words({0xa0900, 0xa0900}))}});
    return {slices[0].bytes(), slices[1].bytes(), fat(slices)};
}

} // namespace

TEST(HostileFiles, EveryPrefixOfAGoodFile) {
    for (const std::string& good : goodFiles())
        for (size_t size = 0; size <= good.size(); ++size)
            feed(good.substr(0, size));
}

TEST(HostileFiles, EveryWordOfAGoodFileReplaced) {
    const std::string good = goodFiles().back();
    const auto size = static_cast<uint32_t>(good.size());
    for (size_t at = 0; at + 4 <= good.size(); at += 4) {
        for (const uint32_t value : {0U, 1U, 4U, 8U, size - 1, size, size + 1, 0x7fffffffU, 0x80000000U,
                                     0xffffffffU, 0xfeedfaceU, 0xcafebabeU}) {
            std::string bad = good;
            feed(bad.replace(at, 4, word(value)));
            feed(bad.replace(at, 4, bigEndian(value)));
        }
    }
}

TEST(HostileFiles, FatEntriesThatOverlapOrHoldThemselves) {
    const std::string thin = goodFiles().front();
    const auto size = static_cast<uint32_t>(thin.size());
    const FatEntry entry{x86_64, 3, 128, size};
    const std::string inner = fatHeader({entry, {x86_64, 3, 130, size - 2}, {i386, 3, 0, size}, entry}) +
                              std::string(40, '\0') + thin;
    feed(inner);
    feed(fatHeader({{arm64, 0, 28, static_cast<uint32_t>(inner.size())}}) + inner);
}

TEST(HostileFiles, TheCorpus) {
    size_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(QVX_MACHO_CORPUS)) {
        feed(contentsOf(entry.path()));
        ++files;
    }
    EXPECT_GT(files, 0U);
}

} // namespace qvx::test

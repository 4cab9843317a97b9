#include <gtest/gtest.h>

#include "tests/macho/MachOBuilder.h"

// The fuzzer's entry stops the process when an answer leaves the input.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace qvx::test {

namespace {

// A copy of exactly the input's size, so that the sanitizers see a read behind it.
void feed(const std::string& image) {
    const std::vector<uint8_t> copy(image.begin(), image.end());
    LLVMFuzzerTestOneInput(copy.data(), copy.size());
}

Thin goodSlice(bool is64Bit) {
    return {.magic = is64Bit ? magic64 : magic32,
            .cputype = is64Bit ? x86_64 : i386,
            .commands = {segment(is64Bit, "__TEXT", {{"__text", 32, 16}, {"__eh_frame", 64, 8}}), uuid('A'),
                         dylib("/usr/lib/libSystem.B.dylib"), command(0x24, words({0xa0900, 0xa0900}))}};
}

} // namespace

TEST(HostileFiles, EveryWordOfAGoodFileReplacedAndEveryEndCutOff) {
    const std::string good = fat({goodSlice(true), goodSlice(false)});
    const auto size = static_cast<uint32_t>(good.size());
    for (size_t at = 0; at + 4 <= good.size(); at += 4) {
        feed(good.substr(0, at));
        for (const uint32_t value : {0U, 1U, 4U, 8U, size - 1, size, size + 1, 0x7fffffffU, 0x80000000U,
                                     0xffffffffU, 0xfeedfaceU, 0xcafebabeU}) {
            std::string bad = good;
            feed(bad.replace(at, 4, word(value)));
            feed(bad.replace(at, 4, bigEndian(value)));
        }
    }
}

} // namespace qvx::test

#include "macho/FatHeader.h"

#include <algorithm>

namespace qvx::macho {

uint32_t fatEntryCount(const platform::ByteReader& file) {
    return static_cast<uint32_t>(file.readBigEndian(4, 4).value_or(0));
}

void enumerateFatEntries(const platform::ByteReader& file, uint64_t entrySize, uint32_t limit,
                         const std::function<void(const FatEntry&)>& visitor) {
    const uint64_t wordSize = entrySize == fatEntrySize64 ? 8 : 4;
    const uint32_t count = std::min(fatEntryCount(file), limit);
    for (uint64_t index = 0; index < count; ++index) {
        const uint64_t entry = fatHeaderSize + index * entrySize;
        if (!file.contains(entry, entrySize))
            return;
        const auto word = [&](uint64_t offset, uint64_t size) {
            return file.readBigEndian(entry + offset, size).value_or(0);
        };
        visitor({.cputype = static_cast<int32_t>(word(0, 4)),
                 .cpusubtype = static_cast<int32_t>(word(4, 4)),
                 .offset = word(8, wordSize),
                 .size = word(8 + wordSize, wordSize)});
    }
}

} // namespace qvx::macho

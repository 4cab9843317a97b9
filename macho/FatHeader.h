#pragma once

#include <cstdint>
#include <functional>

#include "platform/text/ByteReader.h"

/// The header of a fat file (<mach-o/fat.h>): magic and count, then an entry for each slice. All of it is
/// big-endian, whichever of its magic values was found.
namespace qvx::macho {

inline constexpr uint64_t fatHeaderSize = 8;
inline constexpr uint64_t fatEntrySize = 20;
inline constexpr uint64_t fatEntrySize64 = 32; ///< under FAT_MAGIC_64

struct FatEntry {
    int32_t cputype = 0;
    int32_t cpusubtype = 0;
    uint64_t offset = 0; ///< of the slice in the file
    uint64_t size = 0;
};

/// How many entries the header says that it has; 0 when it ends before.
[[nodiscard]] uint32_t fatEntryCount(const platform::ByteReader& file);

/// Calls `visitor` with the first `limit` entries, as many as lie wholly in the file, in order. Where an
/// entry's slice lies is not checked. \param entrySize one of the two above
void enumerateFatEntries(const platform::ByteReader& file, uint64_t entrySize, uint32_t limit,
                         const std::function<void(const FatEntry&)>& visitor);

} // namespace qvx::macho

#pragma once

#include <cstdint>

/// Values of the Mach-O file format that are read here, by the names that its headers give them:
/// <mach-o/loader.h>, <mach-o/fat.h> and <mach/machine.h>. Words are in the file's own order, CIGAM is MAGIC
/// in the other one.
namespace qvx::macho {

inline constexpr uint32_t MH_MAGIC = 0xfeedface;
inline constexpr uint32_t MH_CIGAM = 0xcefaedfe;
inline constexpr uint32_t MH_MAGIC_64 = 0xfeedfacf;
inline constexpr uint32_t MH_CIGAM_64 = 0xcffaedfe;
inline constexpr uint32_t FAT_MAGIC = 0xcafebabe;
inline constexpr uint32_t FAT_CIGAM =
    0xbebafeca; ///< a fat header as it is read here: its words are big-endian

inline constexpr uint32_t FAT_MAGIC_64 = 0xcafebabf;
inline constexpr uint32_t FAT_CIGAM_64 = 0xbfbafeca;

inline constexpr uint32_t MH_EXECUTE = 0x2;
inline constexpr uint32_t MH_DYLIB = 0x6;
inline constexpr uint32_t MH_BUNDLE = 0x8;
inline constexpr uint32_t MH_DSYM = 0xa;

inline constexpr uint32_t LC_SEGMENT = 0x1;
inline constexpr uint32_t LC_LOAD_DYLIB = 0xc;
inline constexpr uint32_t LC_SEGMENT_64 = 0x19;
inline constexpr uint32_t LC_UUID = 0x1b;
inline constexpr uint32_t LC_VERSION_MIN_MACOSX = 0x24;
inline constexpr uint32_t LC_VERSION_MIN_IPHONEOS = 0x25;

inline constexpr int32_t CPU_ARCH_ABI64 = 0x01000000;
inline constexpr int32_t CPU_ARCH_ABI64_32 = 0x02000000;
inline constexpr int32_t CPU_SUBTYPE_MASK =
    static_cast<int32_t>(0xff000000);               ///< capabilities, not the subtype
inline constexpr int32_t CPU_SUBTYPE_MULTIPLE = -1; ///< asks for the most general member of a CPU type

} // namespace qvx::macho

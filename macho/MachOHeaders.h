#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/text/Error.h"

/// The headers of a Mach-O file, read without mapping it: for many files that somebody may change meanwhile.
/// No more is read than the headers and the load commands.
namespace qvx::macho {

struct SliceHeader {
    const char* architecture = ""; ///< as `QVXMachOSliceGetArchitectureName` says
    uint32_t filetype = 0;         ///< such as MH_EXECUTE
    /// From the last LC_UUID: 32 lower-case hexadecimal digits; absent when there is none.
    std::optional<std::string> uuid;
    /// As `QVXMachOSegmentHasDebugInformation` says of one of its segments.
    bool hasDebugInformation = false;
};

struct MachOHeaders {
    /// In file order; of a fat file the ones that are Mach-O, of a file that is neither fat nor Mach-O none.
    std::vector<SliceHeader> slices;
    /// Why what is known of the slices may not be all, in words; absent when it is.
    std::optional<std::string_view> damage;
};

/// The headers of the regular file at `path`. Fails with the POSIX error when it cannot be opened or read.
/// Fat files may have 32-bit or 64-bit entries. A slice of the other byte order is not read but called
/// damage.
[[nodiscard]] platform::Result<MachOHeaders> readMachOHeaders(std::string_view path);

} // namespace qvx::macho

#pragma once

#include <cstdint>
#include <functional>

#include "platform/text/ByteReader.h"

/// One architecture of a Mach-O file as plain data. CPU types and subtypes are those of the platform's
/// <mach/machine.h>.
namespace qvx::macho {

using platform::ByteReader;

/// Points into an image that somebody else keeps mapped; valid as long as that image.
struct QVXMachOSlice {
    /// First byte of the Mach-O header; null means that there is no slice.
    const void* startAddress = nullptr;
    int32_t cputype = 0;
    /// As it stands in the file, capability bits included.
    int32_t cpusubtype = 0;
    /// Bytes known to be readable from `startAddress`; 0 means unknown (an image in memory, which is
    /// trusted).
    uint64_t readableSize = 0;
};

/// Is given a record that is valid only during the call.
using QVXMachOSliceVisitor = std::function<void(const QVXMachOSlice*)>;

/// The slice of the running executable; on a system whose executables are not Mach-O there is none and all
/// fields are zero.
[[nodiscard]] QVXMachOSlice QVXMachOSliceGetCurrent();

/// Path of the loaded image that contains the slice's header, owned by the system; null for null, for a
/// slice without a header, and where images are not Mach-O.
[[nodiscard]] const char* QVXMachOSliceGetExecutablePath(const QVXMachOSlice* slice);

/// A slice of unknown size that starts at `header`; the CPU fields are zero.
[[nodiscard]] QVXMachOSlice QVXMachOSliceWithHeader(const void* header);

/// Whether the CPU type carries the 64-bit flag. \param slice not null
[[nodiscard]] bool QVXMachOSliceIs64Bit(const QVXMachOSlice* slice);

/// Name of the architecture as <mach-o/arch.h> publishes them ("arm64", "x86_64h"), found without regard to
/// the capability bits of the subtype; "unknown" for any other pair. Static text. \param slice not null
[[nodiscard]] const char* QVXMachOSliceGetArchitectureName(const QVXMachOSlice* slice);

/// The bytes of the slice. Its header must not be null.
[[nodiscard]] ByteReader sliceReader(const QVXMachOSlice& slice);

} // namespace qvx::macho

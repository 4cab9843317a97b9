#pragma once

#include <cstdint>

#include "macho/QVXMachOSliceRecord.h"

/// A Mach-O file, fat or thin, mapped read-only and never copied. Formats: <mach-o/fat.h> and
/// <mach-o/loader.h> of the platform. The calling order is Init, any number of enumerations, Destroy; every
/// pointer that was handed out ends with Destroy.
namespace qvx::macho {

struct QVXMachOFile {
    /// Negative when the open failed.
    int32_t fd = -1;
    /// Size of the file in bytes.
    uint64_t mappedSize = 0;
    /// The whole file; null when it is not mapped.
    const void* mappedFile = nullptr;
};

/// No real file has nearly as many slices. The limit keeps a made-up count from holding the caller.
inline constexpr uint32_t maximumFatEntries = 128;

/// Opens and maps the file at `path`, a path in the file system's bytes. Never blocks on a FIFO or device.
/// \return false, with nothing left open, when an argument is null, or when the file cannot be opened, is
///     shorter than 16 bytes, is not regular or cannot be mapped. The fields then keep what was stored last,
///     the number of the closed descriptor included.
[[nodiscard]] bool QVXMachOFileInitWithPath(QVXMachOFile* file, const char* path);

/// As above for the file of the running executable; false where that is not Mach-O.
[[nodiscard]] bool QVXMachOFileInitWithCurrent(QVXMachOFile* file);

/// Unmaps what is mapped and closes `fd`, whatever it holds: after a failed Init that number may meanwhile
/// belong to somebody else, so a process with threads calls this only after a successful one. Does not reset
/// the fields. Null is allowed.
void QVXMachOFileDestroy(QVXMachOFile* file);

/// Enumerates the slices of an open file in file order.
void QVXMachOFileEnumerateSlices(const QVXMachOFile* file, const QVXMachOSliceVisitor& visitor);

/// Enumerates the slices of a fat or thin image in memory. An image that is neither has one slice without
/// CPU type. Of a fat image the first `maximumFatEntries` entries count; an entry that is empty or does not
/// lie wholly in the image is skipped.
/// \param image start of the image, not null
/// \param readableSize size of the image in bytes; 0 when unknown, the image is then trusted
void QVXMachOEnumerateSlicesAtAddress(const void* image, const QVXMachOSliceVisitor& visitor,
                                      uint64_t readableSize = 0);

/// The last slice of an open file that has this architecture name; all zero when there is none.
[[nodiscard]] QVXMachOSlice QVXMachOFileSliceWithArchitectureName(const QVXMachOFile* file, const char* name);

} // namespace qvx::macho

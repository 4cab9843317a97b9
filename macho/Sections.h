#pragma once

#include "macho/QVXMachOSliceRecord.h"

/// The sections of a slice: those of the segment "__TEXT" by name, and whether "__DWARF" has any use.
namespace qvx::macho {

/// Looks up a section of the segment "__TEXT" by name. Names are fields of 16 bytes, which need no NUL.
/// \param data receives the address of the section's bytes in the image, or null when there is no such
///     section or it does not begin in the slice; untouched when an argument or the slice's header is null
void QVXMachOSliceGetSectionByName(const QVXMachOSlice* slice, const char* name, const void** data);

/// Looks up "__eh_frame" and "__unwind_info" as above. A null out pointer skips that lookup.
void QVXMachOSliceGetUnwindInformation(const QVXMachOSlice* slice, const void** ehFrame,
                                       const void** unwindInfo);

/// Whether a load command that the walk delivered is that of a segment "__DWARF" with bytes, all of them in a
/// slice of `sliceSize` bytes. Of its sections, if it tells any, "__debug_info" must not be empty: extracting
/// symbols where there are none leaves the tables beside it.
[[nodiscard]] bool QVXMachOSegmentHasDebugInformation(uint32_t cmd, uint32_t cmdsize, const void* command,
                                                      uint64_t sliceSize);

} // namespace qvx::macho

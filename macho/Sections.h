#pragma once

#include "macho/QVXMachOSliceRecord.h"

/// The sections of a slice's segment "__TEXT".
namespace qvx::macho {

/// Looks up a section of the segment "__TEXT" by name. Names are fields of 16 bytes, which need no NUL.
/// \param data receives the address of the section's bytes in the image, or null when there is no such
///     section or it does not begin in the slice; untouched when an argument or the slice's header is null
void QVXMachOSliceGetSectionByName(const QVXMachOSlice* slice, const char* name, const void** data);

/// Looks up "__eh_frame" and "__unwind_info" as above. A null out pointer skips that lookup.
void QVXMachOSliceGetUnwindInformation(const QVXMachOSlice* slice, const void** ehFrame,
                                       const void** unwindInfo);

} // namespace qvx::macho

#include "macho/QVXMachOSliceRecord.h"

#include "macho/MachOFormat.h"

namespace qvx::macho {

QVXMachOSlice QVXMachOSliceWithHeader(const void* header) {
    return {.startAddress = header};
}

bool QVXMachOSliceIs64Bit(const QVXMachOSlice* slice) {
    return (slice->cputype & CPU_ARCH_ABI64) != 0;
}

ByteReader sliceReader(const QVXMachOSlice& slice) {
    return {slice.startAddress, slice.readableSize != 0 ? slice.readableSize : UINT64_MAX};
}

} // namespace qvx::macho

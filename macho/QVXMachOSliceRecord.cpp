#include "macho/QVXMachOSliceRecord.h"

namespace qvx::macho {

QVXMachOSlice QVXMachOSliceWithHeader(const void* header) {
    return {.startAddress = header};
}

bool QVXMachOSliceIs64Bit(const QVXMachOSlice* slice) {
    constexpr int32_t architecture64 = 0x01000000;
    return (slice->cputype & architecture64) != 0;
}

ByteReader sliceReader(const QVXMachOSlice& slice) {
    return {slice.startAddress, slice.readableSize != 0 ? slice.readableSize : UINT64_MAX};
}

} // namespace qvx::macho

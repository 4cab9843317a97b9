#include "macho/QVXMachOSliceRecord.h"

namespace qvx::macho {

// No image here is a Mach-O file, so there is no header to give; callers take the null as they take any
// other.
QVXMachOSlice QVXMachOSliceGetCurrent() {
    return {};
}

const char* QVXMachOSliceGetExecutablePath(const QVXMachOSlice* /*slice*/) {
    return nullptr;
}

} // namespace qvx::macho

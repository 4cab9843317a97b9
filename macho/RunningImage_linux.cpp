#include "macho/QVXMachOSliceRecord.h"

namespace qvx::macho {

QVXMachOSlice QVXMachOSliceGetCurrent() {
    return {};
}

const char* QVXMachOSliceGetExecutablePath(const QVXMachOSlice* /*slice*/) {
    return nullptr;
}

} // namespace qvx::macho

#include <dlfcn.h>
#include <mach-o/arch.h>
#include <mach-o/ldsyms.h>

#include "macho/QVXMachOSliceRecord.h"

namespace qvx::macho {

QVXMachOSlice QVXMachOSliceGetCurrent() {
    QVXMachOSlice slice;
    slice.startAddress = &_mh_execute_header; // the linker's, of the program that this is linked into
    if (const NXArchInfo* local = ::NXGetLocalArchInfo()) {
        slice.cputype = local->cputype;
        slice.cpusubtype = local->cpusubtype;
    }
    return slice;
}

const char* QVXMachOSliceGetExecutablePath(const QVXMachOSlice* slice) {
    Dl_info image{};
    if (slice == nullptr || slice->startAddress == nullptr || ::dladdr(slice->startAddress, &image) == 0)
        return nullptr;
    return image.dli_fname;
}

} // namespace qvx::macho

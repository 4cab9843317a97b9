#include "macho/MachOFormat.h"
#include "macho/QVXMachOSliceRecord.h"

namespace qvx::macho {

namespace {

constexpr int32_t any = -1;
constexpr int32_t mc680x0 = 6;
constexpr int32_t x86 = 7;
constexpr int32_t hppa = 11;
constexpr int32_t arm = 12;
constexpr int32_t mc88000 = 13;
constexpr int32_t sparc = 14;
constexpr int32_t i860 = 15;
constexpr int32_t powerpc = 18;

struct Architecture {
    const char* name;
    int32_t cputype;
    int32_t cpusubtype;
};

// The most general member of each CPU type stands before the others.
constexpr Architecture architectures[] = {
    {"any", any, CPU_SUBTYPE_MULTIPLE},
    {"little", any, 0},
    {"big", any, 1},
    {"i386", x86, 3},
    {"i486", x86, 4},
    {"i486SX", x86, 132},
    {"pentium", x86, 5},
    {"pentpro", x86, 22},
    {"pentIIm3", x86, 54},
    {"pentIIm5", x86, 86},
    {"pentium4", x86, 10},
    {"x86_64", x86 | CPU_ARCH_ABI64, 3},
    {"x86_64h", x86 | CPU_ARCH_ABI64, 8},
    {"arm", arm, 0},
    {"armv4t", arm, 5},
    {"armv6", arm, 6},
    {"armv5", arm, 7},
    {"xscale", arm, 8},
    {"armv7", arm, 9},
    {"armv7f", arm, 10},
    {"armv7s", arm, 11},
    {"armv7k", arm, 12},
    {"armv6m", arm, 14},
    {"armv7m", arm, 15},
    {"armv7em", arm, 16},
    {"arm64", arm | CPU_ARCH_ABI64, 0},
    {"arm64v8", arm | CPU_ARCH_ABI64, 1},
    {"arm64e", arm | CPU_ARCH_ABI64, 2},
    // Twice, as the published table has it: both subtypes print the same.
    {"arm64_32", arm | CPU_ARCH_ABI64_32, 0},
    {"arm64_32", arm | CPU_ARCH_ABI64_32, 1},
    {"ppc", powerpc, 0},
    {"ppc601", powerpc, 1},
    {"ppc603", powerpc, 3},
    {"ppc603e", powerpc, 4},
    {"ppc603ev", powerpc, 5},
    {"ppc604", powerpc, 6},
    {"ppc604e", powerpc, 7},
    {"ppc750", powerpc, 9},
    {"ppc7400", powerpc, 10},
    {"ppc7450", powerpc, 11},
    {"ppc970", powerpc, 100},
    {"ppc64", powerpc | CPU_ARCH_ABI64, 0},
    {"ppc970-64", powerpc | CPU_ARCH_ABI64, 100},
    {"m68k", mc680x0, 1},
    {"m68040", mc680x0, 2},
    {"m68030", mc680x0, 3},
    {"hppa", hppa, 0},
    {"hppa7100LC", hppa, 1},
    {"m88k", mc88000, 0},
    {"sparc", sparc, 0},
    {"i860", i860, 0},
};

} // namespace

const char* QVXMachOSliceGetArchitectureName(const QVXMachOSlice* slice) {
    const bool anyMember = slice->cpusubtype == CPU_SUBTYPE_MULTIPLE;
    for (const Architecture& architecture : architectures) {
        if (architecture.cputype != slice->cputype)
            continue;
        // Capability bits stand in the same word (arm64e sets one for its pointer signing) and do not make
        // another architecture.
        if (anyMember || ((architecture.cpusubtype ^ slice->cpusubtype) & ~CPU_SUBTYPE_MASK) == 0)
            return architecture.name;
    }
    return "unknown";
}

} // namespace qvx::macho

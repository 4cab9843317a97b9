#pragma once

#include <string_view>
#include <vector>

#include "tools/inspect/SymbolSearch.h"

/// Which dSYM belongs to which slice.
namespace qvx::inspector {

enum class Symbols {
    found,        ///< the dSYM holds the slice's UUID, and debug information
    anotherBuild, ///< the dSYM has the right name but another UUID for this architecture
    empty,        ///< the dSYM holds the UUID, or the right name and no slice, but no debug information
    missing
};

/// Points into the findings that it was made of.
struct SliceMatch {
    const CodeFile* file;
    const macho::SliceHeader* slice;
    Symbols symbols;
    const DSYM* dSYM; ///< null when they are missing
};

struct Matches {
    std::vector<SliceMatch> slices;     ///< in the order of the code
    std::vector<const DSYM*> unmatched; ///< those without a UUID of the code
};

[[nodiscard]] Matches match(const Findings& findings);

} // namespace qvx::inspector

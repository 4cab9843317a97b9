#pragma once

#include <string>
#include <vector>

#include "macho/MachOHeaders.h"

/// What of an app needs symbols, and which symbols there are. Files are known by their content.
namespace qvx::inspector {

/// A file with code of its own: an executable, a dynamic library or a bundle.
struct CodeFile {
    std::string path; ///< absolute
    std::vector<macho::SliceHeader> slices;
};

/// A dSYM bundle, or a DWARF file that lies outside of any.
struct DSYM {
    std::string path;               ///< absolute
    std::vector<std::string> names; ///< of its DWARF files
    std::vector<macho::SliceHeader> slices;
    bool readable = true; ///< else there may be more
};

/// Something that was not read, or not wholly.
struct Problem {
    std::string path; ///< absolute, or as it was given when it is one of the paths that were
    std::string reason;
    bool serious = false; ///< some of the code, or of what was asked for, may be unknown by it
};

struct Findings {
    std::string base; ///< the folder that paths are told from: the app, or the folder of an executable
    std::vector<CodeFile> code; ///< sorted by path
    std::vector<DSYM> dSYMs;    ///< sorted by path; those of which something could be read
    std::vector<Problem> problems;
};

/// \param app a bundle, an archive (its "Products" are the app), a folder of products or one executable
/// \param symbols folders and dSYMs; none means the folder that holds the app, other archives in it left out,
///     and the app itself
[[nodiscard]] Findings search(const std::string& app, const std::vector<std::string>& symbols);

} // namespace qvx::inspector

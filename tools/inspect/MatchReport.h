#pragma once

#include <string>

#include "tools/inspect/SymbolMatch.h"

/// What a match found, in full lines with their ends. Paths are told from the findings' base; those on
/// another branch of the root are absolute.
namespace qvx::inspector {

/// A line for each slice, for each slice of an unmatched dSYM and for each problem, then one that counts.
/// \param coloured with the colours of a terminal (ECMA-48)
[[nodiscard]] std::string matchTable(const Findings& findings, const Matches& matches, bool coloured);

/// The same as a JSON object a line.
[[nodiscard]] std::string matchJSON(const Findings& findings, const Matches& matches);

} // namespace qvx::inspector

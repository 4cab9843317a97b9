#pragma once

#include <string_view>

#include "checks/BuildEnvironment.h"

namespace qvx {

/// Checks the build, writes the artifact when asked to, and takes one of the two roads: hands the build to
/// the desktop app, or reports it and uploads its dSYM. Fatal problems end the process.
/// \param apiKey 40 UTF-16 code units
/// \param buildSecret 64 bytes, or "" for none
/// \return the process's exit status
int runFlow(std::string_view apiKey, std::string_view buildSecret, const ArgumentSet& arguments);

} // namespace qvx

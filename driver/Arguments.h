#pragma once

#include <optional>
#include <string>

#include "checks/BuildEnvironment.h"

namespace qvx {

/// The command line's words in lower case, the program path included; one that is not UTF-8 is left out.
ArgumentSet argsToSet(int argc, const char* const* argv);

/// The API key; absent unless the argument is UTF-8 text of exactly 40 UTF-16 code units.
std::optional<std::string> apiKeyFromArgument(const char* argument);

/// The second argument when it is UTF-8 text of exactly 64 bytes, else "".
std::string buildSecretFromArguments(int argc, const char* const* argv);

/// Overwrites the argument with blanks, so that listings of processes show it no longer; its length stays.
/// \param argument of this process's own vector
void blankArgument(char* argument);

} // namespace qvx

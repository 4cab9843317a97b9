#pragma once

#include <set>
#include <string>
#include <string_view>

#include "platform/process/ProcessInfo.h"

namespace qvx {

/// The command line's words in lower case, the program path included.
using ArgumentSet = std::set<std::string>;

/// Checks the settings that every run needs, the app's Info.plist and, as a warning that the argument
/// "no-warn-missing-dsym" silences, the dSYM. Ends the process at the first fatal problem.
void verifyEnvironmentIsValid(const platform::Environment& environment, const ArgumentSet& arguments);

/// Ends the process unless the property list at `path` names a `CFBundleIdentifier`.
void verifyInfoPlistValuesAtPath(std::string_view path);

/// Ends the process unless it runs in the project's source folder, as a target's build phase does and a
/// scheme action does not.
void computePathToFramework(const platform::Environment& environment);

} // namespace qvx

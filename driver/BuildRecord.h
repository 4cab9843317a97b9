#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/process/ProcessInfo.h"
#include "platform/values/Value.h"

namespace qvx {

/// What the desktop app needs to know of the build, with the keys in their fixed order; what the build does
/// not set is left out.
/// \param dSYMs the paths of the cached dSYM bundles
platform::Dictionary buildRecord(const platform::Environment& environment, std::string_view apiKey,
                                 const std::vector<std::string>& dSYMs);

} // namespace qvx

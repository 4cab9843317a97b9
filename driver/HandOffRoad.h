#pragma once

#include <string_view>

#include "platform/process/ProcessInfo.h"

namespace qvx {

/// Copies the build's dSYMs into a fresh folder of the cache, writes the build's record there for a desktop
/// app that can read it, and hands the build to the desktop app. Returns when that took it; every failure
/// ends the process with status 1.
void handOffRoad(const platform::Environment& environment, std::string_view apiKey,
                 std::string_view apiBaseURL);

} // namespace qvx

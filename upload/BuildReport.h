#pragma once

#include <string_view>

#include "platform/process/ProcessInfo.h"

namespace qvx {

/// Reports the build to the service; returns when the exchange has ended.
///
/// It always goes to the service's own API base URL, whatever `endpoint` says.
/// \param apiKey 40 UTF-16 code units
/// \param buildSecret "" when there is none; then no header is sent for it
/// \param fromBuildServer whether the build is marked as coming from a build server
/// \param lastAttempt whether a failure is logged; otherwise the report is sent once more as the last
///        attempt, whose result is not returned
/// \return true when this attempt was answered with 200 or 201
bool buildConfigure(const platform::Environment& environment, std::string_view apiKey,
                    std::string_view buildSecret, bool fromBuildServer, bool lastAttempt);

} // namespace qvx

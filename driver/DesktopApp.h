#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/process/ProcessInfo.h"

namespace qvx {

/// Hands the build to the desktop app by opening a "quorvex://xcode?" URL. Returns when an application took
/// it; otherwise opens the sign-up page and ends the process with status 1.
/// \param buildPlistPath the build's record; absent in the legacy form
/// \param apiBaseURL,bundleIdentifier not used
/// \param legacy whether the build's settings go into the URL itself, for a desktop app that reads no record
void sendDataToMacApp(const std::optional<std::string>& buildPlistPath,
                      const platform::Environment& environment, std::string_view apiKey,
                      std::string_view apiBaseURL, const std::optional<std::string>& bundleIdentifier,
                      bool legacy);

} // namespace qvx

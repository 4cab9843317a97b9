#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qvx {

/// Whether the short command name of this process or of one of its ancestors is `name`, with case.
[[nodiscard]] bool isProcessNameInHierarchy(std::string_view name);

/// Whether Xcode.app started the build.
[[nodiscard]] bool isXcodeInProcessHierarchy();

/// Whether the Xcode Bots build daemon started the build.
[[nodiscard]] bool isBotsDaemonInProcessHierarchy();

/// Whether an application is registered for the desktop app's URLs.
[[nodiscard]] bool isQuorvexInstalled();

/// Whether that application's bundle version is above 202, from which on it reads `Build.plist`.
[[nodiscard]] bool isQuorvexBuildPlistCompatible();

/// The pieces of a search-path setting: its double quotes removed, cut at every single blank, empty pieces
/// kept.
std::vector<std::string> searchPathsToArray(std::string_view setting);

} // namespace qvx

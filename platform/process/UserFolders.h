#pragma once

#include <string>

namespace qvx::platform {

/// Where programs keep what they can make anew for the user: on Linux XDG_CACHE_HOME when that is an absolute
/// path, else `.cache` in the home directory; on macOS `Library/Caches` there.
[[nodiscard]] std::string cachesDirectory();

/// Where the user's property lists of defaults are: on Linux XDG_CONFIG_HOME when that is an absolute path,
/// else `.config` in the home directory; on macOS `Library/Preferences` there.
[[nodiscard]] std::string preferencesDirectory();

} // namespace qvx::platform

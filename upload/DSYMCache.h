#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qvx {

/// The folder under the user's caches directory that holds the builds for one service, made if possible; a
/// failure to make it is logged and no more.
/// \param endpoint the service's base URL, to the letter
std::string cacheDirectory(std::string_view endpoint);

/// Copies each dSYM bundle that lies directly in `sourceDirectory` into `destinationDirectory`, which must
/// exist. Ends the process with status 1 when the source cannot be listed or a bundle not be copied.
/// \return the paths of the copies, in the order of the listing
std::vector<std::string> cacheDSYMsAtPath(std::string_view sourceDirectory,
                                          std::string_view destinationDirectory);

} // namespace qvx

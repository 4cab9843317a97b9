#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "QVXWebClient/QVXWebClient/QVXWebRequest.h"
#include "platform/process/ProcessInfo.h"

namespace qvx {

/// The API base URL that the app's Info.plist sets with `QuorvexAPIEndpoint`, as it stands, else the
/// service's own.
std::string endpoint(const platform::Environment& environment);

/// The service's word for `PLATFORM_NAME`: "mac", "ios" or "unknown". Ends the process with status 1 when the
/// setting is missing or empty.
std::string getAppPlatform(const platform::Environment& environment);

/// Adds the headers that tell the service which tool speaks for whom.
void addClientHeaders(QVXWebRequest& request, std::string_view apiKey);

} // namespace qvx

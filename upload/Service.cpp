#include "upload/Service.h"

#include <cstdlib>

#include "platform/text/Format.h"
#include "platform/text/String.h"
#include "shared/AppFiles.h"
#include "shared/Diagnostics.h"
#include "shared/ServiceAddresses.h"
#include "shared/ToolIdentity.h"

namespace qvx {

using platform::Environment;

namespace {

// The tool's, not the developer's: it tells the service which program speaks, and is the same for everybody.
constexpr const char* developerToken = "5b0e2d9c41f7a3826ce09d4b17a5f3e2c8d64b90";

} // namespace

std::string endpoint(const Environment& environment) {
    // Without the folder there is no path, and what lies below the current one is not the app's.
    const bool hasPath = environment.value("BUILT_PRODUCTS_DIR").has_value();
    const platform::Dictionary* info = hasPath ? infoPlistAtPath(infoPlistPath(environment)) : nullptr;
    const std::optional<std::string> configured = info ? info->string("QuorvexAPIEndpoint") : std::nullopt;
    // Only the folder of the caches hangs on it; no request goes there.
    return configured.value_or(apiBaseURL);
}

std::string getAppPlatform(const Environment& environment) {
    const std::string name = environment.value("PLATFORM_NAME").value_or("");
    if (name.empty()) {
        QVXLog("Failure determining project platform.");
        std::exit(1);
    }
    if (platform::equalsIgnoringCase(name, "macosx"))
        return "mac";
    if (platform::equalsIgnoringCase(name, "iphoneos") ||
        platform::equalsIgnoringCase(name, "iphonesimulator"))
        return "ios";
    return "unknown";
}

void addClientHeaders(QVXWebRequest& request, std::string_view apiKey) {
    request.addValueForHTTPHeaderField(std::string(apiKey), "X-Quorvex-API-Key");
    request.addValueForHTTPHeaderField(developerToken, "X-Quorvex-Developer-Token");
    request.addValueForHTTPHeaderField(toolIdentifier(), "X-Quorvex-API-Client-Id");
    request.addValueForHTTPHeaderField(platform::format("run/%@", toolDisplayVersion()), "User-Agent");
    request.addValueForHTTPHeaderField(toolBuildVersion(), "X-Quorvex-API-Client-Build-Version");
    request.addValueForHTTPHeaderField(toolDisplayVersion(), "X-Quorvex-API-Client-Display-Version");
}

} // namespace qvx

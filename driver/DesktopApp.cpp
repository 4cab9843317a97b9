#include "driver/DesktopApp.h"

#include <cstdlib>

#include "platform/desktop/Applications.h"
#include "platform/text/Format.h"
#include "platform/values/Bundle.h"
#include "shared/Categories/URLEncoding.h"
#include "shared/Diagnostics.h"
#include "shared/ServiceAddresses.h"
#include "shared/ToolIdentity.h"

namespace qvx {

using platform::Environment;
using platform::URL;

namespace {

// What apps read that know no build record: every value in the URL itself.
std::string legacyQuery(const Environment& environment, std::string_view apiKey) {
    std::string query;
    const auto append = [&query](std::string_view key, std::string_view value) {
        query +=
            query.empty() ? platform::format("%@=%@", key, value) : platform::format("&%@=%@", key, value);
    };
    for (const char* name : {"BUILT_PRODUCTS_DIR", "PRODUCT_NAME", "WRAPPER_NAME", "DWARF_DSYM_FOLDER_PATH",
                             "DWARF_DSYM_FILE_NAME", "PLATFORM_NAME", "PROJECT_FILE_PATH", "INFOPLIST_PATH",
                             "CONFIGURATION", "SDKROOT"})
        append(name, urlEncode(environment.value(name).value_or("")));
    append("QUORVEX_FRAMEWORK_PATH", urlEncode(platform::Bundle::mainBundle().bundlePath()));
    append("QUORVEX_API_KEY", urlEncode(apiKey));
    append("QUORVEX_RUN_VERSION", urlEncode(toolBuildVersion()));
    // Written raw on purpose: it is a string of digits.
    if (const std::optional<std::string> version = environment.value("XCODE_VERSION_ACTUAL"))
        append("XCODE_VERSION_ACTUAL", *version);
    if (const std::optional<std::string> paths = environment.value("FRAMEWORK_SEARCH_PATHS"))
        append("FRAMEWORK_SEARCH_PATHS", urlEncode(*paths));
    return query;
}

[[noreturn]] void sendToSignUpPage(const Environment& environment) {
    // Reached when no app takes the URL: Xcode runs the tool on machines without it as well.
    if (const std::optional<URL> url = URL::initWithString(signUpURL)) {
        static_cast<void>(platform::Applications::openWebPage(*url));
        QVXLog(
            "This app relies on Vendra. Please sign up for access at %@,\ninstall Vendra.app then ask a team "
            "member to invite you to this app's organization.\n\nIf this machine is a build server please "
            "remove Vendra.app if present and use xcodebuild so that %@ is uploaded.\n",
            signUpURL, environment.value("DWARF_DSYM_FILE_NAME"));
    } else {
        QVXLog("Failed to build URL %@", signUpURL);
    }
    std::exit(1);
}

} // namespace

// The address and the identifier are part of the interface; the app finds both in the record.
void sendDataToMacApp(const std::optional<std::string>& buildPlistPath, const Environment& environment,
                      std::string_view apiKey, std::string_view /*apiBaseURL*/,
                      const std::optional<std::string>& /*bundleIdentifier*/, bool legacy) {
    if (debugMode)
        QVXLog("Sending data to Vendra.app");
    std::string text = "quorvex://xcode?";
    if (legacy)
        text += legacyQuery(environment, apiKey);
    else
        text += platform::format("%@=%@", "QUORVEX_BUILD_PLIST_PATH", urlEncode(buildPlistPath.value_or("")));
    const std::optional<URL> url = URL::initWithString(text);
    if (!url || !platform::Applications::openURL(*url))
        sendToSignUpPage(environment);
}

} // namespace qvx

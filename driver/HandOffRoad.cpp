#include "driver/HandOffRoad.h"

#include <cstdlib>

#include "checks/Host.h"
#include "driver/BuildRecord.h"
#include "driver/DesktopApp.h"
#include "platform/files/FileManager.h"
#include "platform/process/Log.h"
#include "platform/text/String.h"
#include "platform/values/PropertyList.h"
#include "upload/DSYMCache.h"

namespace qvx {

using platform::stringByAppendingPathComponent;

namespace {

std::string makeBuildFolder(std::string_view apiBaseURL) {
    std::string folder =
        stringByAppendingPathComponent(cacheDirectory(apiBaseURL), platform::createUUIDString());
    if (const auto error = platform::FileManager::createDirectoryWithIntermediates(folder)) {
        platform::NSLog("Unable to create directory at path %@ \n%@", folder, error);
        std::exit(1);
    }
    return folder;
}

} // namespace

void handOffRoad(const platform::Environment& environment, std::string_view apiKey,
                 std::string_view apiBaseURL) {
    const std::string buildFolder = makeBuildFolder(apiBaseURL);
    const std::vector<std::string> dSYMs =
        cacheDSYMsAtPath(environment.value("BUILT_PRODUCTS_DIR").value_or(""), buildFolder);
    const platform::Dictionary record = buildRecord(environment, apiKey, dSYMs);
    const std::optional<std::string> bundleIdentifier = record.string("CFBundleIdentifier");
    if (!isQuorvexBuildPlistCompatible()) {
        sendDataToMacApp(std::nullopt, environment, apiKey, apiBaseURL, bundleIdentifier, true);
        return;
    }
    const std::string recordPath = stringByAppendingPathComponent(buildFolder, "Build.plist");
    // The desktop app says so itself when it finds no record.
    static_cast<void>(platform::writeToFileAtomically(record, recordPath));
    sendDataToMacApp(recordPath, environment, apiKey, apiBaseURL, bundleIdentifier, false);
}

} // namespace qvx

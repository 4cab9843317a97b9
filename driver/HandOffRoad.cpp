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
    // A folder for each build, because the app takes its time: the next build must not change what it reads.
    const std::string buildFolder = makeBuildFolder(apiBaseURL);
    const std::vector<std::string> dSYMs =
        cacheDSYMsAtPath(environment.value("BUILT_PRODUCTS_DIR").value_or(""), buildFolder);
    const platform::Dictionary record = buildRecord(environment, apiKey, dSYMs);
    // From the record, where a list that cannot be read left it out.
    const std::optional<std::string> bundleIdentifier = record.string("CFBundleIdentifier");
    // Asked after copying: an app that is too old for the record finds the copies by the query.
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

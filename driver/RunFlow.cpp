#include "driver/RunFlow.h"

#include "checks/DeploymentTarget.h"
#include "checks/Host.h"
#include "driver/HandOffRoad.h"
#include "platform/text/String.h"
#include "platform/values/PropertyList.h"
#include "shared/Diagnostics.h"
#include "upload/BuildReport.h"
#include "upload/DSYMUpload.h"
#include "upload/Service.h"

namespace qvx {

using platform::Environment;

namespace {

void writeArtifact(const Environment& environment, std::string_view apiKey) {
    if (!platform::boolValue(environment.value("QUORVEX_CREATE_ARTIFACT").value_or("")))
        return;
    const std::string path = environment.value("QUORVEX_ARTIFACT_PATH")
                                 .value_or(platform::stringByAppendingPathComponent(
                                     environment.value("BUILT_PRODUCTS_DIR").value_or(""), "quorvex.plist"));
    // Not worth a failed build: whoever reads the artifact sees that it is missing.
    if (platform::writeToFileAtomically({{"QuorvexAPIKey", apiKey}}, path))
        QVXLog("Failed to write data to artifact path %@\n\n", path);
}

bool takesHandOffRoad() {
    // A build server may have the app installed, and nobody who sits in front of it.
    if (isBotsDaemonInProcessHierarchy())
        return false;
    return isQuorvexInstalled() || isXcodeInProcessHierarchy();
}

int directRoad(const Environment& environment, const std::shared_ptr<QVXMachOBinary>& appBinary,
               std::string_view apiKey, std::string_view buildSecret) {
    // The service takes symbols of builds that it was not told of, so a report that failed stops nothing. It
    // counts as the last attempt: no second one is made.
    static_cast<void>(buildConfigure(environment, apiKey, buildSecret, true, true));
    if (uploadDSYM(environment, appBinary, apiKey, buildSecret, false))
        return 0;
    return uploadDSYM(environment, appBinary, apiKey, buildSecret, true) ? 0 : 1;
}

} // namespace

int runFlow(std::string_view apiKey, std::string_view buildSecret, const ArgumentSet& arguments) {
    const Environment environment = Environment::ofProcess();
    // Before the checks, which is why it must not mind what they find.
    const std::string apiBaseURL = endpoint(environment);
    verifyEnvironmentIsValid(environment, arguments);
    computePathToFramework(environment);
    // Stays open until the end: its UUIDs are what the upload is filed under.
    const std::shared_ptr<QVXMachOBinary> appBinary = checkDeploymentTarget(environment);
    writeArtifact(environment, apiKey);
    if (takesHandOffRoad()) {
        handOffRoad(environment, apiKey, apiBaseURL);
        return 0;
    }
    return directRoad(environment, appBinary, apiKey, buildSecret);
}

} // namespace qvx

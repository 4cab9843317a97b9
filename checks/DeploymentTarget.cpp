#include "checks/DeploymentTarget.h"

#include <algorithm>

#include "platform/text/Format.h"
#include "platform/text/String.h"
#include "shared/AppFiles.h"
#include "shared/Diagnostics.h"

namespace qvx {

using platform::Environment;

namespace {

constexpr int minimumIOSMajor = 6;
constexpr int minimumOSXMajor = 10;
constexpr int minimumOSXMinor = 7;

std::shared_ptr<QVXMachOBinary> openExecutable(const Environment& environment) {
    // The path is taken for a URL as it stands, so one that is no legal URL text opens nothing.
    const std::optional<platform::URL> url = platform::URL::initWithString(executablePath(environment));
    std::shared_ptr<QVXMachOBinary> executable = url ? QVXMachOBinary::initWithURL(*url) : nullptr;
    if (!executable && debugMode)
        QVXLog("%@ %@, so it is not checked and no UUIDs are sent.\n", executablePath(environment),
               url ? "cannot be opened as an executable" : "is no text of a URL");
    return executable;
}

[[noreturn]] void failAsUnsupported(const Environment& environment, bool isIOS) {
    const std::optional<std::string> product = environment.value("PRODUCT_NAME");
    if (isIOS)
        failWithTitleAndReason(
            "Unsupported iOS Version",
            platform::format("We have detected that this build of %@ uses an unsupported OS Deployment "
                             "Target. Vendra is only compatible with iOS %d.0 and greater. To use "
                             "Vendra, you'll have to adjust your project's iOS Deployment Target.\n\n",
                             product, minimumIOSMajor));
    failWithTitleAndReason(
        "Unsupported OS X Version",
        platform::format("We have detected that this build of %@ uses an unsupported OS Deployment "
                         "Target. Vendra is only compatible with OS X 10.%d and greater. To use Vendra, "
                         "you'll have to adjust your project's Mac OS X Deployment Target.\n\n",
                         product, minimumOSXMinor));
}

} // namespace

std::shared_ptr<QVXMachOBinary> checkDeploymentTarget(const Environment& environment) {
    const std::shared_ptr<QVXMachOBinary> executable = openExecutable(environment);
    if (!executable)
        return nullptr;
    // Mac targets have no device family.
    const bool isIOS = environment.value("TARGETED_DEVICE_FAMILY").has_value();
    const auto& slices = executable->slices();
    // One slice is enough: a build is refused as a whole.
    const bool unsupported = std::any_of(slices.begin(), slices.end(), [&](const auto& slice) {
        const macho::QVXMachOVersion& version = slice->minimumOSVersion();
        return isIOS ? iOSDeploymentTargetIsUnsupported(version, environment)
                     : OSXDeploymentTargetIsUnsupported(version);
    });
    if (unsupported)
        failAsUnsupported(environment, isIOS);
    return executable;
}

// Apps for iOS 13 and later carry a newer load command that is not read here, so their version is 0.0.0;
// what the build settings say counts then.
bool iOSDeploymentTargetIsUnsupported(const macho::QVXMachOVersion& minimumVersion,
                                      const Environment& environment) {
    if (minimumVersion.major != 0)
        return minimumVersion.major < minimumIOSMajor;
    return platform::integerValue(environment.value("IPHONEOS_DEPLOYMENT_TARGET").value_or("")) <
           minimumIOSMajor;
}

// Refuses more than it seems to, on purpose: Mac apps that were linked for 10.14 or later carry the newer
// load command too, so that theirs is 0.0.0, and 11.0 has a minor version below 7. Whoever builds such an
// app leaves EXECUTABLE_PATH out.
bool OSXDeploymentTargetIsUnsupported(const macho::QVXMachOVersion& minimumVersion) {
    return minimumVersion.major < minimumOSXMajor || minimumVersion.minor < minimumOSXMinor;
}

} // namespace qvx

#pragma once

#include <memory>

#include "macho/QVXMachOBinary.h"
#include "platform/process/ProcessInfo.h"

namespace qvx {

/// Opens the app's executable and ends the process when one of its slices is for a system older than the SDK
/// supports. The build is one for iOS when the environment holds `TARGETED_DEVICE_FAMILY`, else for OS X.
/// \return the executable; null when it cannot be opened, which is no error here
std::shared_ptr<QVXMachOBinary> checkDeploymentTarget(const platform::Environment& environment);

/// Whether the minimum version is below iOS 6; a version of 0 is taken from `IPHONEOS_DEPLOYMENT_TARGET`.
[[nodiscard]] bool iOSDeploymentTargetIsUnsupported(const macho::QVXMachOVersion& minimumVersion,
                                                    const platform::Environment& environment);

/// Whether the minimum version's major number is below 10 or its minor number below 7.
[[nodiscard]] bool OSXDeploymentTargetIsUnsupported(const macho::QVXMachOVersion& minimumVersion);

} // namespace qvx

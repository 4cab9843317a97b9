#pragma once

#include <memory>
#include <string_view>

#include "macho/QVXMachOBinary.h"
#include "platform/process/ProcessInfo.h"

namespace qvx {

/// Zips the build's dSYM and uploads it with the app's identity and the UUID of each slice of its executable;
/// returns when the exchange has ended. The zip lies beside the dSYM while it is needed. Ends the process
/// with status 1 when the dSYM cannot be zipped or the zip not be read.
/// \param appBinary the app's executable; null: nothing is sent about slices
/// \param buildSecret not sent
/// \param lastAttempt whether a failed exchange is logged
/// \return true when the service answered with a status from 200 to 300
bool uploadDSYM(const platform::Environment& environment, const std::shared_ptr<QVXMachOBinary>& appBinary,
                std::string_view apiKey, std::string_view buildSecret, bool lastAttempt);

} // namespace qvx

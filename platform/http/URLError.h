#pragma once

#include <string_view>

#include "platform/text/Error.h"

namespace qvx::platform {

/// The codes of the domain NSURLErrorDomain that the loader gives.
enum class URLErrorCode : int {
    unknown = -1,
    badURL = -1000,
    timedOut = -1001,
    unsupportedURL = -1002,
    cannotFindHost = -1003,
    cannotConnectToHost = -1004,
    networkConnectionLost = -1005,
    tooManyRedirects = -1007,
    badServerResponse = -1011,
    cannotDecodeContentData = -1016,
    dataLengthExceedsMaximum = -1103,
    secureConnectionFailed = -1200,
    certificateHasBadDate = -1201,
    certificateUntrusted = -1202,
    certificateHasUnknownRoot = -1203,
};

/// The error of the domain NSURLErrorDomain, its text the platform's sentence for the code, followed by
/// `detail` in brackets. A detail that may show a password, since it has an "@", is left out.
Error urlError(URLErrorCode code, std::string_view detail = {});

} // namespace qvx::platform

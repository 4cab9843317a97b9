#pragma once

#include <curl/curl.h>

#include "platform/text/Error.h"

namespace qvx::platform {

/// The loader's error for a transfer over `easy` that ended with `code`, which is not CURLE_OK.
/// \param detail libcurl's own text on it, empty when it gave none
Error curlError(CURL* easy, CURLcode code, const char* detail);

} // namespace qvx::platform

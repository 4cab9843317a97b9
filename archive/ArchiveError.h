#pragma once

#include <string>
#include <string_view>

#include "platform/text/Error.h"

namespace qvx {

/// The error of something at `path` that the system does not mind, but the archiver does.
inline platform::Error archiveError(std::string_view path, std::string_view reason) {
    return {"QVXArchiveErrorDomain", 0, std::string(path).append(": ").append(reason)};
}

} // namespace qvx

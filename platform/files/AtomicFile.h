#pragma once

#include <optional>
#include <string_view>

#include "platform/text/Error.h"

namespace qvx::platform {

/// Writes `bytes` to a temporary file beside `path` that only its owner can read (mode 0600) and renames it
/// to `path`. On failure the temporary file is removed and what was at `path` stays.
[[nodiscard]] std::optional<Error> writeFileAtomically(std::string_view bytes, std::string_view path);

} // namespace qvx::platform

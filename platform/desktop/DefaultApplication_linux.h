#pragma once

#include <optional>
#include <string>

#include "platform/desktop/DesktopEntry_linux.h"

namespace qvx::platform {

/// The application that the user, the administrator or the distribution prefers for a MIME type (Association
/// between MIME types and applications 1.0.1): the first default that is installed, else the first one that
/// is associated with the type and not removed from it. Absent when there is none.
[[nodiscard]] std::optional<DesktopEntry> defaultApplication(const std::string& mimeType);

} // namespace qvx::platform

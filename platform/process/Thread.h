#pragma once

#include <string_view>

namespace qvx::platform {

/// Names the calling thread for debuggers and process listings, as far as the system allows.
void setCurrentThreadName(std::string_view name);

} // namespace qvx::platform

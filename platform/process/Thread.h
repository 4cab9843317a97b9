#pragma once

#include <cstdint>
#include <string_view>

namespace qvx::platform {

/// Names the calling thread for debuggers and process listings, as far as the system allows.
void setCurrentThreadName(std::string_view name);

/// The number that the system has for the calling thread.
[[nodiscard]] uint64_t currentThreadIdentifier();

} // namespace qvx::platform

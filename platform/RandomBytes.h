#pragma once

#include <cstdint>
#include <span>

namespace qvx::platform {

/// Fills `bytes` from the system's source of random numbers. Ends the process when the system has none.
void fillWithRandomBytes(std::span<uint8_t> bytes);

} // namespace qvx::platform

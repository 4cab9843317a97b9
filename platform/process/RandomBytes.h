#pragma once

#include <cstdint>
#include <span>

namespace qvx::platform {

/// Fills `bytes`, at most 256, from the system's source of random numbers. Ends the process when that fails.
void fillWithRandomBytes(std::span<uint8_t> bytes);

} // namespace qvx::platform

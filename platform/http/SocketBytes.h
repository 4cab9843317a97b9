#pragma once

#include <cstdint>

namespace qvx::platform {

/// How many bytes the TCP connection has moved so far, both directions together; one that is sent again does
/// not count again. 0 for anything but a connection.
[[nodiscard]] uint64_t bytesMovedOverSocket(int descriptor);

} // namespace qvx::platform
